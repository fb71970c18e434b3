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
 * Expects `each` to make what is behind " => " of what is before it in each row of a table. A row may go on in the next
 * line, with a blank before the arrow; "\n" and "\xHH" stand for bytes.
 */
void expectRows(const std::string& table,
                const std::function<std::string(const std::string&)>& each);

/** Where captures of the tests' tags are. */
inline constexpr char kType[] = "/data/ZUL/0xffff/";
/** 0xffff0101_2025_03_04_05_06_07_N for that tag and time, as YYYY-MM-DD HH:MM:SS or as HH:MM:SS of one day. */
std::string nameOf(const std::string& tag, const std::string& time, int number = 0);

/**
 * The log of a story, 10 ms a message from 03-04 05:06:07 on, as the desktop's layer writes it: with a
 * header for each row of a message. Its parts, with " > " between, are messages "PROCESS/THREAD PRIORITY TEXT",
 * which 5/6 says where they name nobody, or "WORD TAG PROCESS/THREAD" for what the daemon says of an event:
 * begin, capture and so on. `tag` is that of words without one.
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

/** A device's /data and /morvfs, empty at first: a copy in a folder of its own, or those of the box. */
class ZulctlTest : public testing::Test {
  protected:
    ZulctlTest();
    /** The device in `root`, with "" that of the box. */
    explicit ZulctlTest(const std::string& root);
    ~ZulctlTest() override;

    /** What a command line as in a CallCase comes to. */
    Result run(const std::string& line) const;
    /** Both outputs, and behind them the status in brackets, but for 0; the device's root is @ in them too. */
    std::string told(const std::string& line) const;
    void expectCalls(const std::vector<CallCase>& cases) const;

    /** What a shell in the device's root, which is @, prints to its output; behind FAILED where it fails. */
    std::string sh(const std::string& command) const;

    /** Where a path of the device is in the copy. */
    std::string at(const std::string& path) const { return mRoot + path; }
    /** Makes a file of the device with all folders above it. */
    void write(const std::string& path, const std::string& text = "") const;
    void makeFolder(const std::string& path) const;
    bool exists(const std::string& path) const;
    /**
     * Makes a capture with L, A and F for its line, archive and folder, in the folder of its type, with
     * D in /data/ZUL itself and with S beside. The path of its folder.
     */
    std::string make(const std::string& kinds, const std::string& tag, const std::string& time);

    std::string mHistory;
    const std::string mRoot;
};

}  // namespace zulctl::test
