// SPDX-License-Identifier: Apache-2.0
#include "tests/faults/Trial.h"

#include <cutils/properties.h>
#include <time.h>

#include <cstring>
#include <filesystem>
#include <regex>
#include <sstream>

#include "base/Text.h"
#include "tests/support/LogLine.h"

namespace zul::test {

namespace fs = std::filesystem;

namespace {

/** How long a second of the daemon lasts where nobody needs the pause. */
constexpr uint32_t kSecondMs = 10;

constexpr char kStore[] = "/data/ZUL/";
constexpr char kStuckLogo[] = "/morvfs/stuck_logo/";
constexpr char kHistory[] = "/data/ZUL/zul_history";
constexpr char kConfig[] = "/data/ZUL/config";
constexpr char kRecord[] = "/data/ZUL/collector_record";
constexpr char kInstances[] = "/sys/kernel/tracing/instances/";

std::string format(time_t when, const char* pattern) {
    char text[64];
    tm local{};
    return {text, strftime(text, sizeof(text), pattern, localtime_r(&when, &local))};
}

std::string historyLine(const std::string& tag, time_t when, const std::string& archive) {
    return tag + "|" + format(when, "%Y-%m-%d %H:%M:%S") + "|" + archive + "|build\n";
}

std::string oldArchive(const std::string& tag, int number) {
    return kStore + tag + "_old_" + std::to_string(number) + ".zul";
}

size_t countOf(const std::string& text, const std::string& part) {
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        count++;
    return count;
}

}  // namespace

void Trial::reset(bool anew) {
    const std::string& tag = mKind.tag();
    if (anew) mDevice.endDaemon();
    for (const char* root : {kStore, kStuckLogo}) {
        fs::create_directories(root);
        for (const auto& entry : fs::directory_iterator(root))
            if (entry.path().filename() != "db.fatal.08.EE.dbg") fs::remove_all(entry.path());
    }
    for (const char* instance : {"perf", "stab"})
        writeFile(std::string(kInstances) + instance + "/trace_marker", "");
    writeFile(std::string(kStore) + "collector_orders", "record\n");
    writeFile(std::string(kStore) + "ZUL_TAG.txt", tag + "|\n");
    writeFile(kConfig, mKind.setting.config);
    std::string history;
    for (int i = 1; i <= mKind.setting.archives; i++) {
        writeFile(oldArchive(tag, i), "old");
        history += historyLine(tag, mDevice.now(), oldArchive(tag, i));
    }
    if (mKind.setting.archives > 0) writeFile(kHistory, history);
    property_set("persist.sys.zul.count", std::to_string(mKind.setting.limit).c_str());
    mDevice.page().secondMs = kSecondMs;
    mDrift = 0;
    if (!anew || mKind.setting.withStart) return;

    mDevice.startDaemon({});
    eventually([this] { return mDevice.callbacks() == 1; });
}

size_t Trial::oldArchives() const {
    size_t count = 0;
    for (int i = 1; i <= mKind.setting.archives; i++)
        count += fs::exists(oldArchive(mKind.tag(), i));
    return count;
}

void Trial::predict() {
    const std::string& tag = mKind.tag();
    const auto tables = mDevice.tables();
    const std::string parent = tag == "0xffffff06" ? kStuckLogo : kStore + tag.substr(0, 6) + "/";
    mFolder = parent + tag + format(mDevice.now() + 1, "_%Y_%m_%d_%H_%M_%S_") +
              std::to_string(tables ? tables->count % 100 : 0);
    if (mKind.setting.findsLeftover) fs::create_directories(mFolder + "/left/over");
}

std::string Trial::run(const Fault& fault) {
    fs::remove(kRecord);
    mHistory = readFile(kHistory);
    mOldArchives = oldArchives();
    mLogStart = mKind.setting.withStart ? 0 : mDevice.log().size();

    std::optional<bool> answered = true;
    if (mKind.setting.withStart) {
        mDrift = 0;
        mDevice.startDaemon(fault);
        mDevice.settle();
        mRegistered = mDevice.callbacks() == 1;
        // With the wrong binder, because its property could not be read, nobody is found.
        const bool sought = contains(mDevice.log(), "service is still nullptr");
        if (!mRegistered && !sought) return "the callback is not registered";
    }
    predict();
    if (!mKind.setting.withStart) mDevice.arm(fault);
    if (mKind.setting.engineReturns) {
        mDevice.startEngine();
        mRegistered = eventually([this] { return mDevice.callbacks() == 1; });
        if (!mRegistered) return "the callback is not registered again";
    }
    if (mRegistered) answered = mDevice.fire(mKind.event);
    if (!answered) return "the engine waits for its answer";
    if (!*answered) return "the engine's call failed";
    for (const std::string& wrong : {checkProcess(), checkCounts(fault), checkFiles(fault)}) {
        if (!wrong.empty()) return wrong;
    }
    return "";
}

std::string Trial::checkProcess() {
    if (!mDevice.settle())
        return mDevice.isAlive() ? "the threads do not come to rest" : "the daemon ended";
    if (mDevice.children() > 0) return "a child is left";
    if (mOpenFiles == 0) mOpenFiles = mDevice.openFiles();
    // The thread that watches the engine has one open now and then.
    const bool closed = eventually([this] { return mDevice.openFiles() <= mOpenFiles; });
    return closed ? "" : "a file is left open";
}

std::string Trial::checkCounts(const Fault& fault) {
    const auto tables = mDevice.tables();
    if (!tables) return "the lock is not free";
    const std::string log = mDevice.log().substr(mLogStart);
    size_t gone = countOf(log, "remove old file:filename=") - countOf(log, " isn't exist!\n");
    if (mKind.setting.prunesStore()) gone -= countOf(log, "E ZUL_DEBUG: not removed, ");
    // The log may lack that line.
    if (fault.call == sim::Call::write)
        gone = mKind.setting.prunesStore() ? mOldArchives - oldArchives() : 0;
    mDrift += static_cast<int64_t>(gone);
    if (tables->count + mDrift == tables->listed) return "";
    return "the count is " + std::to_string(tables->count) + ", listed are " +
           std::to_string(tables->listed) + ", pruned " + std::to_string(mDrift);
}

std::string Trial::checkFiles(const Fault& fault) const {
    static const std::regex whole(
            "\n?(0x[0-9a-f]+\\|\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\|/[^|\\n]+\\.zul\\|"
            "[^|\\n]+\\n)*");
    const std::string history = readFile(kHistory);
    if (!history.starts_with(mHistory)) return "the history has lost something: " + history;
    std::string added = history.substr(mHistory.size());
    // The part of a line that a write left is ended by the next one.
    if (fault.call == sim::Call::write) added.resize(added.rfind('\n') + 1);
    if (!std::regex_match(added, whole)) return "the history has half a line: " + added;
    const std::string config = readFile(kConfig);
    if (config != mKind.setting.config && config != mKind.text()) return "config is " + config;
    for (const auto& entry : fs::directory_iterator("/data/ZUL")) {
        if (entry.path().string().starts_with(std::string(kConfig) + ".new"))
            return "config.new is left";
    }
    return "";
}

std::string Trial::checkLog() const {
    static const std::regex missing("file (\\S+) isn't exist!");
    std::istringstream lines(mDevice.log().substr(mLogStart));
    for (std::string line; std::getline(lines, line);) {
        const auto told = parseLogLine(line);
        if (!told || !std::strchr("WEF", told->priority)) continue;
        // An archive that was pruned while it was not listed is chosen once more.
        const std::string& text = told->text;
        // The next engine may be looked for while the last one is still listed.
        if (mKind.setting.engineReturns &&
            (text == "engine is gone" || text.starts_with("engine gave no thread number"))) {
            continue;
        }
        std::smatch archive;
        const bool chosenAgain = mKind.setting.prunesStore() &&
                                 std::regex_match(text, archive, missing) &&
                                 !fs::exists(archive[1].str()) && oldArchives() == mOldArchives;
        if (!chosenAgain) return "the log has " + text;
    }
    return "";
}

std::string Trial::checkCollected() const {
    if (mKind.collected.empty()) return fs::exists(kRecord) ? "a collector ran" : "";
    const bool captures = mKind.effect == Effect::CAPTURE;
    const std::string& tag = mKind.tag();
    std::vector<std::string> arguments = mKind.collected;
    arguments.insert(arguments.begin(), captures ? mFolder : tag);
    arguments.insert(arguments.begin() + 4, captures ? tag : "");
    arguments.insert(arguments.begin() + 8,
                     captures ? format(mDevice.now(), "%Y-%m-%d %H:%M:%S") : "");
    std::string record = "arguments 10\n";
    for (int i = 0; const std::string& argument : arguments) {
        record += std::to_string(i++) + " " + std::to_string(argument.size()) + "\n" + argument +
                  "\n";
    }
    const std::string recorded = readFile(kRecord);
    if (!recorded.starts_with(record + "fd ") || countOf(recorded, "\nend\n") != 1) {
        return "the collector got " + recorded;
    }
    const bool whole = fs::exists(mFolder + ".zul") && !fs::exists(mFolder);
    return captures && !whole ? "no archive " + mFolder + ".zul" : "";
}

std::string Trial::checkEffect(Harm harm) const {
    if (harm > Harm::FILES) return "";
    const std::string collected = checkCollected();
    if (!collected.empty() || harm == Harm::FILES) return collected;

    std::string history = mHistory;
    const bool torn = !history.empty() && !history.ends_with('\n');
    if (mKind.effect == Effect::CAPTURE)
        history += (torn ? "\n" : "") + historyLine(mKind.tag(), mDevice.now(), mFolder + ".zul");
    if (readFile(kHistory) != history) return "the history is not " + history;
    if (mKind.effect == Effect::UPDATE && readFile(kConfig) != mKind.text()) return "no update";
    const bool marks = mKind.effect == Effect::MARK || mKind.effect == Effect::MARK_AND_COLLECT;
    const std::string marker = std::string(kInstances) +
                               (mKind.tag().back() == '1' ? "perf" : "stab") + "/trace_marker";
    if (marks && readFile(marker) != mKind.text()) return "no mark";
    return checkLog();
}

Outcome Trial::tryFault(const Fault& fault, Harm harm) {
    Outcome outcome;
    outcome.wrong = run(fault);
    outcome.fired = mDevice.page().fired != 0;
    mDevice.page().call = sim::Call::none;
    if (!outcome.wrong.empty()) return outcome;
    outcome.wrong = checkEffect(outcome.fired ? harm : Harm::NOTHING);
    if (!outcome.wrong.empty() || !outcome.fired) return outcome;
    outcome.wrong = run({});
    if (outcome.wrong.empty()) outcome.wrong = checkEffect(Harm::NOTHING);
    if (!outcome.wrong.empty()) outcome.wrong = "afterwards: " + outcome.wrong;
    return outcome;
}

}  // namespace zul::test
