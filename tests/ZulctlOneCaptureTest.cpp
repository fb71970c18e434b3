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

constexpr char kFolder[] = "/data/ZUL/0xffff/0xffff0101_2025_03_04_05_06_07_8";
constexpr char kOther[] = "0xffff0102_2025_03_04_05_06_07_9";

std::string outputOf(const std::string& command) {
    FILE* pipe = popen(command.c_str(), "r");
    std::string text;
    for (int c; (c = fgetc(pipe)) != EOF;)
        text += static_cast<char>(c);
    return pclose(pipe) == 0 ? text : "FAILED: " + text;
}

class OneCaptureTest : public ZulctlTest {
  protected:
    OneCaptureTest() {
        write(std::string(kFolder) + ".zul", std::string(1000, 'x'));
        write(std::string(kType) + kOther);
        write("/data/ZUL/zul_history",
              mLine + lineOf("0xffff0102", "05:06:09", std::string(kType) + kOther + ".zul"));
        write("/data/ZUL/ZUL_TAG.txt", "0xffff0101|one\n");
        write("/data/ZUL/config", "tag:0xffff0101,flag:0x4,cmds:ps|tag:0xffff0102,pkgname:com.a");
        // It had the same name as one before.
        write("/log", event("earlier") + event("hello"));
    }

    static std::string event(const std::string& text) {
        return logOf({"100/101 D sceneType===0xffff0101,sceneType.length()=10,mFlag=0x2c1",
                      "100/101 D prepare.....sceneType=0xffff0101,flag=0x2c1,pid=4711, "
                      "mCompressFileCount=9, extraInfo=" +
                              text,
                      std::string("100/101 D getZulBasePath:fileNum=8,folderName=") + kFolder,
                      "100/101 D startWork....", "100/101 D zuldump child normal exit..."});
    }

    const std::string mLine = lineOf("0xffff0101", "05:06:08", std::string(kFolder) + ".zul");
};

TEST_F(OneCaptureTest, IsNamedInManyWays) {
    const std::string path = kFolder;
    const std::string name = path.substr(path.rfind('/') + 1);
    for (const std::string& word :
         {path, path + ".zul", name, name + ".zul", std::string("0xffff0101")})
        expectCalls({{"info " + word, 0, "name        " + name + "\n"}});
    EXPECT_EQ(onCopy({"info", "0xffff0101 2025-03-04 05:06"}).status, 0);
    for (const char* word : {"0xffff0103", "0xffff0101_2025_03_04_05_06_07_9", "/etc/passwd", "/"})
        expectCalls({{std::string("info ") + word, 1, "", "no capture"}});
    expectCalls({{"info 0xffff0101_", 0, ""},
                 {"info 0xffff01", 1, "", "several captures begin so: 0xffff01"}});
}

TEST_F(OneCaptureTest, InfoTellsAllThatIsKnown) {
    expectCalls({{"--log=@/log info 0xffff0101", 0,
                  std::string("name        0xffff0101_2025_03_04_05_06_07_8\n"
                              "tag         0xffff0101\n"
                              "time        2025-03-04 05:06:08\n"
                              "state       present\n"
                              "archive     ") +
                          kFolder + ".zul\n" +
                          "recorded    yes\n"
                          "build       BUILD\n"
                          "size        1000B (1000 bytes)\n"
                          "took        0.040s\n"
                          "legal       yes\n"
                          "entry       tag:0xffff0101,flag:4,cmds:ps\n"
                          "outcome     captured\n"
                          "mask        0x2c1\n"
                          "asked for   FLAG_ZUL_BINDER|FLAG_ZUL_ANR_TRACE|FLAG_ZUL_SYS_TRACE|"
                          "FLAG_ZUL_LOG\n"
                          "processes   4711\n"
                          "text        hello\n"},
                 {"--json --log=@/log info 0xffff0101", 0,
                  R"("size":1000,"took_ms":40,"took_from":"log","legal":true)"},
                 {"--json --log=@/log info 0xffff0101", 0, "\"event_text\":\"hello\"}\n"},
                 {"info 0xffff0102", 0,
                  "recorded    yes\nbuild       BUILD\nlegal       no\n"
                  "entry       tag:0xffff0102,pkgname:com.a\n"},
                 {"--log=@/log list", 0, "present      1000B    0.040s   8"}});
    std::string quick = event("hello");
    for (const char* time : {".010", ".020", ".030", ".040"})
        quick = replaceAll(quick, time, ".000");
    write("/quick", quick);
    expectCalls({{"--log=@/quick list", 0, "present      1000B    0.000s   8"}});
    // The one before it had the same name.
    write("/data/ZUL/zul_history", mLine + mLine);
    expectCalls(
            {{"--log=@/log list --json --state=present", 0, R"("took_ms":40,"took_from":"log")"},
             {"--log=@/log list --json --state=overwritten", 0,
              R"("took_ms":null,"took_from":null)"}});
}

TEST_F(OneCaptureTest, ReadsALogFromTheStandardInputAsOftenAsItNeeds) {
    const int before = dup(STDIN_FILENO);
    FILE* pipe = popen(("cat " + at("/log")).c_str(), "r");
    dup2(fileno(pipe), STDIN_FILENO);
    const Result result = onCopy({"--log=-", "info", "0xffff0101"});
    dup2(before, STDIN_FILENO);
    close(before);
    pclose(pipe);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out, onCopy({"--log=" + at("/log"), "info", "0xffff0101"}).out);
}

TEST_F(OneCaptureTest, ExportPacksItWithAllThatIsKnown) {
    const std::string tar = at("/out.tar");
    EXPECT_EQ(onCopy({"--log=" + at("/log"), "export", "0xffff0101", "-o", tar}).status, 0);
    const std::string name = "0xffff0101_2025_03_04_05_06_07_8";
    EXPECT_EQ(outputOf("tar -tf " + tar), name + kFolder + ".zul\n" + name +
                                                  "/data/ZUL/zul_history\n" + name + "/zuld.log\n" +
                                                  name + "/data/ZUL/config\n");
    const auto member = [&](const std::string& member) {
        return outputOf("tar -xOf " + tar + " " + name + member);
    };
    EXPECT_EQ(member(std::string(kFolder) + ".zul"), std::string(1000, 'x'));
    EXPECT_EQ(member("/data/ZUL/zul_history"), mLine);
    EXPECT_EQ(member("/zuld.log"), event("hello"));
    EXPECT_EQ(member("/data/ZUL/config"), "tag:0xffff0101,flag:4,cmds:ps\n");

    // Both it and what it unpacks to tell the same as the store that it came from.
    outputOf("tar -xf " + tar + " -C " + at(""));
    const auto told = [&](const std::string& root) {
        return call({"--root=" + root, "info", "0xffff0101"}).out;
    };
    const std::string here = onCopy({"--log=" + at("/log"), "info", "0xffff0101"}).out;
    EXPECT_EQ(told(at("/" + name)).substr(0, here.find("legal")),
              here.substr(0, here.find("legal")));
    EXPECT_EQ(told(tar), told(at("/" + name)));
    EXPECT_THAT(told(tar), HasSubstr("text        hello\n"));
    EXPECT_EQ(call({"--root=" + tar, "export", "0xffff0101", "-o", at("/again.tar")}).status, 0);
    EXPECT_EQ(outputOf("tar -xOf " + at("/again.tar") + " " + name + kFolder + ".zul"),
              std::string(1000, 'x'));
    EXPECT_EQ(outputOf("ls -d /tmp/zulctl.*/0x* 2>/dev/null | grep -v " + at("") + " || true"), "");

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
    const Result result = onCopy({"export", "0xffff0101", "-o", at("/out.tar")});
    setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_EQ(result.status, 3);
    EXPECT_THAT(result.err, HasSubstr("File too large"));
    EXPECT_FALSE(exists("/out.tar"));
}

TEST_F(OneCaptureTest, UnpacksNothingButWhatIsBelow) {
    write("/outside");
    const std::string in = "cd " + at("") + " && ";
    outputOf(in +
             "mkdir -p f/data/ZUL && touch f/data/ZUL/zul_history f/x && ln -s /etc f/link && "
             "tar -cPf bad.tar f ../" +
             at("").substr(5) + "/outside " + at("/outside") + " && rm outside");
    expectCalls({{"--root=@/bad.tar list", 1, ""}});
    EXPECT_FALSE(exists("/outside"));
    outputOf(in + "head -c 700 bad.tar >cut.tar && head -c 600 /dev/zero | tr '\\0' x >no.tar");
    expectCalls({{"--root=@/cut.tar list", 3, "", "no archive of zulctl export"},
                 {"--root=@/no.tar list", 3, "", "no archive of zulctl export"}});
}

TEST_F(OneCaptureTest, TarHoldsLongNamesAndTellsOfFailure) {
    const std::string path = at("/names.tar");
    FILE* file = fopen(path.c_str(), "w");
    TarWriter tar(fileno(file), 1741064767);
    std::string names;
    for (const size_t length : {1, 99, 100, 101, 255, 1000}) {
        // Folders, as no name of a file is that long.
        std::string name;
        while (name.size() < length)
            name += name.size() % 50 == 40 ? '/' : 'n';
        EXPECT_TRUE(tar.addText(name, std::string(length, 't')));
        names += name + "\n";
    }
    EXPECT_TRUE(tar.finish());
    fclose(file);
    EXPECT_EQ(outputOf("tar -tf " + path), names);
    EXPECT_EQ(outputOf("tar -xOf " + path), std::string(1 + 99 + 100 + 101 + 255 + 1000, 't'));
    makeFolder("/unpacked");
    const zul::ScopedFd folder(open(at("/unpacked").c_str(), O_RDONLY));
    EXPECT_TRUE(unpackTar(zul::ScopedFd(open(path.c_str(), O_RDONLY)).get(), folder.get()));
    EXPECT_EQ(outputOf("find " + at("/unpacked") + " -type f -printf '%P\\n' | wc -c"),
              std::to_string(names.size()) + "\n");

    TarWriter full(fileno(fopen("/dev/full", "w")), 0);
    EXPECT_FALSE(full.addText("name", "text"));
    FILE* source = fopen(at("/log").c_str(), "r");
    TarWriter sink(fileno(fopen("/dev/null", "w")), 0);
    EXPECT_FALSE(sink.addFile("name", fileno(source), 1 << 20));
    fclose(source);
}

}  // namespace
}  // namespace zulctl::test
