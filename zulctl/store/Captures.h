// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdint.h>

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "zulctl/Session.h"
#include "zulctl/log/Took.h"
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
    /** Its folder is there, without an archive and without a process that works on it. */
    LEFT,
    /** What is there belongs to a later capture of the same name. */
    OVERWRITTEN,
    /** Its archive is there, but no line of the history tells of it. */
    UNRECORDED,
    /** Its archive is there, and is one of more than the tag may keep. */
    UNLISTED,
};

const char* nameOf(State state);
std::optional<State> stateOf(std::string_view name);

/** One capture, as history and disk together tell of it. The views are good while it is visited. */
struct Capture {
    std::string_view tag;
    /** Of the history's line; without one, of the name. */
    WallTime time = 0;
    State state = State::PRESENT;
    /** Path on the device. */
    std::string_view archive;
    /** Empty without a line of the history. */
    std::string_view build = {};
    bool recorded = false;
    /** Where it lies; null when nothing of it is there. */
    const DiskEntry* entry = nullptr;

    /** The last part of the path of its folder. */
    std::string_view name() const;
};

/** What lies on disk for a capture. */
struct DiskUse {
    /** False when nothing is there, or not any more. */
    bool known = false;
    uint64_t bytes = 0;
    /** From its start to the last change of its archive. */
    Took took = {};
};

/** What `clean` could take. */
struct Surplus {
    size_t archives = 0;
    size_t folders = 0;
    std::optional<uint64_t> bytes;
};

/** The captures of a store. */
class Captures {
  public:
    /** Lists the store and opens its history; tells the session of what cannot be read. */
    Captures(Session& session, const Store& store);

    /** Visits all captures, newest first, until `visit` gives false. To be called once. */
    void visitAll(const std::function<bool(const Capture&)>& visit);

    /** The time from which relative times count back: now, or the newest record of a copy. */
    WallTime now();

    const DiskIndex& disk() const { return mDisk; }
    /** False when processes of others are hidden, which is told as a problem. */
    bool lookAtProcesses();
    /** Its folder is there, and no process works on it. */
    bool isLeft(const DiskEntry& entry) const { return entry.hasFolder && !runs(entry); }
    Surplus surplus(bool withBytes);
    /** Of the archive, or of the folder where there is none yet. Null entries have none. */
    DiskUse useOf(const DiskEntry* entry);
    /** Bytes of the files in its folder. */
    uint64_t folderBytes(const DiskEntry& entry);

  private:
    State stateOf(const DiskEntry& entry) const;
    bool runs(const DiskEntry& entry) const;
    bool visitUnrecorded(WallTime behind, const std::function<bool(const Capture&)>& visit);
    void readToTheStart();
    int folderFor(const DiskEntry& entry);

    Session& mSession;
    const Store& mStore;
    DiskIndex mDisk;
    std::optional<Processes> mProcesses;
    const zul::ScopedFd mHistoryFd;
    HistoryFile mHistory;
    bool mHasHistory = false;
    /** All lines have been looked at, and what they tell of is marked. */
    bool mReadToTheStart = false;
    /** Entries that may be unrecorded, a heap with the newest at its front. */
    std::vector<DiskEntry*> mUnvisited;
    /** The folder that was looked into last. */
    zul::ScopedFd mOpen{-1};
    uint32_t mOpenFolder = 0;
};

}  // namespace zulctl
