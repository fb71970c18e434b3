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

std::string replaceAll(std::string text, const std::string& what, const std::string& by);

/** Where captures of the tests' tags are. */
inline constexpr char kType[] = "/data/ZUL/0xffff/";
/** 0xffff0101_2025_03_04_05_06_07_N for that tag and time of one day, as HH:MM:SS. */
std::string nameOf(const std::string& tag, const std::string& time, int number = 0);
/** The line of the history about it. */
std::string lineOf(const std::string& tag, const std::string& time, const std::string& archive);

/**
 * The log of messages "PROCESS/THREAD PRIORITY TEXT" as the desktop's layer writes it: 10 ms apart from
 * 03-04 05:06:07 on, with a header for each row of a message.
 */
std::string logOf(const std::vector<std::string>& messages);

/** A command line, in which @ stands for the device's root, and what comes of it. */
struct CallCase {
    /** Where there is a copy of /data, on that, but for one that begins with another --root. */
    std::string line;
    int status;
    /** Parts of its two outputs; "" for nothing at all in the second one. */
    std::string out;
    std::string err = "";
};

/** A device's /data and /morvfs, empty at first: a copy in a folder of its own, or those of the box. */
class ZulctlTest : public testing::Test {
  protected:
    ZulctlTest();
    /** The device in `root`, with "" that of the box. */
    explicit ZulctlTest(const std::string& root);
    ~ZulctlTest() override;

    /** Runs the program with --root on the copy of /data. */
    Result onCopy(std::vector<std::string> arguments) const;

    void expectCalls(const std::vector<CallCase>& cases) const;

    /** Where a path of the device is in the copy. */
    std::string at(const std::string& path) const { return mRoot + path; }
    /** Makes a file of the device with all folders above it. */
    void write(const std::string& path, const std::string& text = "") const;
    void makeFolder(const std::string& path) const;
    bool exists(const std::string& path) const;

    const std::string mRoot;
};

}  // namespace zulctl::test
