// SPDX-License-Identifier: Apache-2.0

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>

#include "base/Text.h"
#include "tests/support/ZulctlTest.h"

namespace zulctl::test {
namespace {

class ListTest : public ZulctlTest {
  protected:
    /** Makes captures: the kinds of each, the end of its tag, the time. */
    void makeAll(const char* captures) {
        for (const std::string& capture : zul::split(captures, ", ")) {
            const std::vector<std::string> words = zul::split(capture, " ");
            make(words[0], (zul::contains(words[0], "S") ? "0xffffff" : "0xffff01") + words[1],
                 words[2]);
        }
    }

    /** "TIME STATE" of each line, or what else is told. */
    std::string states(const std::string& options = "") {
        write("/data/ZUL/zul_history", mHistory);
        std::string states;
        for (const std::string& line : zul::split(told("list --no-legend " + options), "\n")) {
            const std::vector<std::string> words = zul::split(line, "  ");
            const bool isRow = words.size() > 2;
            states += isRow && !states.empty() ? ", " : "";
            if (line != "[1]") states += isRow ? words[0].substr(11) + " " + words[2] : line + "\n";
        }
        return states;
    }
};

TEST_F(ListTest, HistoryAndDiskNewestFirst) {
    const std::pair<const char*, const char*> cases[] = {
            {"LA 01 05:00:00, L 02 05:00:10, LA 03 05:00:20, LF 04 05:00:30, A 05 05:00:15, "
             "F 06 05:00:05",
             "05:00:30 left, 05:00:20 present, 05:00:15 unrecorded, 05:00:10 missing, "
             "05:00:05 left, 05:00:00 present"},
            // An archive belongs to the last one of its name.
            {"LA 01 05:00:00, LA 02 05:00:00, L 01 05:00:00, L 03 05:00:01, L 03 05:00:01",
             "05:00:01 missing, 05:00:01 missing, 05:00:00 present, 05:00:00 present, "
             "05:00:00 overwritten"},
            // A folder beside an archive is of the later capture.
            {"LA 01 05:00:00, L 01 05:00:00, LF 01 05:00:00",
             "05:00:00 left, 05:00:00 present, 05:00:00 overwritten"},
            {"LAS 06 05:00:00, AS 06 05:00:01", "05:00:01 unrecorded, 05:00:00 present"},
            {"", ""},
            // The clock was set back between the last two.
            {"A 03 05:30:00, LA 01 06:00:00, LA 02 05:00:00",
             "05:30:00 unrecorded, 05:00:00 present, 06:00:00 present"},
    };
    for (const auto& [captures, expected] : cases) {
        std::filesystem::remove_all(at("/data/ZUL/0xffff"));
        std::filesystem::remove_all(at("/morvfs/stuck_logo"));
        makeFolder("/morvfs/stuck_logo");
        mHistory = "";
        makeAll(captures);
        EXPECT_EQ(states(), expected);
    }
}

TEST_F(ListTest, TakesOnlyWhatWasAskedFor) {
    makeAll("LA 01 05:00:00, L 02 06:00:00, L 01 07:00:00, LA 03 08:00:00");
    // In a copy, ages count from the newest record.
    expectRows(R"(
-n 1 => 08:00:00 present
-n0 =>
0xffff0101 => 07:00:00 missing, 05:00:00 present
0xffff0102 0xffff0103 => 08:00:00 present, 06:00:00 missing
0xffff010 =>
--state=missing => 07:00:00 missing, 06:00:00 missing
--state=missing -n1 => 07:00:00 missing
--state=left,running =>
-S 2h => 08:00:00 present, 07:00:00 missing, 06:00:00 missing
-U 2h => 06:00:00 missing, 05:00:00 present
-S 2025-03-05 =>
-S 06:30 -U 2025-03-04T07:00 => 07:00:00 missing
-S yesterday -U1h30m => 06:00:00 missing, 05:00:00 present
-g 0103_2025 => 08:00:00 present
-nx => zulctl: list: no number for --number: x (--help tells more)\n[2]\n
--state=lost => zulctl: no such state in --state=lost\n[2]\n
--state= => zulctl: no such state in --state=\n[2]\n
-Stomorrow => zulctl: no time for --since: tomorrow\n[2]\n
--until= => zulctl: no time for --until: \n[2]\n
)",
               [this](const std::string& options) { return states(options); });
}

TEST_F(ListTest, SumsByTag) {
    makeAll("LA 01 05:00:00, LA 02 05:00:01, LA 02 06:00:00, L 02 07:00:00");
    // It takes its room from the next column's.
    make("L", "0xffff01too_long", "05:00:00");
    EXPECT_EQ(told("list --by-tag"),
              "TAG           CAPTURES    KEPT    SIZE  NEWEST\n"
              "0xffff0102           3       2     10B  2025-03-04 07:00:00\n"
              "0xffff0101           1       1      5B  2025-03-04 05:00:00\n"
              "0xffff01too_long     1       0      0B  2025-03-04 05:00:00\n"
              "5 captures, 15B on disk\n");
    EXPECT_EQ(told("list --by-tag --json 0xffff0101"),
              R"({"v":1,"device":"data","tag":"0xffff0101","captures":1,"kept":1,"size":5,)"
              R"("newest":"2025-03-04 05:00:00"})"
              "\n");
    makeFolder("/data/ZUL/0xffffff");
    for (int i = 0; i < 197; i++)
        write(kType + nameOf("0xffff0103", i < 100 ? "05:00:00" : "06:00:00", i % 100) + ".zul");
    EXPECT_THAT(told("list --by-tag"), Not(HasSubstr("more than")));
    makeAll("A 03 07:00:00");
    expectCalls({{"list --by-tag", 0, "; 201 archives are more than the 200"}});
}

TEST_F(ListTest, SeveralDevicesAreToldApart) {
    makeAll("LA 01 05:00:00, LF 04 05:00:30");
    write("/two/ZUL/0xffff/" + nameOf("0xffff0202", "06:00:00") + ".zul", "1");
    const std::string both = "--root=@/data --root=@/two ";
    expectCalls(
            {{both + "list", 0,
              "DEVICE        TIME                 TAG         STATE         SIZE      TOOK  NO  "
              "ABOUT\n"
              "data          2025-03-04 05:00:30  0xffff0104  left            7B         -   0\n"
              "data          2025-03-04 05:00:00  0xffff0101  present         5B         -   0\n"
              "two           2025-03-04 06:00:00  0xffff0202  present         1B         -   0\n"
              "3 captures, 13B on disk; clean could free 0 archives and 1 folder, 7B\n"},
             {both + "list -n1", 0, "\ntwo "},
             {both + "--json list 0xffff0202", 0, "\"device\":\"two\""},
             {both + "info 0xffff0202", 0, "device      two\n", "no capture of that name"},
             {both + "--root=/nowhere list", 3, "3 captures", "/nowhere: No such file"},
             {both + "export 0xffff0202 -o-", 2, "", "one --root alone"}});
}

TEST_F(ListTest, EveryCopyOfAStoreWillDo) {
    makeAll("LA 01 05:00:00, AS 06 05:00:10");
    // For a user who may only pass its folders as well.
    sh("chmod 311 . data morvfs");
    expectCalls({{"list", 0, "2 captures"}});
    sh("chmod 755 . data morvfs");
    for (const std::string root : {"", "/data", "/data/ZUL"}) {
        const std::string name = at(root).substr(at(root).rfind('/') + 1);
        expectCalls({{"--root=@" + root + " list", 0, "2 captures, "},
                     {"--root=@" + root + "/. --json list", 0,
                      "{\"v\":1,\"device\":\"" + name + "\",\"time\":"}});
    }
    sh("chmod 311 data/ZUL/0xffff");
    expectCalls({{"list", 3, "2 captures, 5B", "/data/ZUL/0xffff/: Permission denied\n"}});
    sh("chmod 755 data/ZUL/0xffff; mv morvfs/stuck_logo outside; ln -s @/outside "
       "morvfs/stuck_logo");
    expectCalls({{"list", 3, "1 capture, ", "/morvfs/stuck_logo/: Not a directory\n"}});
    EXPECT_EQ(told("--root=@/morvfs --no-legend list"),
              "zulctl: @/morvfs: no copy of /data or of /data/ZUL\n[3]\n");
}

TEST_F(ListTest, WhatIsNoRecordIsCountedAndTheRestShown) {
    const std::string good = kType + nameOf("0xffff0101", "05:00:00") + ".zul";
    makeAll("A 03 06:00:00, LA 01 05:00:00");
    for (const std::string& strange : {
                 std::string(),
                 std::string("|||"),
                 std::string("0xffff0101"),
                 "0xffff0101|2025-03-04 05:00:00|" + good.substr(0, good.size() - 9),
                 "0xffff0101|2025-03-04 05:00|" + good + "|BUILD",
                 "0xffff0102|2025-03-04 06:00:00|" + replaceAll(good, "01_", "03_") + "|BUILD",
                 std::string("0xffff0101|2025-03-04 05:00:00|/etc/passwd|BUILD"),
                 std::string(300000, 'x'),
         })
        mHistory += strange + "\n";
    makeAll("L 01 05:00:00");
    EXPECT_EQ(states(),
              "06:00:00 unrecorded, 05:00:00 present, 05:00:00 overwritten"
              "zulctl: /data/ZUL/zul_history: 8 lines cannot be read as a record\n[3]\n");
}

TEST_F(ListTest, ALineInTheMakingIsNoFault) {
    makeAll("L 01 05:00:00");
    const std::string whole = mHistory;
    makeAll("L 01 05:00:01");
    // But for its end, it is one.
    mHistory.pop_back();
    EXPECT_EQ(states(), "05:00:01 missing, 05:00:00 missing");
    for (const size_t size : {whole.size() + 70, whole.size() + 1}) {
        mHistory.resize(size);
        EXPECT_EQ(states(), "05:00:00 missing");
    }
}

TEST_F(ListTest, ReadsLongHistoriesWhole) {
    // Lines end at every place of a block.
    std::string expected;
    for (int i = 0; i < 9000; i++) {
        char time[16];
        snprintf(time, sizeof(time), "%02d:%02d:%02d", i / 3600, i / 60 % 60, i % 60);
        const std::string path = kType + nameOf("0xffff0101", time);
        mHistory += "0xffff0101|2025-03-04 " + std::string(time) + "|" + path + ".zul|" +
                    std::string(i % 7 == 0 ? i % 90 : 0, 'x') + "\n";
        expected = std::string(time) + " missing" + (i > 0 ? ", " : "") + expected;
    }
    EXPECT_EQ(states(), expected);
}

TEST_F(ListTest, NothingButTheStoresOwnIsTouchedOrShown) {
    makeAll("LA 01 05:00:00, L 02 05:00:01");
    EXPECT_EQ(sh(R"(at=_2025_03_04_05_00
mkdir outside && touch outside/0xfffe0101${at}_04_0.zul
ln -s @/outside data/ZUL/0xfffe
mkdir -p data/ZUL/0xfffd/0xffff0105${at}_11_0 data/ZUL/other/0xffff0105${at}_12_0
cd data/ZUL/0xffff
ln -s @/outside/0xfffe0101${at}_04_0.zul 0xffff0102${at}_01_0.zul
ln -s @/outside 0xffff0103${at}_02_0
mkfifo 0xffff0104${at}_03_0.zul
mkdir 0xffff0105${at}_09_100 0xffff0105${at}_10_0.zul.part mine
touch 0xfffe0101${at}_05_0.zul 0xffff0105${at}_06_00.zul 0xffff0105${at}_66_0.zul
touch "$(printf '0xffff\n0106')${at}_07_0.zul" "$(printf '0xffff\033[2J\377')${at}_08_0.zul")"),
              "");
    EXPECT_EQ(states(), "05:00:08 unrecorded, 05:00:01 missing, 05:00:00 present");
    expectCalls({{"list", 0, "0xffff\\x1b[2J\\xff"},
                 {"list --json", 0, "\"tag_hex\":\"3078666666661b5b324aff\""}});
}

TEST_F(ListTest, WhatLiesOnDiskIsShownWithoutItsHistory) {
    makeAll("A 01 05:00:00");
    const std::string path = at("/data/ZUL/zul_history");
    const std::pair<std::function<int()>, const char*> cases[] = {
            {[&] { return truncate(path.c_str(), off_t{1} << 40); }, "only its last 128M are read"},
            {[&] { return symlink("/etc/passwd", path.c_str()); }, "a link"},
            {[&] { return mkfifo(path.c_str(), 0666); }, "no regular file"},
    };
    for (const auto& [makeHistory, reason] : cases) {
        ASSERT_EQ(makeHistory(), 0) << reason;
        // Whether it is recorded is not known.
        expectCalls({{"list", 3, "0xffff0101  present ", std::string("zul_history: ") + reason}});
        std::filesystem::remove(path);
    }
}

}  // namespace
}  // namespace zulctl::test
