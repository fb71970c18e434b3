// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace zulctl::test {

// The matchers that tests speak with.
using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

/** What one call of the program came to. */
struct Result {
    int status = -1;
    std::string out;
    std::string err;
};

/** Runs the program in this process. */
Result call(const std::vector<std::string>& arguments);

std::string replaceAll(std::string text, const std::string& what, const std::string& by);

/** JSON that is given in lines of a handy length. */
std::string unwrapped(const std::string& json);

/**
 * A table, a row a line: `each` is to make of what stands before " => " what stands behind it. A
 * row may go on in the next line, with a blank before the arrow; "\n" and "\xHH" stand for bytes.
 */
void expectRows(const std::string& table,
                const std::function<std::string(const std::string&)>& each);

/** Where captures of the tests' tags are. */
inline constexpr char kType[] = "/data/ZUL/0xffff/";
/** TAG_2025_03_04_05_06_07_N for a time as YYYY-MM-DD HH:MM:SS, or as HH:MM:SS of that day. */
std::string nameOf(const std::string& tag, const std::string& time, int number = 0);

/**
 * The log of a story as the desktop's layer writes it, 10 ms a message from 03-04 05:06:07 on, with
 * a header for each row of one. Its parts have " > " between them: "PROCESS/THREAD PRIORITY TEXT",
 * which 5/6 says where they name nobody, or "WORD TAG PROCESS/THREAD" for what the daemon says of
 * an event, `tag` where there is none.
 */
std::string makeLog(const std::string& story, const std::string& tag = "0xffff01");

/** A command line, in which @ stands for the device's root, and what comes of it. */
struct CallCase {
    /** Where there is a copy of /data, on that, but for one that begins with another --root. */
    std::string line;
    int status;
    /** Parts of its two outputs; "" for nothing at all. */
    std::string out;
    std::string err = "";
};

/** A device's /data and /morvfs, empty at first: a copy in a folder of its own, or the box's. */
class ZulctlTest : public testing::Test {
  protected:
    ZulctlTest();
    /** The device in `root`, with "" that of the box. */
    explicit ZulctlTest(const std::string& root);
    ~ZulctlTest() override;

    /** What a command line as in a CallCase comes to. */
    Result run(const std::string& line) const;
    /** Both outputs, with @ for the device's root; behind them the status in brackets unless 0. */
    std::string told(const std::string& line) const;
    void expectCalls(const std::vector<CallCase>& cases) const;

    /** What a shell in the device's root, which is @, prints; behind FAILED where it fails. */
    std::string sh(const std::string& command) const;

    /** Where a path of the device is in the copy. */
    std::string at(const std::string& path) const { return mRoot + path; }
    /** Makes a file of the device with all folders above it. */
    void write(const std::string& path, const std::string& text = "") const;
    void makeFolder(const std::string& path) const;
    bool exists(const std::string& path) const;
    /**
     * Makes a capture with L, A and F for its line, archive and folder, in the folder of its type,
     * with D in /data/ZUL itself and with S beside. The path of its folder.
     */
    std::string make(const std::string& kinds, const std::string& tag, const std::string& time);

    /** The lines that make() has given the history. */
    std::string mHistory;
    const std::string mRoot;
};

}  // namespace zulctl::test
