// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdint.h>

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "zulctl/Session.h"
#include "zulctl/log/LogEvents.h"
#include "zulctl/store/DiskIndex.h"
#include "zulctl/store/HistoryFile.h"
#include "zulctl/store/Processes.h"

namespace zulctl {

/** What has become of a capture. */
enum class State {
    /** Its archive is there. */
    PRESENT,
    /** Neither archive nor folder are. */
    MISSING,
    /** A process has its folder as argument 0. */
    RUNNING,
    /** Its folder is there, without a process that works on it. */
    LEFT,
    /** What is there belongs to a later capture of the same name. */
    OVERWRITTEN,
    /** Its archive is there, but no line of the history tells of it. */
    UNRECORDED,
    /** Its archive is there, and the daemon, which has started since, does not know it. */
    UNLISTED,
};

const char* nameOf(State state);
std::optional<State> stateOf(std::string_view name);

/** One capture, as history and disk together tell of it. */
struct Capture {
    std::string tag;
    /** Of the history's line; without one, of the name. */
    WallTime time = 0;
    State state = State::PRESENT;
    /** Path on the device. */
    std::string archive;
    /** Empty without a line of the history. */
    std::string build = {};
    bool recorded = false;
    /** Where it lies; null when nothing of it is there. Good as long as the Captures that it is of. */
    const DiskEntry* entry = nullptr;

    /** The last part of the path of its folder. */
    std::string_view name() const { return lastName(archive); }
    /** What is there is its folder. */
    bool isFolder() const { return state == State::LEFT || state == State::RUNNING; }
};

/** How long a capture took. */
struct Took {
    Cell time = Cell::none();
    /** "log", of its event; "file", of its archive's time, which is no more than a guess; or nothing. */
    Cell from = Cell::none();
};

/** 1234 as 1.234s. */
std::string formatTook(int64_t milliseconds);

/** The captures of a device's store. */
class Captures {
  public:
    /** Lists the store, and opens its history; tells the session of what cannot be read. */
    Captures(Session& session, const Device& device, LogStory log);

    /** Visits all captures, newest first, until `visit` gives false. To be called once. */
    void visitAll(const std::function<bool(const Capture&)>& visit);
    /**
     * The capture that `wanted` names: the name or the path of its folder or archive, or a tag, of which it
     * is the newest; or what only its name begins with, in which blanks, "-" and ":" stand for "_". Nothing
     * when there is none or are several, which is told. To be called once.
     */
    std::optional<Capture> find(const std::string& wanted);
    /** The event of the log that made a capture; nothing without a log. */
    std::optional<Event> eventOf(const Capture& capture, bool keepLines);

    /** The time from which relative times count back: now, or the newest record of a copy. */
    WallTime now();
    /** False, and told, when processes are hidden, so that nothing is known of what runs. */
    bool lookAtProcesses();
    /** Bytes of the archive, of the folder where that is what is there; nothing where nothing is. */
    std::optional<uint64_t> bytesOf(const Capture& capture);
    Took tookOf(const Capture& capture);

    /** What became of the next event of a log: what lies on disk decides, where it was to lie there. */
    void decide(Event& event);

  private:
    /** What the entry, null for none, is for that line, null for none. */
    Capture take(DiskEntry* entry, const HistoryLine* line);
    State stateOfFolder(const DiskEntry& entry) const;
    State stateOfArchive(const DiskEntry& entry, const HistoryLine* line);
    bool isUnlisted(const DiskEntry& entry, const HistoryLine& line);
    bool runs(const DiskEntry& entry) const;
    bool visitUnrecorded(WallTime behind, const std::function<bool(const Capture&)>& visit);
    void readToTheStart();
    void tellOf(const HistoryFile& history);
    int folderFor(const DiskEntry& entry);
    bool statArchive(const DiskEntry& entry, struct stat& status);

    Session& mSession;
    const Device& mDevice;
    const Store& mStore;
    DiskIndex mDisk;
    std::optional<Processes> mProcesses;
    const zul::ScopedFd mHistoryFd;
    HistoryFile mHistory;
    /** Until then, captures are unknown to the daemon; nothing where its start is not known. */
    std::optional<WallTime> mDaemonStart;
    LogStory mLog;
    /** All lines have been looked at, and what they tell of is marked. */
    bool mReadToTheStart = false;
    /** So many entries, the oldest, may still be found unrecorded. */
    size_t mUnvisited = 0;
    /** And counted, for events, which come in the same order. */
    bool mCountedLines = false;
    /** The folder that was looked into last. */
    zul::ScopedFd mOpen{-1};
    const CaptureFolder* mOpenFolder = nullptr;
};

}  // namespace zulctl
