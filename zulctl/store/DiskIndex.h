// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <deque>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "base/Paths.h"
#include "zulctl/store/HistoryFile.h"
#include "zulctl/store/Store.h"

namespace zulctl {

class Session;

/** A folder of the store in which captures lie. */
struct CaptureFolder {
    /** As the device has it, with a "/" at the end. */
    std::string path;
    /** The root that it lies in, and its name there; empty for the root itself. */
    int root;
    std::string name;

    bool isTypeFolder() const { return !name.empty(); }
    /** Opens it, through no link; else -1 inside, and errno. */
    zul::ScopedFd open() const;
};

/** What lies in the store for one capture. */
struct DiskEntry {
    const CaptureFolder* folder;
    /** That of its folder there, and of its archive without the suffix. */
    std::string name;
    WallTime time;
    bool hasArchive = false;
    bool hasFolder = false;
    /** A line of the history tells of it. */
    bool recorded = false;
    /** Captures of its name that were visited; and lines that no event was found for so far. */
    int claims = 0;
    int linesToCome = 0;

    /** Paths of its folder and its archive on the device. */
    std::string path() const { return folder->path + name; }
    std::string archive() const { return path() + zul::kArchiveSuffix; }
    /** By what the index is ordered. */
    std::tuple<WallTime, std::string_view, std::string_view> key() const {
        return {time, name, folder->path};
    }
};

/**
 * All captures that lie in the store, by the daemon's names; whatever else lies there does not exist for
 * it. Needs memory for each of them, and none of their content or size.
 */
class DiskIndex {
  public:
    DiskIndex() = default;
    DiskIndex(const DiskIndex&) = delete;
    DiskIndex& operator=(const DiskIndex&) = delete;

    /** Lists the store's folders; tells of those that cannot be listed. */
    void scan(const Store& store, Session& session);

    /** The oldest first. */
    std::vector<DiskEntry>& entries() { return mEntries; }
    /** What lies there for the capture with this archive; null when nothing does. */
    DiskEntry* find(std::string_view archive);

  private:
    void list(const CaptureFolder& folder, Session& session, std::vector<std::string>* others);
    /** False when the daemon gives no such name. */
    bool add(const CaptureFolder& folder, std::string_view name, bool isFolder);

    /** They stay where they are. */
    std::deque<CaptureFolder> mFolders;
    std::vector<DiskEntry> mEntries;
};

}  // namespace zulctl
