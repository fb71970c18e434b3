// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "zulctl/WallTime.h"
#include "zulctl/store/Store.h"

namespace zulctl {

/** A folder of the store in which captures lie. */
struct CaptureFolder {
    /** As the device has it, with a "/" at the end. */
    std::string path;
    /** The root that it lies in, and its name there; empty for the root itself. */
    int root;
    std::string name;

    bool isTypeFolder() const { return !name.empty(); }
};

/** What lies in the store for one capture. */
struct DiskEntry {
    uint32_t folder = 0;
    uint16_t nameSize = 0;
    uint16_t tagSize = 0;
    size_t nameStart = 0;
    WallTime time = 0;
    bool hasArchive = false;
    bool hasFolder = false;
    /** A line of the history tells of it. */
    bool recorded = false;
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
    void scan(const Store& store, const std::function<void(const std::string&)>& problem);

    std::vector<DiskEntry>& entries() { return mEntries; }
    const std::vector<DiskEntry>& entries() const { return mEntries; }
    /** What lies there for the capture with this archive; null when nothing does. */
    DiskEntry* find(std::string_view archivePath);

    const CaptureFolder& folderOf(const DiskEntry& entry) const { return mFolders[entry.folder]; }
    /** Name of the capture folder. */
    std::string_view nameOf(const DiskEntry& entry) const {
        return std::string_view(mNames).substr(entry.nameStart, entry.nameSize);
    }
    std::string_view tagOf(const DiskEntry& entry) const {
        return nameOf(entry).substr(0, entry.tagSize);
    }
    /** Opens a folder, through no link; else -1 inside, and errno. */
    static zul::ScopedFd open(const CaptureFolder& folder);
    /** Path of the capture folder on the device. */
    std::string pathOf(const DiskEntry& entry) const;

  private:
    void list(const CaptureFolder& folder, const std::function<void(const std::string&)>& problem,
              std::vector<std::string>* others);
    /** False when the daemon gives no such name. */
    bool add(uint32_t folder, std::string_view name, bool isFolder);
    uint32_t* slotOf(uint32_t folder, std::string_view name);
    void grow();

    std::vector<CaptureFolder> mFolders;
    std::vector<DiskEntry> mEntries;
    /** All names, one behind the other. */
    std::string mNames;
    /** Numbers of entries + 1 by the hash of their names, 0 for free; its size is a power of two. */
    std::vector<uint32_t> mSlots;
    /** Where find() looked last. */
    uint32_t mLastFolder = 0;
};

}  // namespace zulctl
