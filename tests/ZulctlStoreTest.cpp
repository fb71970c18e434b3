// SPDX-License-Identifier: Apache-2.0

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "tests/support/ZulctlTest.h"

namespace zulctl::test {
namespace {

constexpr char kType[] = "/data/ZUL/0xffff/";

/** 0xffff0101_2025_03_04_05_06_07_N for that tag and time of one day, as HH:MM:SS. */
std::string nameOf(const std::string& tag, std::string time, int number = 0) {
    for (char& c : time)
        if (c == ':') c = '_';
    return tag + "_2025_03_04_" + time + "_" + std::to_string(number);
}

std::string lineOf(const std::string& tag, const std::string& time, const std::string& archive) {
    return tag + "|2025-03-04 " + time + "|" + archive + "|BUILD\n";
}

class ListTest : public ZulctlTest {
  protected:
    /** A capture with a line of the history; its archive is made as well, unless it is missing. */
    void capture(const std::string& tag, const std::string& time, bool missing = false) {
        const std::string archive = kType + nameOf(tag, time) + ".zul";
        mHistory += lineOf(tag, time, archive);
        if (!missing) write(archive, "12345");
    }

    Result list(std::vector<std::string> arguments = {}) {
        write("/data/ZUL/zul_history", mHistory);
        arguments.insert(arguments.begin(), "list");
        return onCopy(arguments);
    }

    /** "TIME STATE" of each line, from what --json prints. */
    std::vector<std::string> states(std::vector<std::string> arguments = {}) {
        arguments.emplace_back("--json");
        mResult = list(arguments);
        std::vector<std::string> result;
        std::string rest = mResult.out;
        for (size_t end; (end = rest.find('\n')) != std::string::npos; rest.erase(0, end + 1)) {
            const std::string line = rest.substr(0, end);
            result.push_back(member(line, "time").substr(11) + " " + member(line, "state"));
        }
        return result;
    }

    static std::string member(const std::string& line, const std::string& name) {
        const std::string start = "\"" + name + "\":\"";
        const size_t at = line.find(start);
        if (at == std::string::npos) return std::string(11, '?');
        return line.substr(at + start.size(),
                           line.find('"', at + start.size()) - at - start.size());
    }

    std::string mHistory;
    Result mResult;
};

struct JoinCase {
    const char* name;
    /** What there is of captures, L, A and F for line, archive and folder; the tag's end; the time. */
    std::vector<std::string> captures;
    std::vector<std::string> states;
};

class StoredTest : public ListTest, public testing::WithParamInterface<JoinCase> {};

TEST_P(StoredTest, HistoryAndDiskNewestFirst) {
    for (const std::string& text : GetParam().captures) {
        const std::string tag = "0xffff01" + text.substr(text.size() - 11, 2);
        const std::string time = text.substr(text.size() - 8);
        const std::string folder = kType + nameOf(tag, time);
        if (text.find('L') == 0) mHistory += lineOf(tag, time, folder + ".zul");
        if (text.find("A ") < 2) write(folder + ".zul", "12345");
        if (text.find("F ") < 2) makeFolder(folder);
    }
    EXPECT_EQ(states(), GetParam().states);
    EXPECT_EQ(mResult.err, "");
}

const JoinCase kJoinCases[] = {
        {"EveryState",
         {"LA 01 05:00:00", "L 02 05:00:10", "LA 03 05:00:20", "LF 04 05:00:30", "A 05 05:00:15",
          "F 06 05:00:05"},
         {"05:00:30 left", "05:00:20 present", "05:00:15 unrecorded", "05:00:10 missing",
          "05:00:05 left", "05:00:00 present"}},
        {"AnArchiveBelongsToTheLastOfItsName",
         {"LA 01 05:00:00", "LA 02 05:00:00", "L 01 05:00:00", "L 03 05:00:01", "L 03 05:00:01"},
         {"05:00:01 missing", "05:00:01 missing", "05:00:00 present", "05:00:00 present",
          "05:00:00 overwritten"}},
        {"AFolderBesideAnArchiveIsOfTheLaterCapture",
         {"LA 01 05:00:00", "L 01 05:00:00", "LF 01 05:00:00"},
         {"05:00:00 left", "05:00:00 present", "05:00:00 overwritten"}},
        {"Nothing", {}, {}},
};
INSTANTIATE_TEST_SUITE_P(Stores, StoredTest, testing::ValuesIn(kJoinCases), caseName);

TEST_F(ListTest, ShowsATableWithATotal) {
    capture("0xffff0101", "05:00:00");
    mHistory += lineOf("0xffff0104", "05:00:30", kType + nameOf("0xffff0104", "05:00:30") + ".zul");
    write(kType + nameOf("0xffff0104", "05:00:30") + "/inside", "1234567");
    const Result text = list();
    EXPECT_EQ(text.status, 0);
    EXPECT_EQ(text.out,
              "TIME                 TAG         STATE         SIZE      TOOK  NO  ABOUT\n"
              "2025-03-04 05:00:30  0xffff0104  left            7B         -   0\n"
              "2025-03-04 05:00:00  0xffff0101  present         5B         -   0\n"
              "2 captures, 12B on disk; clean could free 0 archives and 1 folder, 7B\n");
    EXPECT_THAT(list({"--no-legend", "-n1"}).out, StartsWith("2025-03-04 05:00:30  "));
}

TEST_F(ListTest, ALineThatComesEarlierThanItsTimeIsFound) {
    const std::string unrecorded = kType + nameOf("0xffff0103", "05:30:00") + ".zul";
    write(unrecorded);
    mHistory = lineOf("0xffff0102", "05:30:00", unrecorded);
    // The clock was set back between the two.
    capture("0xffff0101", "06:00:00");
    capture("0xffff0102", "05:00:00");
    EXPECT_THAT(states(),
                ElementsAre("05:30:00 unrecorded", "05:00:00 present", "06:00:00 present"));
    EXPECT_THAT(states({"-n2"}), ElementsAre("05:30:00 unrecorded", "05:00:00 present"));
}

TEST_F(ListTest, TakesOnlyWhatWasAskedFor) {
    capture("0xffff0101", "05:00:00");
    capture("0xffff0102", "06:00:00", true);
    capture("0xffff0101", "07:00:00", true);
    capture("0xffff0103", "08:00:00");
    const std::pair<std::vector<std::string>, std::vector<std::string>> cases[] = {
            {{"-n", "1"}, {"08:00:00 present"}},
            {{"-n0"}, {}},
            {{"0xffff0101"}, {"07:00:00 missing", "05:00:00 present"}},
            {{"0xffff0102", "0xffff0103"}, {"08:00:00 present", "06:00:00 missing"}},
            {{"0xffff010"}, {}},
            {{"--state=missing"}, {"07:00:00 missing", "06:00:00 missing"}},
            {{"--state=missing", "-n1"}, {"07:00:00 missing"}},
            {{"--state=left,running"}, {}},
            // In a copy, ages count from the newest record.
            {{"-S", "2h"}, {"08:00:00 present", "07:00:00 missing", "06:00:00 missing"}},
            {{"-U", "2h"}, {"06:00:00 missing", "05:00:00 present"}},
            {{"--since=2025-03-04 06:30", "--until=2025-03-04 07:30"}, {"07:00:00 missing"}},
            {{"-S", "2025-03-05"}, {}},
            {{"-S", "06:30", "-U", "2025-03-04T07:00"}, {"07:00:00 missing"}},
            {{"-S", "yesterday", "-U1h30m"}, {"06:00:00 missing", "05:00:00 present"}},
            {{"-g", "0103_2025"}, {"08:00:00 present"}},
    };
    for (const auto& [arguments, expected] : cases) {
        EXPECT_EQ(states(arguments), expected) << arguments[0];
        EXPECT_EQ(mResult.status, expected.empty() ? 1 : 0) << arguments[0];
    }
    for (const char* wrong :
         {"-nx", "-n", "--state=lost", "--state=", "-Stomorrow", "--until=", "-n-1"})
        EXPECT_EQ(list({wrong}).status, 2) << wrong;
    EXPECT_EQ(call({"--root=/nowhere", "list", "--state=lost"}).status, 2);
}

TEST_F(ListTest, StuckLogosLieBesideAndAreListedAgain) {
    for (int i = 0; i < 25; i++)
        write("/morvfs/stuck_logo/" + nameOf("0xffffff06", "05:00:" + std::to_string(10 + i)) +
              ".zul");
    const std::string archive = "/morvfs/stuck_logo/" + nameOf("0xffffff06", "05:00:34") + ".zul";
    mHistory = lineOf("0xffffff06", "05:00:34", archive);
    EXPECT_THAT(states({"-n2"}), ElementsAre("05:00:34 present", "05:00:33 unrecorded"));
    EXPECT_THAT(states({"--state=unlisted"}), IsEmpty());
}

TEST_F(ListTest, SumsByTag) {
    capture("0xffff0101", "05:00:00");
    capture("0xffff0102", "05:00:01");
    capture("0xffff0102", "06:00:00");
    capture("0xffff0102", "07:00:00", true);
    EXPECT_EQ(list({"--by-tag"}).out,
              "TAG           CAPTURES    KEPT    SIZE  NEWEST\n"
              "0xffff0102           3       2     10B  2025-03-04 07:00:00\n"
              "0xffff0101           1       1      5B  2025-03-04 05:00:00\n"
              "4 captures, 15B on disk\n");
    EXPECT_THAT(list({"--by-tag", "--json", "0xffff0101"}).out,
                EndsWith(R"("tag":"0xffff0101","captures":1,"kept":1,"size":5,)"
                         R"("newest":"2025-03-04 05:00:00"})"
                         "\n"));
    makeFolder("/data/ZUL/0xffffff");
    for (int i = 0; i < 197; i++)
        write(kType + nameOf("0xffff0103", i < 100 ? "05:00:00" : "06:00:00", i % 100) + ".zul");
    EXPECT_THAT(list({"--by-tag"}).out, Not(HasSubstr("more than")));
    write(kType + nameOf("0xffff0103", "07:00:00") + ".zul");
    EXPECT_THAT(list({"--by-tag"}).out, HasSubstr("; 201 archives are more than the 200"));
}

TEST_F(ListTest, SeveralDevicesAreToldApart) {
    capture("0xffff0101", "05:00:00");
    list();
    write("/two/ZUL/0xffff/" + nameOf("0xffff0202", "06:00:00") + ".zul", "1");
    const auto onBoth = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"--root=" + at("/data"), "--root=" + at("/two")});
        return call(arguments);
    };
    EXPECT_EQ(onBoth({"list"}).out,
              "DEVICE        TIME                 TAG         STATE         SIZE      TOOK  NO  "
              "ABOUT\n"
              "data          2025-03-04 05:00:00  0xffff0101  present         5B         -   0\n"
              "two           2025-03-04 06:00:00  0xffff0202  present         1B         -   0\n"
              "2 captures, 6B on disk\n");
    EXPECT_THAT(onBoth({"list", "-n1"}).out, HasSubstr("\ntwo "));
    EXPECT_THAT(onBoth({"--json", "list", "0xffff0202"}).out, HasSubstr("\"device\":\"two\""));
    EXPECT_THAT(onBoth({"info", "0xffff0202"}).out, StartsWith("device      two\n"));
    const Result partly = onBoth({"--root=/nowhere", "list"});
    EXPECT_EQ(partly.status, 3);
    EXPECT_THAT(partly.out, HasSubstr("2 captures"));
    EXPECT_EQ(onBoth({"export", "0xffff0202", "-o-"}).status, 2);
}

TEST_F(ListTest, WorksForAUserWhoMayOnlyPass) {
    capture("0xffff0101", "05:00:00");
    write("/morvfs/stuck_logo/" + nameOf("0xffffff06", "05:00:10") + ".zul");
    list();
    for (const char* folder : {"", "/data", "/morvfs"})
        chmod(at(folder).c_str(), 0311);
    const Result result = call({"--root", at("/data"), "list"});
    for (const char* folder : {"", "/data", "/morvfs"})
        chmod(at(folder).c_str(), 0755);
    EXPECT_EQ(result.err, "");
    EXPECT_THAT(result.out, HasSubstr("2 captures"));
}

TEST_F(ListTest, EveryCopyOfAStoreWillDo) {
    capture("0xffff0101", "05:00:00");
    write("/morvfs/stuck_logo/" + nameOf("0xffffff06", "05:00:10") + ".zul");
    list();
    for (const char* root : {"", "/data", "/data/ZUL"}) {
        const Result result = call({"--root", at(root), "list"});
        EXPECT_THAT(result.out, HasSubstr("2 captures, ")) << root;
        EXPECT_EQ(result.status, 0) << root;
        const std::string device = at(root).substr(at(root).rfind('/') + 1);
        EXPECT_THAT(call({"--json", "--root", at(root) + "/.", "list"}).out,
                    StartsWith("{\"v\":1,\"device\":\"" + device + "\",\"time\":"));
    }
    std::filesystem::rename(at("/morvfs/stuck_logo"), at("/outside"));
    ASSERT_EQ(symlink(at("/outside").c_str(), at("/morvfs/stuck_logo").c_str()), 0);
    const Result rest = call({"--root", at("/data"), "list"});
    EXPECT_EQ(rest.status, 3);
    EXPECT_THAT(rest.err, HasSubstr("/morvfs/stuck_logo/: Not a directory\n"));
    EXPECT_THAT(rest.out, HasSubstr("1 capture, "));
    for (const char* root : {"/morvfs", "/nowhere", "/data/ZUL/zul_history"})
        EXPECT_EQ(call({"--root", at(root), "list"}).status, 3) << root;
}

TEST_F(ListTest, WhatIsNoRecordIsCountedAndTheRestShown) {
    const std::string good = kType + nameOf("0xffff0101", "05:00:00") + ".zul";
    const std::string strange[] = {
            "\n",
            "0xffff0101\n",
            "0xffff0101|2025-03-04 05:00:00|" + good.substr(0, good.size() - 9) + "\n",
            "0xffff0101|2025-03-04 05:00|" + good + "|BUILD\n",
            "0xffff0102|2025-03-04 05:00:00|" + good + "|BUILD\n",
            "0xffff0101|2025-03-04 05:00:00|/etc/passwd|BUILD\n",
            std::string(300000, 'x') + "\n",
            std::string(300000, '\n').substr(0, 1) + "|||\n",
            "0xffff0101|2025-03-04 05:00:00|" + good,
    };
    size_t lines = 0;
    for (const std::string& text : strange) {
        capture("0xffff0101", "05:00:00");
        mHistory += text;
        lines++;
    }
    // The very last one is whole, but for its end. The line before the last two holds two.
    EXPECT_THAT(states(), testing::SizeIs(lines + 1));
    EXPECT_EQ(mResult.status, 3);
    EXPECT_THAT(mResult.err,
                HasSubstr(": " + std::to_string(lines) + " lines cannot be read as a record"));
}

TEST_F(ListTest, ALineInTheMakingIsNoFault) {
    capture("0xffff0101", "05:00:00");
    const std::string whole = mHistory;
    capture("0xffff0101", "05:00:01", true);
    for (const size_t size : {whole.size() + 1, whole.size() + 70}) {
        mHistory.resize(size);
        EXPECT_THAT(states(), ElementsAre("05:00:00 present"));
        EXPECT_EQ(mResult.err, "");
    }
}

TEST_F(ListTest, ReadsLongHistoriesWhole) {
    // Lines end at every place of a block.
    std::vector<std::string> expected;
    for (int i = 0; i < 9000; i++) {
        char time[16];
        snprintf(time, sizeof(time), "%02d:%02d:%02d", i / 3600, i / 60 % 60, i % 60);
        mHistory += lineOf("0xffff0101", time, kType + nameOf("0xffff0101", time) + ".zul");
        if (i % 7 == 0) mHistory.insert(mHistory.size() - 1, std::string(i % 90, 'x'));
        expected.insert(expected.begin(), std::string(time) + " missing");
    }
    EXPECT_EQ(states(), expected);
    EXPECT_EQ(mResult.err, "");
}

TEST_F(ListTest, NothingButTheStoresOwnIsTouchedOrShown) {
    capture("0xffff0101", "05:00:00");
    write("/outside/secret");
    const std::string outside = at("/outside");
    const std::string archive = kType + nameOf("0xffff0102", "05:00:01") + ".zul";
    ASSERT_EQ(symlink((outside + "/secret").c_str(), at(archive).c_str()), 0);
    ASSERT_EQ(symlink(outside.c_str(), at("/data/ZUL/0xfffe").c_str()), 0);
    ASSERT_EQ(symlink(outside.c_str(), at(kType + nameOf("0xffff0103", "05:00:02")).c_str()), 0);
    ASSERT_EQ(mkfifo(at(kType + nameOf("0xffff0104", "05:00:03") + ".zul").c_str(), 0666), 0);
    write("/outside/" + nameOf("0xfffe0101", "05:00:04") + ".zul");
    write(kType + nameOf("0xfffe0101", "05:00:05") + ".zul");
    write(kType + nameOf("0xffff0105", "05:00:06").append("0") + ".zul");
    write(kType + nameOf("0xffff0105", "25:00:06") + ".zul");
    write(kType + nameOf("0xffff\n0106", "05:00:07") + ".zul");
    write(kType + nameOf("0xffff\x1b[2J\xff", "05:00:08") + ".zul");
    mHistory += lineOf("0xffff0102", "05:00:01", archive);
    EXPECT_THAT(states(),
                ElementsAre("05:00:08 unrecorded", "05:00:01 missing", "05:00:00 present"));
    EXPECT_THAT(mResult.out, HasSubstr("\"tag_hex\":\"3078666666661b5b324aff\""));
    EXPECT_THAT(list().out, HasSubstr("0xffff\\x1b[2J\\xff"));
}

struct BadHistory {
    const char* name;
    void (*make)(const std::string& path);
    const char* reason;
};

class BadHistoryTest : public ListTest, public testing::WithParamInterface<BadHistory> {};

TEST_P(BadHistoryTest, WhatLiesOnDiskIsShownAllTheSame) {
    write(kType + nameOf("0xffff0101", "05:00:00") + ".zul");
    GetParam().make(at("/data/ZUL/zul_history"));
    const Result result = onCopy({"list"});
    EXPECT_EQ(result.status, 3);
    EXPECT_THAT(result.err, HasSubstr(std::string("zul_history: ") + GetParam().reason));
    // Whether it is recorded is not known.
    EXPECT_THAT(result.out, HasSubstr("0xffff0101  present "));
}

const BadHistory kBadHistories[] = {
        {"EndlessHole",
         [](const std::string& path) {
             fclose(fopen(path.c_str(), "w"));
             (void)!truncate(path.c_str(), off_t{1} << 40);
         },
         "only its last 128M are read"},
        {"Link", [](const std::string& path) { (void)!symlink("/etc/passwd", path.c_str()); },
         "a link"},
        {"Fifo", [](const std::string& path) { mkfifo(path.c_str(), 0666); }, "no regular file"},
};
INSTANTIATE_TEST_SUITE_P(Kinds, BadHistoryTest, testing::ValuesIn(kBadHistories), caseName);

}  // namespace
}  // namespace zulctl::test
