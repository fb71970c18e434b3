// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
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
    const CaptureFolder* folder = nullptr;
    /** Path of the capture folder on the device; its last name; the tag in that. */
    std::string_view path = {};
    std::string_view name = {};
    std::string_view tag = {};
    WallTime time = 0;
    bool hasArchive = false;
    bool hasFolder = false;
    /** A line of the history tells of it. */
    bool recorded = false;
    /** Lines that were visited; and those that no event was found for so far. */
    int claims = 0;
    int linesToCome = 0;
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
    void scan(const Store& store, const std::function<void(const std::string&)>& problem);

    std::unordered_map<std::string_view, DiskEntry>& entries() { return mEntries; }
    const std::unordered_map<std::string_view, DiskEntry>& entries() const { return mEntries; }
    /** What lies there for the capture with this archive; null when nothing does. */
    DiskEntry* find(std::string_view archivePath);
    /** Opens a folder, through no link; else -1 inside, and errno. */
    static zul::ScopedFd open(const CaptureFolder& folder);

  private:
    void list(const CaptureFolder& folder, const std::function<void(const std::string&)>& problem,
              std::vector<std::string>* others);
    /** False when the daemon gives no such name. */
    bool add(const CaptureFolder& folder, std::string_view name, bool isFolder);

    static constexpr size_t kManyEntries = size_t{1} << 17;

    /** They stay where they are. */
    std::deque<CaptureFolder> mFolders;
    /** Their paths, some hundred in each. */
    std::deque<std::string> mPaths;
    /** By path. */
    std::unordered_map<std::string_view, DiskEntry> mEntries;
};

}  // namespace zulctl
