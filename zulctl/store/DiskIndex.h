// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stddef.h>

#include <deque>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

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
    const CaptureFolder* folder = nullptr;
    /** Path of its archive on the device. */
    std::string_view archive = {};
    WallTime time = 0;
    bool hasArchive = false;
    bool hasFolder = false;
    /** A line of the history tells of it. */
    bool recorded = false;
    /** Captures of its name that were visited; and lines that no event was found for so far. */
    int claims = 0;
    int linesToCome = 0;

    /** That of its folder, without its archive's suffix. */
    std::string_view path() const { return archive.substr(0, archive.rfind('.')); }
    /** The last name of that. */
    std::string_view name() const { return lastName(archive); }
};

/**
 * All captures that lie in the store, by the daemon's names; whatever else lies there does not exist for
 * it. Needs memory for each of them, and none of their content or size.
 */
class DiskIndex {
  public:
    DiskIndex() { mEntries.reserve(kManyEntries); }
    DiskIndex(const DiskIndex&) = delete;
    DiskIndex& operator=(const DiskIndex&) = delete;

    /** Lists the store's folders; tells of those that cannot be listed. */
    void scan(const Store& store, Session& session);

    /** By the archives' paths. */
    std::unordered_map<std::string, DiskEntry>& entries() { return mEntries; }
    /** What lies there for the capture with this archive; null when nothing does. */
    DiskEntry* find(std::string_view archive);

  private:
    void list(const CaptureFolder& folder, Session& session, std::vector<std::string>* others);
    /** False when the daemon gives no such name. */
    bool add(const CaptureFolder& folder, std::string_view name, bool isFolder);

    static constexpr size_t kManyEntries = size_t{1} << 17;

    /** They stay where they are. */
    std::deque<CaptureFolder> mFolders;
    std::unordered_map<std::string, DiskEntry> mEntries;
    /** Whose memory is used again. */
    std::string mWanted;
};

}  // namespace zulctl
