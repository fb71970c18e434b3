// SPDX-License-Identifier: Apache-2.0

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <stdio.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <list>
#include <optional>

#include "base/Files.h"
#include "base/Text.h"
#include "tests/support/ZulctlTest.h"
#include "zulctl/WallTime.h"
#include "zulctl/store/Processes.h"
#include "zulctl/store/Tar.h"

namespace zulctl::test {
namespace {

class ListTest : public ZulctlTest {
  protected:
    /** Makes captures: the kinds of each, the end of its tag, the time. */
    void makeAll(const std::string& captures) {
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
    // An archive belongs to the last capture of its name, a folder beside it to the later one. In
    // the last row the clock was set back.
    expectRows(R"(
LA 01 05:00:00, L 02 05:00:10, LA 03 05:00:20, A 05 05:00:15, F 06 05:00:05
 => 05:00:20 present, 05:00:15 unrecorded, 05:00:10 missing, 05:00:05 left, 05:00:00 present
LA 01 05:00:00, L 01 05:00:00, L 03 05:00:01, L 03 05:00:01
 => 05:00:01 missing, 05:00:01 missing, 05:00:00 present, 05:00:00 overwritten
LA 01 05:00:00, L 01 05:00:00, LF 01 05:00:00
 => 05:00:00 left, 05:00:00 present, 05:00:00 overwritten
LAS 06 05:00:00, AS 06 05:00:01 => 05:00:01 unrecorded, 05:00:00 present
A 03 05:30:00, LA 01 06:00:00, LA 02 05:00:00
 => 05:30:00 unrecorded, 05:00:00 present, 06:00:00 present
)",
               [this](const std::string& captures) {
                   sh("rm -rf data/ZUL/* morvfs/stuck_logo/*");
                   mHistory = "";
                   makeAll(captures);
                   return states();
               });
    // Of one time, by their names.
    makeAll("A 07 07:00:00, A 08 07:00:00");
    EXPECT_THAT(told("list -n2 --no-legend"), MatchesRegex(".*0xffff0108 .*\n.*0xffff0107 .*\n"));
}

TEST_F(ListTest, TakesOnlyWhatWasAskedFor) {
    makeAll("LA 01 05:00:00, L 02 06:00:00, L 01 07:00:00, LA 03 08:00:00");
    // In a copy, ages count from the newest record.
    expectRows(R"(
-n0 =>
0xffff0101 => 07:00:00 missing, 05:00:00 present
0xffff0102 0xffff0103 => 08:00:00 present, 06:00:00 missing
--state=missing => 07:00:00 missing, 06:00:00 missing
--state=missing -n1 => 07:00:00 missing
--state=left,running =>
-S 2h => 08:00:00 present, 07:00:00 missing, 06:00:00 missing
-U 2h => 06:00:00 missing, 05:00:00 present
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
              unwrapped(
                      R"({"v":1,"device":"data","tag":"0xffff0101","captures":1,"kept":1,"size":5,
"newest":"2025-03-04 05:00:00"}
)"));
    // One more than the daemon keeps, and not.
    sh("cd data/ZUL/0xffff; for i in $(seq 100 497); do "
       ": >0xffff0103_2025_03_04_1${i%??}_00_00_$((i % 100)).zul; done");
    const std::string tooMany = " archives are more than the ";
    EXPECT_THAT(told("list --by-tag"), HasSubstr("; 401" + tooMany + "400 that"));
    sh("rm data/ZUL/0xffff/*_14_00_00_97.zul");
    EXPECT_THAT(told("list --by-tag"), Not(HasSubstr(tooMany)));
    sh("rm data/ZUL/0xffff/*_1[34]_00_00_* data/ZUL/0xffff/*_12_00_00_9[89].zul; mkdir "
       "data/ZUL/0xffffff");
    EXPECT_THAT(told("list --by-tag"), HasSubstr("; 201" + tooMany + "200 that"));
    sh("rm data/ZUL/0xffff/*_12_00_00_97.zul");
    EXPECT_THAT(told("list --by-tag"), Not(HasSubstr(tooMany)));
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
    EXPECT_EQ(told("--root=@/data/ZUL/zul_history --no-legend list"),
              "zulctl: @/data/ZUL/zul_history: no archive of zulctl export\n"
              "zulctl: @/data/ZUL/zul_history: Not a directory\n[3]\n");
    EXPECT_EQ(told("--root=@/morvfs --no-legend list"),
              "zulctl: @/morvfs: no copy of /data or of /data/ZUL\n[3]\n");
}

TEST_F(ListTest, WhatIsNoRecordIsCountedAndTheRestShown) {
    makeAll("A 03 06:00:00, LA 01 05:00:00");
    mHistory += R"(
|||
0xffff0101
0xffff0101|2025-03-04 05:00:00|/data/ZUL/0xffff/0xffff0101_2025_03_04_05_00
0xffff0101|2025-03-04 05:00|/data/ZUL/0xffff/0xffff0101_2025_03_04_05_00_00_0.zul|BUILD
0xffff0102|2025-03-04 06:00:00|/data/ZUL/0xffff/0xffff0103_2025_03_04_06_00_00_0.zul|BUILD
0xffff0101|2025-03-04 05:00:00|/etc/passwd|BUILD
)" + std::string(300000, 'x') +
                "\n";
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
            {[&] { return mkfifo(path.c_str(), 0666); }, "not a regular file"},
    };
    for (const auto& [makeHistory, reason] : cases) {
        ASSERT_EQ(makeHistory(), 0) << reason;
        // Whether it is recorded is not known.
        expectCalls({{"list", 3, "0xffff0101  present ", std::string("zul_history: ") + reason}});
        std::filesystem::remove(path);
    }
}

constexpr char kName[] = "0xffff0101_2025_03_04_05_06_07_0";
const std::string kFolder = std::string(kType) + kName;

class OneCaptureTest : public ZulctlTest {
  protected:
    OneCaptureTest() {
        make("LA", "0xffff0101", "05:06:07");
        mLine = mHistory;
        make("L", "0xffff0102", "05:06:09");
        write("/data/ZUL/ZUL_TAG.txt", "0xffff0101|one\n");
        write("/data/ZUL/config", "tag:0xffff0101,flag:0x4,cmds:ps|tag:0xffff0102,pkgname:com.a");
        // It had the same name as one before, and is not alone.
        write("/log",
              replaceAll(makeLog("begin b 5/7 > capture", "0xffff0101"), "a text", "b") + mLog);
    }

    const std::string mLog = makeLog("capture", "0xffff0101");
    std::string mLine;
};

TEST_F(OneCaptureTest, IsNamedInManyWays) {
    const std::string name = kName;
    for (const std::string& word :
         {kFolder, kFolder + ".zul", name, name + ".zul", std::string("0xffff0101"),
          std::string("0xffff0101 2025-03-04")})
        EXPECT_THAT(call({"--root=" + at("/data"), "info", word}).out,
                    StartsWith("name        " + name + "\n"));
    for (const std::string word : {"0xffff0103", "0xffff0101_2025_03_04_05_06_07_9", "/"})
        EXPECT_EQ(told("info " + word),
                  "zulctl: there is no capture of that name: " + word + "\n[1]\n");
    EXPECT_EQ(told("info 0xffff01"), "zulctl: several captures begin so: 0xffff01\n[1]\n");
}

TEST_F(OneCaptureTest, InfoTellsAllThatIsKnown) {
    EXPECT_EQ(told("--log=@/log info 0xffff0101"),
              R"(name        0xffff0101_2025_03_04_05_06_07_0
tag         0xffff0101
time        2025-03-04 05:06:07
state       present
archive     /data/ZUL/0xffff/0xffff0101_2025_03_04_05_06_07_0.zul
recorded    yes
build       BUILD
size        5B (5 bytes)
took        0.070s
legal       yes
entry       tag:0xffff0101,flag:4,cmds:ps
outcome     captured
mask        0x2c3
asked for   FLAG_ZUL_BINDER|FLAG_ZUL_WINDOW|FLAG_ZUL_ANR_TRACE|FLAG_ZUL_SYS_TRACE|FLAG_ZUL_LOG
processes   77
text        a text
)");
    expectCalls(
            {{"--json --log=@/log info 0xffff0101", 0,
              R"("size":5,"took_ms":70,"took_from":"log","legal":true)"},
             {"--json --log=@/log info 0xffff0101", 0, "\"event_text\":\"a text\"}\n"},
             {"info 0xffff0102", 0, "state       missing\n"},
             {"info 0xffff0102", 0, "legal       no\nentry       tag:0xffff0102,pkgname:com.a\n"}});
    std::string quick = mLog;
    for (const char* time : {".010", ".020", ".030", ".040", ".050", ".060", ".070"})
        quick = replaceAll(quick, time, ".000");
    write("/quick", quick);
    write("/failed", makeLog("started > notExecuted > end", "0xffff0101"));
    // The one before it had the same name.
    write("/data/ZUL/zul_history", mLine + mLine);
    EXPECT_EQ(told("--log=@/log --no-legend list"),
              "2025-03-04 05:06:07  0xffff0101  present         5B    0.070s   0\n"
              "2025-03-04 05:06:07  0xffff0101  overwritten      -         -   0\n");
    expectCalls(
            {{"--log=@/quick list", 0, "present         5B    0.000s   0"},
             {"--log=@/failed info 0xffff0101", 0,
              "no-collector, collector cannot be executed: No such file or directory\n"},
             {"--log=@/log list --json --state=present", 0, R"("took_ms":70,"took_from":"log")"},
             {"--log=@/log list --json --state=overwritten", 0,
              R"("took_ms":null,"took_from":null)"}});
}

TEST_F(OneCaptureTest, ReadsALogFromTheStandardInputAsOftenAsItNeeds) {
    const int before = dup(STDIN_FILENO);
    FILE* pipe = popen(("cat " + at("/log")).c_str(), "r");
    dup2(fileno(pipe), STDIN_FILENO);
    const std::string piped = told("--log=- info 0xffff0101");
    dup2(before, STDIN_FILENO);
    close(before);
    pclose(pipe);
    EXPECT_EQ(piped, told("--log=@/log info 0xffff0101"));
}

TEST_F(OneCaptureTest, ExportPacksItWithAllThatIsKnown) {
    EXPECT_EQ(told("--log=@/log export 0xffff0101 -o @/out.tar"), "");
    const std::string name = kName;
    const std::pair<std::string, std::string> members[] = {
            {kFolder + ".zul", "12345"},
            {"/data/ZUL/zul_history", mLine},
            {"/zuld.log", mLog},
            {"/data/ZUL/config", "tag:0xffff0101,flag:4,cmds:ps\n"}};
    std::string names;
    for (const auto& [member, text] : members) {
        names += name + member + "\n";
        EXPECT_EQ(sh("tar -xOf out.tar " + name + member), text);
    }
    EXPECT_EQ(sh("tar -tf out.tar"), names);

    // Both it and what it unpacks to tell the same as the store that it came from.
    sh("tar -xf out.tar");
    const std::string here = told("--log=@/log info 0xffff0101");
    const std::string unpacked = told("--root=@/" + name + " info 0xffff0101");
    EXPECT_EQ(unpacked, replaceAll(here, "legal       yes", "legal       no"));
    EXPECT_EQ(told("--root=@/out.tar info 0xffff0101"), unpacked);
    EXPECT_EQ(told("--root=@/out.tar export 0xffff0101 -o @/again.tar"), "");
    EXPECT_EQ(sh("tar -xOf again.tar " + name + kFolder + ".zul"), "12345");
    EXPECT_EQ(sh("ls -d /tmp/zulctl.*/0x* 2>/dev/null | grep -v @ || true"), "");

    // What is there already is not replaced, and nothing is made in vain.
    expectCalls({{"export 0xffff0101 -o @/out.tar", 3, "", "File exists"},
                 {"export 0xffff0102 -o @/missing.tar", 1, "", "is missing"},
                 {"export 0xffff0101 -o @/nowhere/out.tar", 3, "", "No such file"}});
    EXPECT_FALSE(exists("/missing.tar"));
    EXPECT_EQ(told("export 0xffff0109 -o -"),
              "zulctl: there is no capture of that name: 0xffff0109\n[1]\n");
}

TEST_F(OneCaptureTest, WhatCannotBeWrittenWholeGoes) {
    rlimit before = {};
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit small = {1500, before.rlim_max};
    signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &small);
    const std::string text = told("export 0xffff0101 -o @/out.tar");
    setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_EQ(text, "zulctl: @/out.tar: File too large\n[3]\n");
    EXPECT_FALSE(exists("/out.tar"));
}

TEST_F(OneCaptureTest, UnpacksNothingButWhatIsBelow) {
    EXPECT_EQ(sh(R"(mkdir -p f/data/ZUL && touch f/data/ZUL/zul_history f/x && echo x >outside
ln -s /etc f/link
tar -cPf bad.tar f ../$(basename @)/outside @/outside && rm outside
head -c 700 bad.tar >cut.tar && head -c 600 /dev/zero | tr '\0' x >no.tar)"),
              "");
    expectCalls({{"--root=@/bad.tar list", 1, "0 captures"},
                 {"--root=@/cut.tar list", 3, "0 captures", "no archive of zulctl export"},
                 {"--root=@/no.tar list", 3, "0 captures", "no archive of zulctl export"}});
    EXPECT_FALSE(exists("/outside"));
}

TEST_F(OneCaptureTest, ExportsUnderLongNames) {
    // Of members 99, 101 and 107 bytes long; of 100 and 179; and of the longest that there can be.
    for (const size_t length : {17, 18, 21, 57, 229}) {
        const std::string tag = "0xffff" + std::string(length - 6, 'n');
        const std::string name = nameOf(tag, "05:06:07");
        make("LA", tag, "05:06:07");
        write(kType + name + ".zul", std::string(70000, 'x'));
        const std::string tar = "@/" + std::to_string(length) + ".tar";
        EXPECT_EQ(told("export " + tag + " -o " + tar), "");
        EXPECT_EQ(sh("tar -tf " + tar),
                  name + kType + name + ".zul\n" + name + "/data/ZUL/zul_history\n");
        expectCalls({{"--root=" + tar + " info " + tag, 0, "(70000 bytes)"},
                     {"--root=" + tar + " info " + tag, 0, "recorded    yes"}});
    }
    const zul::ScopedFd source(open(at("/log").c_str(), O_RDONLY));
    const zul::ScopedFd sink(open("/dev/null", O_WRONLY));
    EXPECT_FALSE(TarWriter(sink.get(), 0).addFile("name", source.get(), 1 << 20));
    EXPECT_EQ(errno, 0);
}

/** A process with this as its argument 0, for as long as this object. */
class Process {
  public:
    explicit Process(std::string argument0) {
        char seconds[] = "1000";
        char* const arguments[] = {argument0.data(), seconds, nullptr};
        // Of a later one of the kernel's ticks than all that was made before.
        usleep(20000);
        EXPECT_EQ(posix_spawn(&mId, "/bin/sleep", nullptr, nullptr, arguments, nullptr), 0);
        // The kernel shows its arguments a moment later.
        const auto commandLine = "/proc/" + std::to_string(mId) + "/cmdline";
        for (std::string text; text != argument0;)
            std::getline(std::ifstream(commandLine), text, '\0');
    }
    ~Process() {
        kill(mId, SIGKILL);
        waitpid(mId, nullptr, 0);
    }

  private:
    pid_t mId = 0;
};

std::string ago(time_t age) {
    return formatWallTime(wallTime(time(nullptr)) - age);
}

void touch(const std::string& path, time_t age) {
    const timespec times[2] = {{time(nullptr) - age, 0}, {time(nullptr) - age, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0) << path;
}

/** The device of the box itself, with an empty store. */
class CleanTest : public ZulctlTest {
  protected:
    CleanTest() : ZulctlTest("") {}

    /** Makes a capture of that age with a collector for R. Its path. */
    std::string makeOld(const std::string& kinds, time_t age) {
        const std::string tag = "0xffff010" + std::to_string(++mCaptures);
        const std::string path = make(kinds, tag, ago(age));
        if (zul::contains(kinds, "A")) touch(path + ".zul", age);
        if (zul::contains(kinds, "F")) touch(path, age);
        if (zul::contains(kinds, "R")) mCollectors.emplace_back(path);
        return path;
    }

    int mCaptures = 0;
    std::list<Process> mCollectors;
};

TEST_F(CleanTest, RemovesWhatWasAskedFor) {
    const std::string hourAgo = ago(3600).substr(5) + ".000 5 5 D ZUL_DEBUG: ";
    write("/tmp/start", hourAgo + "ZUL  main start.\n");
    write("/tmp/late", hourAgo + "startWork....\n");
    // The daemon's argument 0, or none; the kinds and ages of captures, and behind them the age
    // that each has got since the daemon's start; the options. Then the numbers of those that stay,
    // with A for an archive and F for a folder. A clock that was set makes doubtful what is younger
    // than the daemon, whatever its name says: the last one of four tells so by its last change
    // alone.
    expectRows(R"(
- | F 3600, FR 3600, AF 3600, FS 3600 | -f => 2F 3A
zuld | LA 7200, LAD 7200, LAS 7200, LA -5, A 7200, F 7200 | -f --unlisted => 2A 3A 4A 5A 6F
- | LA 7200 | -f => 1A [1]
/data/ZUL/zuld.sh | LA 7200 | -f => 1A [1]
- | LA 7200, LA 3000 | -f --log=/tmp/start => 2A
- | LA 7200 | -f --log=/tmp/late => 1A [1]
/system_ext/bin/zuld | LA 7200, LA 3000 | -f --log=/tmp/start => 2A
zuld | LA 7200, F 7200 | -f --left => 1A
zuld | LA 7200, F 7200 | -f =>
zuld | LA 172800, LA 345600, LA 7200 -1, LA 7200 7200 | -f --unlisted
 => 2A 3A 4A zulctl: the clock was set back: 1 archive may be known to the daemon, and stay\n
zuld | LA 172800, LA 345600 | -f --to=0 =>
- | LA 4000, LA 3000, FR 5000 | -f --to=17 => 1A 2A 3F [1]
- | LA 4000, LA 3000, FR 5000 | -f --to=16 => 2A 3F
- | LA 4000 | -f --to=1K => 1A [1]
- | LA 4000, LA 3000 | -f --to=0 --older-than=1h => 2A
- | F 3000, F 4200 | -f --left --older-than=1h => 1F
- | F 60 28 | -f
 => 1F zulctl: 1 folder may be about to get a collector: left for the next call\n[1]
- | F 60 31 | -f =>
)",
               [this](const std::string& row) {
                   const std::vector<std::string> fields = zul::split(row, " | ");
                   sh("rm -rf data/ZUL/* morvfs/stuck_logo/*");
                   mHistory = "";
                   mCaptures = 0;
                   mCollectors.clear();
                   std::vector<std::pair<std::string, time_t>> later;
                   for (const std::string& capture : zul::split(fields[1], ", ")) {
                       const std::vector<std::string> words = zul::split(capture, " ");
                       const std::string path = makeOld(words[0], stol(words[1]));
                       const std::string end = exists(path) ? "" : ".zul";
                       if (words.size() > 2) later.emplace_back(path + end, stol(words[2]));
                   }
                   std::optional<Process> daemon;
                   if (fields[0] != "-") daemon.emplace(fields[0]);
                   for (const auto& [path, age] : later)
                       touch(path, age);
                   const Result result = run("clean " + fields[2]);
                   const std::string left =
                           sh("find data/ZUL morvfs -name '0xffff010*' | "
                              "sed -E 's/.*010(.)_[^.]*/\\1/; s/^.$/&F/; "
                              "s/.zul/A/' | sort | tr '\\n' ' '");
                   const std::string text = left + result.err + (result.status == 1 ? "[1]" : "");
                   return text.substr(0, text.find_last_not_of(' ') + 1);
               });
}

TEST_F(CleanTest, ADeviceKnowsWhatATagIsAbout) {
    makeOld("A", 3600);
    expectCalls({{"list", 0, "  memory/leak\n"},
                 {"list --json -gleak", 0, R"("type":"memory","subtype":"leak"})"},
                 {"info 0xffff0101", 0,
                  "tag's type  memory\ntag's kind  leak\n"
                  "tag's flags FLAG_ZUL_PROC_MEM|FLAG_ZUL_SYS_MEM|FLAG_ZUL_HPROF\n"
                  "tag's cmd   ps -A -o pid,rss,name\n"},
                 {"info 0xffff0101", 0, "took        ~"}});
}

TEST_F(CleanTest, TellsWhatItRemoves) {
    const std::string left = makeOld("F", 3600);
    const std::string running = makeOld("FR", 3600);
    const std::string forgotten = makeOld("LA", 3600);
    const Process daemon("zuld");
    EXPECT_EQ(told("clean -n"),
              "REMOVED   STATE         SIZE  PATH\n"
              "would be  left            7B  " +
                      left + "\n" + "would be  unlisted        5B  " + forgotten + ".zul\n" +
                      "would remove 1 archive and 1 folder, 12B\n");
    expectCalls({{"list --json --state=running", 0, running},
                 {"list --json --state=unlisted", 0, forgotten},
                 {"clean -f --json --left", 0,
                  R"({"v":1,"device":"","removed":true,"state":"left","size":7,"path":")" + left +
                          "\"}\n"}});
    sh("chmod 555 data/ZUL/0xffff");
    EXPECT_EQ(told("clean -f --no-legend"), "zulctl: not removed: " + forgotten + ".zul\n[3]\n");
    sh("chmod 755 data/ZUL/0xffff");
    EXPECT_EQ(told("clean -f --no-legend"),
              "removed   unlisted        5B  " + forgotten + ".zul\n");
    EXPECT_EQ(told("clean -f --no-legend"), "[1]\n");
}

TEST_F(CleanTest, TellsWhatACopyCouldLose) {
    make("F", "0xffff0101", "05:06:07");
    sh("cp -r data tmp/copy");
    expectCalls({{"--root=/tmp/copy clean -n", 0, "would remove 0 archives and 1 folder, 7B\n"}});
    // By the log its collector was at work when the copy was made, or an earlier one of its name.
    for (const char* story : {"begin > prepare",
                              "begin > prepare > record > begin - 5/7 > "
                              "prepare - 5/7 > record - 5/7 > begin - 5/7"}) {
        write("/tmp/log", makeLog(story, "0xffff0101"));
        expectCalls({{"--root=/tmp/copy --log=/tmp/log clean -n", 1, "would remove 0"},
                     {"--root=/tmp/copy --log=/tmp/log list", 0, "running"}});
    }
}

TEST_F(CleanTest, FollowsNoLink) {
    const std::string left = makeOld("F", 3600);
    const std::string link = kType + nameOf("0xffff0101", "05:06:07");
    const std::string name = nameOf("0xfffd0101", "05:06:07");
    sh("mkdir -p tmp/outside/" + name);
    for (const std::string& each : {left + "/link", link, std::string("/data/ZUL/0xfffd")})
        EXPECT_EQ(sh("ln -s /tmp/outside " + each), "");
    touch(left, 3600);
    expectCalls({{"clean -f", 0, "removed 0 archives and 1 folder"}});
    EXPECT_EQ(sh("ls -d data/ZUL/0xffff/*; ls tmp/outside"), link.substr(1) + "\n" + name + "\n");
}

TEST_F(ZulctlTest, WhereTheFirstProcessIsHiddenAllMayBe) {
    const std::string behind = ") S 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 ";
    const std::pair<const char*, std::string> files[] = {
            {"1/cmdline", std::string("init\0second\0", 12)},
            {"9/cmdline", "/data/ZUL/x"},
            {"self/cmdline", "not a number"},
            {"82/cmdline", "/system_ext/bin/zuld"},
            {"82/stat", "82 (a) b" + behind + "500 20\n"},
            {"83/cmdline", "zuld"},
            {"83/stat", "83 (zuld" + behind + "300 20\n"},
            {"84/cmdline", "zuld"},
            {"84/stat", "84 (zuld" + behind},
    };
    for (const auto& [path, text] : files)
        write(std::string("/proc/") + path, text);
    // A letter for each that is seen.
    const auto look = [this](uid_t user) {
        const Processes all = Processes::look(at("/proc").c_str(), user);
        std::string seen = all.seen() ? "s" : "";
        for (const char* argument : {"init", "/data/ZUL/x", "second", "not a number"})
            seen += all.has(argument) ? argument[0] : ' ';
        return std::pair(seen, all.daemonStart().value_or(0));
    };
    timespec sinceBoot = {};
    clock_gettime(CLOCK_BOOTTIME, &sinceBoot);
    const auto start = static_cast<double>(time(nullptr) - sinceBoot.tv_sec + 3);
    EXPECT_EQ(look(getuid()).first, "si/  ");
    EXPECT_NEAR(look(getuid()).second, start, 1);
    EXPECT_EQ(look(getuid() + 1).first, "s    ");
    // The clock has been set since: its folder is of the time before.
    touch(at("/proc/82"), time(nullptr) - 1000);
    EXPECT_EQ(look(getuid()).second, 1000);
    // Neither a file nor nothing: cannot be read.
    sh("mkdir -p proc/80/cmdline");
    EXPECT_NE(look(getuid()).first[0], 's');
    sh("rm -r proc/80 proc/1");
    EXPECT_NE(look(getuid()).first[0], 's');
}

}  // namespace
}  // namespace zulctl::test
