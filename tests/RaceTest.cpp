// SPDX-License-Identifier: Apache-2.0

/**
 * Another user, who may write into the store as everybody may, exchanges folders for links while the
 * daemon, or zulctl, makes and removes what is in there. Nothing outside of the store may go or come by that.
 * Needs a box with real user ids. The argument is the number of tries for each case.
 */
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/inotify.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <functional>
#include <random>

#include "tests/support/ServiceTest.h"
#include "zulctl/Command.h"

namespace zul::test {
namespace {

namespace fs = std::filesystem;

int gTries = 200;
constexpr uid_t kOther = 1000;
constexpr char kTag[] = "0xffff0101";
constexpr char kLogoTag[] = "0xffffff06";
constexpr char kVictim[] = "/data/victim";
constexpr char kLink[] = "/data/ZUL/link";
/** Of the folder that every try makes or removes; the clock stands still. */
const std::string kName = "0xffff0101_2025_03_04_17_06_07_7";
const std::string kLogoName = "0xffffff06_2025_03_04_17_06_07_7";
const std::string kType = "/data/ZUL/0xffff";
const std::string kFolder = kType + "/" + kName;
/** Archives of one tag, all of which zulctl takes. */
constexpr int kArchives = 40;

struct RaceCase {
    const char* name;
    /** What the other user exchanges for a link to the victim, again and again. */
    std::string target;
    /** Where that link waits. */
    std::string link;
    /** Made by the daemon, and by the other user, before each try. */
    std::function<void()> prepare;
    std::function<void()> prepareOther;
    std::function<void(ZulService&)> act;
    /** What the other user does besides. */
    std::function<void()> meanwhile = nullptr;
};

/** What the two processes tell each other. */
struct Shared {
    std::atomic<bool> ready = false;
    std::atomic<bool> done = false;
    std::atomic<int> exchanged = 0;
};

void makeFolders(const std::string& path) {
    fs::create_directories(path);
    fs::permissions(path, fs::perms::all);
}

void makeFile(const std::string& path) {
    close(open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666));
}

/** A folder with something in it, which everybody may change. */
void makeLeftover(const std::string& path) {
    makeFolders(path);
    makeFolders(path + "/inner");
    makeFile(path + "/inner/file");
}

void makeArchives(const std::string& folder) {
    for (int i = 10; i < 10 + kArchives; i++) {
        const std::string number = std::to_string(i);
        makeFile(folder + "/" + kTag + "_2025_03_04_05_" + number + "_00_" + number + ".zul");
    }
}

void makeCapture(ZulService& service, const char* tag) {
    char folder[ZulService::kPathSize] = {};
    service.createZulPath(tag, 7, folder);
}

void becomeOther() {
    if (setresgid(kOther, kOther, kOther) != 0 || setresuid(kOther, kOther, kOther) != 0) _exit(1);
}

/** As another user: exchanges until told to stop, half of the times just after something moved. */
[[noreturn]] void attack(const RaceCase& race, Shared& shared, unsigned number) {
    becomeOther();
    if (race.prepareOther) race.prepareOther();
    if (symlink(kVictim, race.link.c_str()) != 0) _exit(2);
    const int events = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    for (const std::string& path : {std::string("/data/ZUL/zul_history"), race.target,
                                    fs::path(race.target).parent_path().string()}) {
        inotify_add_watch(events, path.c_str(), IN_ALL_EVENTS);
    }
    shared.ready = true;
    std::minstd_rand random(number);
    while (!shared.done) {
        char buffer[4096];
        const bool moved = read(events, buffer, sizeof(buffer)) > 0;
        if (number % 2 == 0 && !moved) continue;
        if (race.meanwhile) race.meanwhile();
        for (unsigned spin = random() % 20000; spin > 0 && !shared.done; spin--)
            std::atomic_signal_fence(std::memory_order_seq_cst);
        if (syscall(SYS_renameat2, AT_FDCWD, race.target.c_str(), AT_FDCWD, race.link.c_str(),
                    2 /* RENAME_EXCHANGE */) == 0) {
            shared.exchanged++;
        }
    }
    _exit(0);
}

std::string describeVictim() {
    std::string all;
    for (const auto& entry : fs::recursive_directory_iterator(kVictim))
        all += entry.path().string() + "\n";
    return all;
}

class RaceTest : public TableTest<RaceCase> {
  protected:
    RaceTest()
          : mShared(static_cast<Shared*>(mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE,
                                              MAP_SHARED | MAP_ANONYMOUS, -1, 0))) {
        umask(0);
        // Whatever name somebody is led to, something stands there.
        for (const std::string& name : {kName, kName + ".zul", kLogoName, std::string("secret"),
                                        std::string("inner"), std::string("file")}) {
            fs::create_directories(std::string(kVictim) + "/" + name + "/inner");
        }
        makeArchives(kVictim);
        for (const std::string folder : {kVictim, "/data"})
            fs::permissions(folder, fs::perms(0755));
    }

    void prepare() {
        for (const char* folder : {"/data/ZUL", "/morvfs"}) {
            for (const auto& entry : fs::directory_iterator(folder))
                fs::remove_all(entry);
            fs::permissions(folder, fs::perms::all);
        }
        makeFolders(kType);
        makeFolders("/morvfs/stuck_logo");
        ZulService::mTagTable.clear();
        admit(kTag);
        admit(kLogoTag);
        GetParam().prepare();
    }

    int tryOnce(unsigned number) {
        prepare();
        new (mShared) Shared();
        const pid_t other = fork();
        if (other == 0) attack(GetParam(), *mShared, number);
        while (!mShared->ready && waitpid(other, nullptr, WNOHANG) == 0) {
        }
        EXPECT_TRUE(mShared->ready) << "the other user could not begin";
        GetParam().act(*mService);
        mShared->done = true;
        waitpid(other, nullptr, 0);
        mLog.take();
        return mShared->exchanged;
    }

  private:
    Shared* const mShared;
};

TEST_P(RaceTest, HarmsNobodyElse) {
    const std::string before = describeVictim();
    int exchanged = 0;
    for (int i = 0; i < gTries; i++) {
        exchanged += tryOnce(static_cast<unsigned>(i));
        ASSERT_EQ(describeVictim(), before) << "in try " << i;
    }
    printf("%d tries, %d exchanges, nothing lost\n", gTries, exchanged);
    EXPECT_GE(exchanged, gTries / 2) << "the other user came too late";
}

void listPruned() {
    std::vector<std::string>& archives = ZulService::mTagTable.at(kTag);
    for (int i = 0; i < 19; i++) {
        archives.push_back(kType + "/" + std::to_string(i) + ".zul");
        makeFolders(archives.back());
    }
    archives.insert(archives.begin() + 1, kFolder + ".zul");
    // No file and no empty folder: what goes is the folder that it was to come from.
    makeLeftover(archives[1]);
    makeLeftover(kFolder);
}

void recordSecret() {
    const int file = open("/data/ZUL/zul_history", O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
    dprintf(file, "x|y|/data/ZUL/a/secret|z\n");
    close(file);
    ZulService::mCompressFileCount = ZulService::mCompressFileLimit;
}

void makeSecret() {
    umask(0);
    makeLeftover("/data/ZUL/a/secret");
    fs::permissions("/data/ZUL/a", fs::perms::all);
}

void makeStore() {
    makeArchives(kType);
    makeLeftover(kFolder);
    makeFile("/data/ZUL/zul_history");
}

/** A line of what lies behind the link. */
void growHistory() {
    const int file = open("/data/ZUL/zul_history", O_WRONLY | O_APPEND | O_CLOEXEC);
    dprintf(file, "%s|2025-03-04 17:06:07|%s/%s.zul|build\n", kTag, kVictim, kName.c_str());
    close(file);
}

void callZulctl(ZulService&) {
    FILE* const nowhere = fopen("/dev/null", "we");
    zulctl::run({"zulctl", "list"}, nowhere, nowhere);
    zulctl::run({"zulctl", "clean", "-f"}, nowhere, nowhere);
    zulctl::run({"zulctl", "clean", "-f", "--to=0"}, nowhere, nowhere);
    fclose(nowhere);
}

void cleanOld(ZulService&) {
    ZulService::cleanOldFile();
}

void capture(ZulService& service) {
    makeCapture(service, kTag);
}

void makeLeftLogo() {
    makeLeftover("/morvfs/stuck_logo/" + kLogoName);
}

void makeLeftCapture() {
    makeLeftover(kFolder);
}

void nothing() {}

const RaceCase kRaceCases[] = {
        {"WholeStore", "/data/ZUL/a", kLink, recordSecret, makeSecret, cleanOld},
        {"WholeStoreLastName", "/data/ZUL/a/secret", "/data/ZUL/a/link", recordSecret, makeSecret,
         cleanOld},
        {"PrunedTag", kType, kLink, listPruned, nullptr, capture},
        {"PrunedTagLastName", kFolder, kType + "/link", listPruned, nullptr, capture},
        {"Leftover", kType, kLink, makeLeftCapture, nullptr, capture},
        {"LeftoverLastName", kFolder, kType + "/link", makeLeftCapture, nullptr, capture},
        {"LeftoverInside", kFolder + "/inner", kFolder + "/link", makeLeftCapture, nullptr,
         capture},
        {"TypeFolder", kType, kLink, nothing, nullptr, capture},
        {"StuckLogoRoot", "/morvfs/stuck_logo", "/morvfs/link", makeLeftLogo, nullptr,
         [](ZulService& service) {
             ZulService::getCompressFileCount();
             makeCapture(service, kLogoTag);
         }},
        {"Configuration", "/data/ZUL/config", kLink, nothing,
         [] {
             makeLeftover("/data/ZUL/config");
             makeLeftover("/data/ZUL/config.new");
         },
         [](ZulService&) ZUL_NO_THREAD_SAFETY_ANALYSIS {
             ZulService::writeConfig("/data/ZUL/config", "tag:a,enable:1");
         }},
        {"Clean", kType, kLink, makeStore, nullptr, callZulctl, growHistory},
        {"CleanLastName", kFolder, kType + "/link", makeStore, nullptr, callZulctl, growHistory},
        {"CleanInside", kFolder + "/inner", kFolder + "/link", makeStore, nullptr, callZulctl,
         growHistory},
        {"CleanStuckLogoRoot", "/morvfs/stuck_logo", "/morvfs/link", makeLeftLogo, nullptr,
         callZulctl},
};
INSTANTIATE_TEST_SUITE_P(Store, RaceTest, testing::ValuesIn(kRaceCases), caseName);

/** Runs as the other user. */
void asOther(const std::function<void()>& act) {
    const pid_t other = fork();
    if (other == 0) {
        umask(0);
        becomeOther();
        act();
        _exit(0);
    }
    int status = -1;
    waitpid(other, &status, 0);
    EXPECT_EQ(status, 0);
}

using OtherUserTest = ServiceTest;

TEST_F(OtherUserTest, WhatOthersMadeGoesWithoutTheShell) {
    fs::permissions("/data/ZUL", fs::perms::all);
    const auto remove = [this](std::string path) {
        ZulService::removeFilePath(path.data());
        EXPECT_FALSE(exists(path)) << path;
        return mLog.take();
    };
    // The folder itself; one that holds it; one in it. Only the last one leaves the shell anything.
    asOther([] { makeLeftover("/data/ZUL/folder"); });
    EXPECT_THAT(remove("/data/ZUL/folder"), ElementsAre("D child normal exit...."));

    makeFolders("/data/ZUL/folder");
    asOther([] { makeLeftover("/data/ZUL/folder/theirs"); });
    EXPECT_THAT(remove("/data/ZUL/folder"), ElementsAre("D child normal exit...."));

    asOther([] { makeFolders("/data/ZUL/theirs"); });
    makeLeftover("/data/ZUL/theirs/ours");
    EXPECT_THAT(remove("/data/ZUL/theirs/ours"), IsEmpty());
}

TEST_F(OtherUserTest, WhatOthersHoldIsToldAndStays) {
    fs::permissions("/data/ZUL", fs::perms::all);
    asOther([] {
        makeLeftover("/data/ZUL/folder");
        fs::permissions("/data/ZUL/folder", fs::perms(0755));
    });
    std::string path = "/data/ZUL/folder";
    ZulService::removeFilePath(path.data());
    EXPECT_TRUE(exists(path + "/inner"));
    EXPECT_THAT(mLog.take(), testing::ElementsAre("E not removed, in use by others: " + path));
    asOther([] { fs::remove_all("/data/ZUL/folder"); });
}

}  // namespace
}  // namespace zul::test

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (argc > 1) zul::test::gTries = atoi(argv[1]);
    return RUN_ALL_TESTS();
}
