// SPDX-License-Identifier: Apache-2.0
//
// Runs the tests that the filter leaves. GoogleTest calls it a success when that is none at all.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <string_view>

int main(int argc, char** argv) {
    testing::InitGoogleMock(&argc, argv);
    const bool help = argc > 1 && std::string_view(argv[1]) == "--help";
    if (argc > 1 && !help) {
        fprintf(stderr, "unknown argument %s (see --help)\n", argv[1]);
        return 2;
    }
    const int status = RUN_ALL_TESTS();
    if (help || testing::GTEST_FLAG(list_tests)) return status;
    if (testing::UnitTest::GetInstance()->test_to_run_count() > 0) return status;
    fprintf(stderr, "no test matches the filter '%s'\n", testing::GTEST_FLAG(filter).c_str());
    return 2;
}
