// SPDX-License-Identifier: Apache-2.0

#include "zulctl/store/Captures.h"

#include <errno.h>
#include <limits.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>

#include <algorithm>
#include <iterator>

#include "base/Paths.h"
#include "base/RemoveTree.h"

namespace zulctl {

namespace {

/** Folders inside each other, each with a descriptor; what lies deeper is not counted. */
constexpr int kDeepestFolder = 64;

constexpr const char* kStateNames[] = {"present",     "missing",    "running", "left",
                                       "overwritten", "unrecorded", "unlisted"};

constexpr char kHistoryName[] = "zul_history";

/** Bytes of the files in a folder and below. */
uint64_t sizeOfTree(int parent, const char* name, int depth) {
    uint64_t bytes = 0;
    zul::ScopedFd folder = zul::openInner(parent, name);
    if (!folder.ok() || depth == kDeepestFolder) return bytes;
    zul::forEachEntry(std::move(folder), [&bytes, depth](int inside, const dirent& each) {
        struct stat status = {};
        if (fstatat(inside, each.d_name, &status, AT_SYMLINK_NOFOLLOW) != 0) return true;
        if (S_ISREG(status.st_mode)) bytes += static_cast<uint64_t>(status.st_size);
        if (S_ISDIR(status.st_mode)) bytes += sizeOfTree(inside, each.d_name, depth + 1);
        return true;
    });
    return bytes;
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

std::string formatTook(int64_t milliseconds) {
    char text[32];
    snprintf(text, sizeof(text), "%.3fs", static_cast<double>(milliseconds) / 1000);
    return text;
}

Captures::Captures(Session& session, const Device& device, LogStory log)
      : mSession(session),
        mDevice(device),
        mStore(*device.store),
        mHistoryFd(openRegularAt(mStore.outputRoot.get(), kHistoryName)),
        mHistory(mHistoryFd.get()),
        mLog(std::move(log)) {
    // A store without a history may be one that is empty still.
    if (!mHistoryFd.ok() && errno != ENOENT) {
        mSession.problem(std::string(zul::kHistoryFile) + ": " + whyNotOpened(errno));
    }
    mDisk.scan(mStore, mSession);
    mDaemonStart = mLog.daemonStart;
    if (mStore.isCopy) return;
    // Not before the listing: a collector that started in between would be missing.
    mProcesses = Processes::look();
    const auto isUnfinished = [](const DiskEntry& entry) { return entry.hasFolder; };
    if (std::any_of(mDisk.entries().begin(), mDisk.entries().end(), isUnfinished)) {
        lookAtProcesses();
    }
    if (const auto start = mProcesses->daemonStart()) {
        // Anybody can write that line into a log, and a clock may have been set since.
        mDaemonStart =
                std::min(wallTime(static_cast<time_t>(*start)), mDaemonStart.value_or(INT64_MAX));
    }
}

bool Captures::lookAtProcesses() {
    if (!mProcesses->seen()) {
        mSession.problem(
                "processes of others cannot be seen: what runs is not told from what is left");
    }
    return mProcesses->seen();
}

bool Captures::runs(const DiskEntry& entry) const {
    return entry.hasFolder && mProcesses && mProcesses->has(entry.path());
}

State Captures::stateOfFolder(const DiskEntry& entry) const {
    // When the copy was made.
    const LogStory::Capture* const logged = mStore.isCopy ? mLog.find(entry.archive()) : nullptr;
    const bool ran = logged != nullptr && logged->outcome == Outcome::UNDER_WAY;
    return ran || runs(entry) ? State::RUNNING : State::LEFT;
}

State Captures::stateOfArchive(const DiskEntry& entry, const HistoryLine* line) {
    const bool knowsAll = mHistoryFd.ok() && !mHistory.wasCut();
    if (line == nullptr) return knowsAll ? State::UNRECORDED : State::PRESENT;
    return isUnlisted(entry, *line) ? State::UNLISTED : State::PRESENT;
}

/** At its start the daemon takes what lies in a root itself, and nothing of type folders. */
bool Captures::isUnlisted(const DiskEntry& entry, const HistoryLine& line) {
    if (!mDaemonStart || line.time >= *mDaemonStart || !entry.folder->isTypeFolder()) {
        return false;
    }
    const LogStory::Capture* const logged = mLog.find(entry.archive());
    if (logged != nullptr && logged->daemon == mLog.daemon) return false;
    struct stat status = {};
    if (mStore.isCopy || !statArchive(entry, status)) return true;
    // The clock of names follows the user from zone to zone, that of files does not, and the time of a change
    // is the kernel's alone. What a collector made that went on without its daemon stays in doubt.
    const auto start = mProcesses->daemonStart();
    return !start || std::max(secondsOf(status.st_mtim), secondsOf(status.st_ctim)) < *start;
}

Capture Captures::take(DiskEntry* entry, const HistoryLine* line) {
    Capture capture;
    if (line != nullptr) {
        const auto& [tag, time, archive, build] = line->record;
        capture = {std::string(tag),     line->time,         State::MISSING,
                   std::string(archive), std::string(build), true};
    } else {
        capture = {std::string(parseArchiveName(entry->name)->tag), entry->time, State::MISSING,
                   entry->archive()};
    }
    if (entry == nullptr) return capture;
    // An archive beside a folder is of an earlier capture: each packs its own at the end.
    const int claim = entry->claims++;
    if (claim == 0 && entry->hasFolder) {
        capture.state = stateOfFolder(*entry);
    } else if (claim == (entry->hasFolder ? 1 : 0) && entry->hasArchive) {
        capture.state = stateOfArchive(*entry, line);
    } else {
        capture.state = State::OVERWRITTEN;
    }
    capture.entry = capture.state != State::OVERWRITTEN ? entry : nullptr;
    return capture;
}

void Captures::readToTheStart() {
    mReadToTheStart = true;
    const off_t position = mHistory.position();
    while (const auto line = mHistory.previousText()) {
        DiskEntry* entry = mDisk.find(zul::parseRecord(*line).archive);
        // Most lines are about what is gone, and need no closer look.
        if (entry != nullptr && !entry->recorded && readHistoryLine(*line)) entry->recorded = true;
    }
    mHistory.seek(position);
}

/** Visits what no line tells of and is newer than `behind`. */
bool Captures::visitUnrecorded(WallTime behind, const std::function<bool(const Capture&)>& visit) {
    for (; mUnvisited > 0 && mDisk.entries()[mUnvisited - 1].time > behind; mUnvisited--) {
        DiskEntry& entry = mDisk.entries()[mUnvisited - 1];
        // A clock that was set back can have its line still to come.
        if (!entry.recorded && !mReadToTheStart) readToTheStart();
        if (!entry.recorded && !visit(take(&entry, nullptr))) return false;
    }
    return true;
}

void Captures::visitAll(const std::function<bool(const Capture&)>& visit) {
    mUnvisited = mDisk.entries().size();
    bool goOn = true;
    while (const auto line = goOn ? mHistory.previous() : std::nullopt) {
        DiskEntry* entry = mDisk.find(line->record.archive);
        if (entry != nullptr) entry->recorded = true;
        // What is visited before it may read on, and the line is not good any more then.
        const Capture capture = take(entry, &*line);
        goOn = visitUnrecorded(line->time, visit) && visit(capture);
    }
    // What is left at the history's start has no line.
    mReadToTheStart = mReadToTheStart || goOn;
    if (goOn) visitUnrecorded(LLONG_MIN, visit);
    tellOf(mHistory);
}

void Captures::tellOf(const HistoryFile& history) {
    const std::string name = zul::kHistoryFile;
    if (history.failed()) mSession.problem(name + ": cannot be read to its start");
    if (history.wasCut() && mReadToTheStart) {
        mSession.problem(name + ": only its last " + humanSize(HistoryFile::kMostBytes) +
                         " are read");
    }
    if (history.strangeLines() > 0) {
        mSession.problem(name + ": " + counted(history.strangeLines(), "line") +
                         " cannot be read as a record");
    }
}

std::optional<Capture> Captures::find(const std::string& wanted) {
    const std::string_view name = lastName(wanted);
    std::string start(name);
    std::replace_if(
            start.begin(), start.end(), [](char c) { return c == ' ' || c == '-' || c == ':'; },
            '_');

    std::optional<Capture> found;
    std::optional<Capture> beginsSo;
    bool several = false;
    visitAll([&](const Capture& capture) {
        if (capture.name() == name || capture.tag == wanted) {
            found = capture;
        } else if (!start.empty() && capture.name().starts_with(start)) {
            several = several || (beginsSo && beginsSo->archive != capture.archive);
            if (!beginsSo) beginsSo = capture;
        }
        return !found;
    });
    if (!found && !several) found = beginsSo;
    if (!found) {
        mSession.remark(
                (several ? "several captures begin so: " : "there is no capture of that name: ") +
                wanted);
    }
    return found;
}

std::optional<Event> Captures::eventOf(const Capture& capture, bool keepLines) {
    std::optional<Event> found;
    if (!mDevice.log) return found;
    // Of several the last one: it has overwritten the others.
    readEvents(mSession, mDevice,
               {.event =
                        [&](Event& event) {
                            decide(event);
                            const bool isIts = event.archive == capture.archive;
                            if (isIts && event.captures > 0) found = std::move(event);
                        },
                .keepLines = keepLines});
    return found;
}

WallTime Captures::now() {
    if (!mStore.isCopy) return wallTime(time(nullptr));
    if (const auto newest = HistoryFile(mHistoryFd.get()).previous()) return newest->time;
    return mDisk.entries().empty() ? 0 : mDisk.entries().back().time;
}

/** Descriptor of the folder that it lies in; -1 when that cannot be opened. */
int Captures::folderFor(const DiskEntry& entry) {
    if (!mOpen.ok() || mOpenFolder != entry.folder) {
        mOpenFolder = entry.folder;
        mOpen = entry.folder->open();
    }
    return mOpen.get();
}

bool Captures::statArchive(const DiskEntry& entry, struct stat& status) {
    const std::string name = entry.name + zul::kArchiveSuffix;
    return fstatat(folderFor(entry), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
}

std::optional<uint64_t> Captures::bytesOf(const Capture& capture) {
    if (capture.entry == nullptr) return std::nullopt;
    const DiskEntry& entry = *capture.entry;
    if (capture.isFolder()) return sizeOfTree(folderFor(entry), entry.name.c_str(), 0);
    struct stat status = {};
    if (!statArchive(entry, status)) return std::nullopt;
    return static_cast<uint64_t>(status.st_size);
}

Took Captures::tookOf(const Capture& capture) {
    const bool isIts = capture.state != State::OVERWRITTEN;
    const LogStory::Capture* const logged = isIts ? mLog.find(capture.archive) : nullptr;
    if (logged != nullptr && logged->took >= 0) {
        return {{logged->took, formatTook(logged->took)}, "log"};
    }
    // A copy's files have times of another clock, or of the copying.
    struct stat status = {};
    if (mStore.isCopy || capture.entry == nullptr || capture.entry->hasFolder ||
        !statArchive(*capture.entry, status)) {
        return {};
    }
    const int64_t seconds = wallTime(status.st_mtime) - capture.entry->time;
    if (seconds < 0) return {};
    return {{seconds * 1000, "~" + formatDuration(seconds)}, "file"};
}

void Captures::decide(Event& event) {
    if (!mCountedLines) {
        mCountedLines = true;
        HistoryFile history(mHistoryFd.get());
        while (const auto line = history.previous()) {
            DiskEntry* const entry = mDisk.find(line->record.archive);
            if (entry != nullptr) entry->linesToCome++;
        }
        tellOf(history);
    }
    DiskEntry* const entry = mDisk.find(event.archive);
    if (entry != nullptr) entry->linesToCome -= event.captures;
    const bool isLast = event.captures > 0 && (entry == nullptr || entry->linesToCome <= 0);
    // Whatever else became of it, the log tells better.
    constexpr Outcome kUndecided[] = {Outcome::COLLECTED, Outcome::UNDER_WAY, Outcome::KILLED,
                                      Outcome::INTERRUPTED, Outcome::UNKNOWN};
    if (event.archive.empty() || std::find(std::begin(kUndecided), std::end(kUndecided),
                                           event.outcome) == std::end(kUndecided)) {
        return;
    }

    const auto become = [&event](Outcome outcome, const char* reason) {
        const bool isOfOutcome = strcmp(event.reason, reasonOf(event.outcome)) == 0;
        if (isOfOutcome || isDropped(outcome)) event.reason = reason;
        event.outcome = outcome;
    };
    const bool hasFolder = isLast && entry != nullptr && entry->hasFolder;
    if (hasFolder && runs(*entry)) {
        become(Outcome::UNDER_WAY, "");
    } else if (!hasFolder && entry != nullptr && entry->hasArchive) {
        become(Outcome::CAPTURED, "");
    } else if (event.outcome == Outcome::COLLECTED && entry == nullptr) {
        become(Outcome::CAPTURED, kGone);
    } else if (event.outcome == Outcome::COLLECTED ||
               (event.outcome == Outcome::UNDER_WAY && hasFolder && !mStore.isCopy)) {
        become(Outcome::FAILED, reasonOf(Outcome::FAILED));
    }
}

}  // namespace zulctl
