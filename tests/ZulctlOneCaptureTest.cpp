// SPDX-License-Identifier: Apache-2.0

#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <sys/resource.h>
#include <unistd.h>

#include "base/Files.h"
#include "tests/support/ZulctlTest.h"
#include "zulctl/store/Tar.h"

namespace zulctl::test {
namespace {

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
    const std::string name = std::string("name        ") + kName + "\n";
    expectCalls({{"info " + kFolder, 0, name},
                 {"info " + kFolder + ".zul", 0, name},
                 {std::string("info ") + kName, 0, name},
                 {std::string("info ") + kName + ".zul", 0, name},
                 {"info 0xffff0101", 0, name},
                 {"info 0xffff0101_", 0, name},
                 {"info 0xffff0101:2025-03-04", 0, name},
                 {"info 0xffff0103", 1, "", "no capture of that name: 0xffff0103"},
                 {"info 0xffff0101_2025_03_04_05_06_07_9", 1, "", "no capture"},
                 {"info /etc/passwd", 1, "", "no capture"},
                 {"info /", 1, "", "no capture"},
                 {"info 0xffff01", 1, "", "several captures begin so: 0xffff01"}});
    EXPECT_EQ(run("info 0xffff0101").out,
              call({"--root=" + at("/data"), "info", "0xffff0101 2025"}).out);
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
    // The one before it had the same name.
    write("/data/ZUL/zul_history", mLine + mLine);
    EXPECT_EQ(told("--log=@/log --no-legend list"),
              "2025-03-04 05:06:07  0xffff0101  present         5B    0.070s   0\n"
              "2025-03-04 05:06:07  0xffff0101  overwritten      -         -   0\n");
    expectCalls(
            {{"--log=@/quick list", 0, "present         5B    0.000s   0"},
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
    EXPECT_EQ(
            sh(R"(mkdir -p f/data/ZUL && touch f/data/ZUL/zul_history f/x outside && ln -s /etc f/link
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
}

}  // namespace
}  // namespace zulctl::test
