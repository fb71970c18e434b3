// SPDX-License-Identifier: Apache-2.0

#include "zulctl/store/Captures.h"

#include <errno.h>
#include <limits.h>
#include <string.h>
#include <sys/stat.h>

#include <algorithm>
#include <iterator>

#include "base/Paths.h"
#include "base/RemoveTree.h"

namespace zulctl {

namespace {

constexpr const char* kStateNames[] = {"present",     "missing",    "running", "left",
                                       "overwritten", "unrecorded", "unlisted"};

constexpr char kHistoryName[] = "zul_history";

/**
 * The files of a copy have times of another clock: of the zone where they were copied, or of the copying
 * itself. What seems to have taken longer than this is taken for that.
 */
constexpr int64_t kLongestInCopy = 3600;

/** Bytes of the files in a folder and below. */
uint64_t sizeOfTree(int parent, const char* name, int depth) {
    uint64_t bytes = 0;
    zul::ScopedFd folder = zul::openInner(parent, name);
    if (!folder.ok() || depth == zul::kDeepestFolder) return bytes;
    zul::forEachName(std::move(folder), [&bytes, depth](int inside, const char* each) {
        struct stat status = {};
        if (fstatat(inside, each, &status, AT_SYMLINK_NOFOLLOW) != 0) return true;
        if (S_ISREG(status.st_mode)) bytes += static_cast<uint64_t>(status.st_size);
        if (S_ISDIR(status.st_mode)) bytes += sizeOfTree(inside, each, depth + 1);
        return true;
    });
    return bytes;
}

bool isOlder(const DiskEntry* a, const DiskEntry* b) {
    return a->time < b->time;
}

}  // namespace

const char* nameOf(State state) {
    return kStateNames[static_cast<size_t>(state)];
}

std::optional<State> stateOf(std::string_view name) {
    for (size_t i = 0; i < std::size(kStateNames); i++) {
        if (name == kStateNames[i]) return static_cast<State>(i);
    }
    return std::nullopt;
}

std::string_view Capture::name() const {
    std::string_view text = archive.substr(archive.rfind('/') + 1);
    text.remove_suffix(sizeof(zul::kArchiveSuffix) - 1);
    return text;
}

Captures::Captures(Session& session, const Store& store)
      : mSession(session),
        mStore(store),
        mHistoryFd(store.openFile(kHistoryName)),
        mHistory(mHistoryFd.get()),
        mHasHistory(mHistoryFd.ok()) {
    // A store without a history may be one that is empty still.
    if (!mHasHistory && errno != ENOENT) {
        mSession.problem(std::string(zul::kHistoryFile) + ": " + whyNotOpened(errno));
    }
    mDisk.scan(store, [this](const std::string& text) { mSession.problem(text); });
    mDisk.applyKeepRule();

    const auto isUnfinished = [](const DiskEntry& entry) { return entry.hasFolder; };
    if (!store.isCopy() &&
        std::any_of(mDisk.entries().begin(), mDisk.entries().end(), isUnfinished)) {
        lookAtProcesses();
    }
}

bool Captures::lookAtProcesses() {
    // Not before the listing: a collector that started in between would be missing.
    if (!mProcesses) {
        mProcesses = Processes::look();
        if (!mProcesses->seen()) {
            mSession.problem(
                    "processes of others cannot be seen: what runs is not told from what is "
                    "left");
        }
    }
    return mProcesses->seen();
}

bool Captures::runs(const DiskEntry& entry) const {
    return entry.hasFolder && mProcesses && mProcesses->has(mDisk.pathOf(entry));
}

State Captures::stateOf(const DiskEntry& entry) const {
    if (runs(entry)) return State::RUNNING;
    if (!entry.hasArchive) return State::LEFT;
    if (entry.unlisted) return State::UNLISTED;
    return entry.recorded || !mHasHistory ? State::PRESENT : State::UNRECORDED;
}

void Captures::readToTheStart() {
    mReadToTheStart = true;
    HistoryFile rest(mHistoryFd.get());
    rest.seek(mHistory.position());
    while (const auto line = rest.previousText()) {
        DiskEntry* entry = mDisk.find(zul::parseRecord(*line).archive);
        // Most lines are about what is gone, and need no closer look.
        if (entry != nullptr && !entry->recorded && readHistoryLine(*line)) entry->recorded = true;
    }
}

/** Visits what no line tells of and is newer than `behind`. */
bool Captures::visitUnrecorded(WallTime behind, const std::function<bool(const Capture&)>& visit) {
    while (!mUnvisited.empty() && mUnvisited.front()->time > behind) {
        DiskEntry* entry = mUnvisited.front();
        // A clock that was set back can have its line still to come.
        if (!entry->recorded && !mReadToTheStart) readToTheStart();
        std::pop_heap(mUnvisited.begin(), mUnvisited.end(), isOlder);
        mUnvisited.pop_back();
        if (entry->recorded) continue;
        const std::string archive = mDisk.pathOf(*entry) + zul::kArchiveSuffix;
        if (!visit({.tag = mDisk.tagOf(*entry),
                    .time = entry->time,
                    .state = stateOf(*entry),
                    .archive = archive,
                    .entry = entry})) {
            return false;
        }
    }
    return true;
}

void Captures::visitAll(const std::function<bool(const Capture&)>& visit) {
    std::vector<bool> claimed(mDisk.entries().size());
    for (DiskEntry& entry : mDisk.entries())
        mUnvisited.push_back(&entry);
    std::make_heap(mUnvisited.begin(), mUnvisited.end(), isOlder);

    bool goOn = true;
    while (const auto line = goOn ? mHistory.previous() : std::nullopt) {
        DiskEntry* entry = mDisk.find(line->record.archive);
        if (entry != nullptr) entry->recorded = true;
        if (!visitUnrecorded(line->time, visit)) {
            goOn = false;
            break;
        }
        Capture capture = {.tag = line->record.tag,
                           .time = line->time,
                           .state = State::MISSING,
                           .archive = line->record.archive,
                           .build = line->record.build,
                           .recorded = true};
        if (entry != nullptr) {
            const auto number = static_cast<size_t>(entry - mDisk.entries().data());
            capture.state = claimed[number] ? State::OVERWRITTEN : stateOf(*entry);
            capture.entry = claimed[number] ? nullptr : entry;
            claimed[number] = true;
        }
        goOn = visit(capture);
    }
    // What is left on the heap at the history's start has no line.
    mReadToTheStart = mReadToTheStart || goOn;
    if (goOn) visitUnrecorded(LLONG_MIN, visit);

    if (mHistory.failed()) {
        mSession.problem(std::string(zul::kHistoryFile) + ": cannot be read to its start");
    }
    if (mHistory.strangeLines() > 0) {
        mSession.problem(std::string(zul::kHistoryFile) + ": " +
                         counted(mHistory.strangeLines(), "line") + " cannot be read as a record");
    }
}

WallTime Captures::now() {
    if (!mStore.isCopy()) return wallTimeNow();
    HistoryFile history(mHistoryFd.get());
    if (const auto newest = history.previous()) return newest->time;
    WallTime time = 0;
    for (const DiskEntry& entry : mDisk.entries())
        time = std::max(time, entry.time);
    return time;
}

Surplus Captures::surplus(bool withBytes) {
    Surplus surplus;
    uint64_t bytes = 0;
    for (const DiskEntry& entry : mDisk.entries()) {
        if (entry.unlisted) {
            surplus.archives++;
            bytes += withBytes ? useOf(&entry).bytes : 0;
        }
        if (isLeft(entry)) {
            surplus.folders++;
            bytes += withBytes ? folderBytes(entry) : 0;
        }
    }
    if (withBytes) surplus.bytes = bytes;
    return surplus;
}

/** Descriptor of the folder that it lies in; -1 when that cannot be opened. */
int Captures::folderFor(const DiskEntry& entry) {
    if (!mOpen.ok() || mOpenFolder != entry.folder) {
        mOpenFolder = entry.folder;
        mOpen = DiskIndex::open(mDisk.folderOf(entry));
    }
    return mOpen.get();
}

uint64_t Captures::folderBytes(const DiskEntry& entry) {
    const std::string name(mDisk.nameOf(entry));
    return sizeOfTree(folderFor(entry), name.c_str(), 0);
}

DiskUse Captures::useOf(const DiskEntry* entry) {
    if (entry == nullptr) return {};
    if (!entry->hasArchive) return {.known = true, .bytes = folderBytes(*entry)};
    const std::string name = std::string(mDisk.nameOf(*entry)) + zul::kArchiveSuffix;
    struct stat status = {};
    if (fstatat(folderFor(*entry), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) return {};
    DiskUse use = {.known = true, .bytes = static_cast<uint64_t>(status.st_size)};
    const int64_t seconds = wallTime(status.st_mtime) - entry->time;
    // While it runs, its archive may still grow.
    const bool guesses =
            seconds >= 0 && !runs(*entry) && !(mStore.isCopy() && seconds >= kLongestInCopy);
    if (guesses) use.took.milliseconds = seconds * 1000;
    return use;
}

}  // namespace zulctl
