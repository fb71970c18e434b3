// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/CaseName.h"

namespace zulctl::test {

// The matchers that tests speak with.
using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;
using zul::test::caseName;

/** What one call of the program came to. */
struct Result {
    int status = -1;
    std::string out;
    std::string err;
};

/** Runs the program in this process. */
Result call(const std::vector<std::string>& arguments);

/** A device's /data and /morvfs, empty at first: a copy in a folder of its own, or those of the box. */
class ZulctlTest : public testing::Test {
  protected:
    ZulctlTest();
    /** The device in `root`, with "" that of the box. */
    explicit ZulctlTest(const std::string& root);
    ~ZulctlTest() override;

    /** Runs the program with --root on the copy of /data. */
    Result onCopy(std::vector<std::string> arguments) const;

    /** Where a path of the device is in the copy. */
    std::string at(const std::string& path) const { return mRoot + path; }
    /** Makes a file of the device with all folders above it. */
    void write(const std::string& path, const std::string& text = "") const;
    void makeFolder(const std::string& path) const;
    bool exists(const std::string& path) const;

    const std::string mRoot;
};

}  // namespace zulctl::test
