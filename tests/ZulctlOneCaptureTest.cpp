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
constexpr char kOther[] = "/data/ZUL/0xffff/0xffff0102_2025_03_04_05_06_07_9";

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
        write(kOther);
        write("/data/ZUL/zul_history", line(kFolder, "0xffff0101") + line(kOther, "0xffff0102"));
        write("/data/ZUL/ZUL_TAG.txt", "0xffff0101|one\n");
        write("/data/ZUL/config", "tag:0xffff0101,flag:0x4,cmds:ps|tag:0xffff0102,pkgname:com.a");
        // It had the same name as one before.
        write("/log", event("earlier") + event("hello"));
    }

    static std::string event(const std::string& text) {
        return logLine("sceneType===0xffff0101,sceneType.length()=10,mFlag=0x2c1", 0) +
               logLine("prepare.....sceneType=0xffff0101,flag=0x2c1,pid=4711, "
                       "mCompressFileCount=9, extraInfo=" +
                               text,
                       10) +
               logLine(std::string("getZulBasePath:fileNum=8,folderName=") + kFolder, 20) +
               logLine("startWork....", 500) + logLine("zuldump child normal exit...", 760);
    }

    static std::string line(const char* folder, const std::string& tag) {
        return tag + "|2025-03-04 05:06:08|" + folder + ".zul|BUILD|1\n";
    }
    static std::string logLine(const std::string& message, int milliseconds) {
        char time[8];
        snprintf(time, sizeof(time), "%03d", milliseconds);
        return std::string("03-04 05:06:07.") + time + " 100 101 D ZUL_DEBUG: " + message + "\n";
    }

    std::string log() const { return "--log=" + at("/log"); }
};

TEST_F(OneCaptureTest, IsNamedInManyWays) {
    const std::string path = kFolder;
    const std::string name = path.substr(path.rfind('/') + 1);
    for (const std::string& word :
         {path, path + ".zul", name, name + ".zul", std::string("0xffff0101")})
        EXPECT_THAT(onCopy({"info", word}).out, HasSubstr("name        " + name + "\n")) << word;
    for (const char* word : {"0xffff0101_", "0xffff0101 2025-03-04 05:06", "0xffff0102"})
        EXPECT_EQ(onCopy({"info", word}).status, 0) << word;
    for (const char* word :
         {"0xffff0103", "0xffff0101_2025_03_04_05_06_07_9", "/etc/passwd", "/"}) {
        const Result result = onCopy({"info", word});
        EXPECT_EQ(result.status, 1) << word;
        EXPECT_THAT(result.err, HasSubstr("no capture")) << word;
    }
    EXPECT_THAT(onCopy({"info", "0xffff01"}).err, HasSubstr("several captures begin so: 0xffff01"));
}

TEST_F(OneCaptureTest, InfoTellsAllThatIsKnown) {
    const Result text = onCopy({log(), "info", "0xffff0101"});
    EXPECT_EQ(text.status, 0);
    EXPECT_EQ(text.err, "");
    EXPECT_EQ(text.out, std::string("name        0xffff0101_2025_03_04_05_06_07_8\n"
                                    "tag         0xffff0101\n"
                                    "time        2025-03-04 05:06:08\n"
                                    "state       present\n"
                                    "archive     ") +
                                kFolder + ".zul\n" +
                                "recorded    yes\n"
                                "build       BUILD|1\n"
                                "size        1000B (1000 bytes)\n"
                                "took        0.760s\n"
                                "legal       yes\n"
                                "entry       tag:0xffff0101,flag:4,cmds:ps\n"
                                "outcome     captured\n"
                                "mask        0x2c1\n"
                                "asked for   FLAG_ZUL_BINDER|FLAG_ZUL_ANR_TRACE|FLAG_ZUL_SYS_TRACE|"
                                "FLAG_ZUL_LOG\n"
                                "processes   4711\n"
                                "text        hello\n");
    EXPECT_THAT(
            onCopy({"--json", log(), "info", "0xffff0101"}).out,
            AllOf(HasSubstr("\"size\":1000,\"took_ms\":760,\"took_from\":\"log\",\"legal\":true"),
                  HasSubstr("\"event_text\":\"hello\"}\n")));
    EXPECT_THAT(
            onCopy({"info", "0xffff0102"}).out,
            AllOf(HasSubstr("state       missing\n"), HasSubstr("legal       no\n"),
                  HasSubstr("entry       tag:0xffff0102,pkgname:com.a\n"), Not(HasSubstr("size"))));
    EXPECT_THAT(onCopy({log(), "list"}).out, HasSubstr("present      1000B    0.760s   8"));
    // The one before it had the same name.
    write("/data/ZUL/zul_history", line(kFolder, "0xffff0101") + line(kFolder, "0xffff0101"));
    for (const auto& [state, took] : {std::pair("present", "760,\"took_from\":\"log\""),
                                      {"overwritten", "null,\"took_from\":null"}})
        EXPECT_THAT(onCopy({log(), "list", "--json", "--state", state}).out,
                    HasSubstr(std::string("\"took_ms\":") + took));
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
    EXPECT_EQ(result.out, onCopy({log(), "info", "0xffff0101"}).out);
}

TEST_F(OneCaptureTest, ExportPacksItWithAllThatIsKnown) {
    const std::string tar = at("/out.tar");
    EXPECT_EQ(onCopy({log(), "export", "0xffff0101", "-o", tar}).status, 0);
    const std::string name = "0xffff0101_2025_03_04_05_06_07_8";
    EXPECT_EQ(outputOf("tar -tf " + tar), name + kFolder + ".zul\n" + name +
                                                  "/data/ZUL/zul_history\n" + name + "/zuld.log\n" +
                                                  name + "/data/ZUL/config\n");
    const auto member = [&](const std::string& member) {
        return outputOf("tar -xOf " + tar + " " + name + member);
    };
    EXPECT_EQ(member(std::string(kFolder) + ".zul"), std::string(1000, 'x'));
    EXPECT_EQ(member("/data/ZUL/zul_history"), line(kFolder, "0xffff0101"));
    EXPECT_EQ(member("/zuld.log"), event("hello"));
    EXPECT_EQ(member("/data/ZUL/config"), "tag:0xffff0101,flag:4,cmds:ps\n");

    // Both it and what it unpacks to tell the same as the store that it came from.
    outputOf("tar -xf " + tar + " -C " + at(""));
    const auto told = [&](const std::string& root) {
        return call({"--root=" + root, "info", "0xffff0101"}).out;
    };
    const std::string here = onCopy({log(), "info", "0xffff0101"}).out;
    EXPECT_EQ(told(at("/" + name)).substr(0, here.find("legal")),
              here.substr(0, here.find("legal")));
    EXPECT_EQ(told(tar), told(at("/" + name)));
    EXPECT_THAT(told(tar), HasSubstr("text        hello\n"));
    EXPECT_EQ(call({"--root=" + tar, "export", "0xffff0101", "-o", at("/again.tar")}).status, 0);
    EXPECT_EQ(outputOf("tar -xOf " + at("/again.tar") + " " + name + kFolder + ".zul"),
              std::string(1000, 'x'));
    EXPECT_EQ(outputOf("ls -d /tmp/zulctl.*/0x* 2>/dev/null | grep -v " + at("") + " || true"), "");

    // What is there already is not replaced, and nothing is made in vain.
    const Result again = onCopy({"export", "0xffff0101", "-o", tar});
    EXPECT_EQ(again.status, 3);
    EXPECT_THAT(again.err, HasSubstr("File exists"));
    const Result missing = onCopy({"export", "0xffff0102", "-o", at("/missing.tar")});
    EXPECT_EQ(missing.status, 1);
    EXPECT_THAT(missing.err, HasSubstr("is missing"));
    EXPECT_FALSE(exists("/missing.tar"));
    EXPECT_EQ(onCopy({"export", "0xffff0101", "-o", at("/nowhere/out.tar")}).status, 3);
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
    const Result result = call({"--root=" + at("/bad.tar"), "list"});
    EXPECT_EQ(result.status, 1);
    EXPECT_FALSE(exists("/outside"));
    outputOf(in + "head -c 700 bad.tar >cut.tar && head -c 600 /dev/zero | tr '\\0' x >no.tar");
    for (const char* bad : {"/cut.tar", "/no.tar"}) {
        const Result refused = call({"--root=" + at(bad), "list"});
        EXPECT_EQ(refused.status, 3) << bad;
        EXPECT_THAT(refused.err, HasSubstr("no archive of zulctl export")) << bad;
    }
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
