// SPDX-License-Identifier: Apache-2.0

#include "zulctl/store/DiskIndex.h"
#include "zulctl/store/ArchiveName.h"

#include <dirent.h>
#include <errno.h>
#include <string.h>
#include <sys/stat.h>

#include <algorithm>

#include "base/Paths.h"
#include "base/RemoveTree.h"
#include "base/Text.h"
#include "rules/ArchiveName.h"

namespace zulctl {

namespace {

constexpr size_t kSuffixSize = sizeof(zul::kArchiveSuffix) - 1;

/** The kind of an entry as DT_… tells it, looked up where the listing does not. */
unsigned char kindOf(int folder, const dirent& entry) {
    if (entry.d_type != DT_UNKNOWN) return entry.d_type;
    struct stat status = {};
    if (fstatat(folder, entry.d_name, &status, AT_SYMLINK_NOFOLLOW) != 0) return DT_UNKNOWN;
    return S_ISREG(status.st_mode) ? DT_REG : S_ISDIR(status.st_mode) ? DT_DIR : DT_UNKNOWN;
}

}  // namespace

zul::ScopedFd DiskIndex::open(const CaptureFolder& folder) {
    return zul::openInner(folder.root, folder.isTypeFolder() ? folder.name.c_str() : ".");
}

void DiskIndex::scan(const Store& store, const std::function<void(const std::string&)>& problem) {
    mSlots.assign(1024, 0);
    std::vector<std::string> typeFolders;
    list({zul::kOutputRoot, store.outputRoot(), ""}, problem, &typeFolders);
    if (store.stuckLogoRoot() >= 0) {
        list({zul::kStuckLogoRoot, store.stuckLogoRoot(), ""}, problem, nullptr);
    }
    for (const std::string& name : typeFolders)
        list({zul::kOutputRoot + name + "/", store.outputRoot(), name}, problem, nullptr);
}

/** `others` gets the names of folders in it that hold captures perhaps; null for no interest in them. */
void DiskIndex::list(const CaptureFolder& folder,
                     const std::function<void(const std::string&)>& problem,
                     std::vector<std::string>* others) {
    zul::ScopedFd fd = open(folder);
    const zul::ScopedFolder names(fd.ok() ? fdopendir(fd.get()) : nullptr);
    if (names == nullptr) {
        // Gone, or exchanged for something else since its name was read.
        if (errno == ENOENT || errno == ENOTDIR || errno == ELOOP) return;
        problem(folder.path + ": " + strerror(errno));
        return;
    }
    fd.release();
    const auto number = static_cast<uint32_t>(mFolders.size());
    mFolders.push_back(folder);
    errno = 0;
    while (const dirent* entry = readdir(names.get())) {
        const std::string_view name = entry->d_name;
        const unsigned char kind = kindOf(dirfd(names.get()), *entry);
        if (kind == DT_REG && name.ends_with(zul::kArchiveSuffix)) {
            add(number, name.substr(0, name.size() - kSuffixSize), false);
        } else if (kind == DT_DIR && !add(number, name, true) && others != nullptr &&
                   (name.size() == zul::kTypePrefixLength ||
                    name.size() == zul::kUserTypePrefixLength)) {
            others->emplace_back(name);
        }
        errno = 0;
    }
    if (errno != 0) problem(folder.path + ": " + strerror(errno));
}

bool DiskIndex::add(uint32_t folder, std::string_view name, bool isFolder) {
    const auto parts = parseArchiveName(name);
    if (!parts || !parts->tag.starts_with(mFolders[folder].name)) return false;
    const auto time = parseNameTime(parts->time);
    if (!time) return false;

    uint32_t* slot = slotOf(folder, name);
    if (*slot == 0) {
        DiskEntry entry;
        entry.folder = folder;
        entry.nameStart = mNames.size();
        entry.nameSize = static_cast<uint16_t>(name.size());
        entry.tagSize = static_cast<uint16_t>(parts->tag.size());
        entry.time = *time;
        mNames += name;
        mEntries.push_back(entry);
        *slot = static_cast<uint32_t>(mEntries.size());
    }
    DiskEntry& entry = mEntries[*slot - 1];
    (isFolder ? entry.hasFolder : entry.hasArchive) = true;
    if (mEntries.size() * 2 > mSlots.size()) grow();
    return true;
}

uint32_t* DiskIndex::slotOf(uint32_t folder, std::string_view name) {
    const size_t mask = mSlots.size() - 1;
    for (size_t i = std::hash<std::string_view>()(name) & mask;; i = (i + 1) & mask) {
        if (mSlots[i] == 0) return &mSlots[i];
        const DiskEntry& entry = mEntries[mSlots[i] - 1];
        if (entry.folder == folder && nameOf(entry) == name) return &mSlots[i];
    }
}

void DiskIndex::grow() {
    mSlots.assign(mSlots.size() * 4, 0);
    for (size_t i = 0; i < mEntries.size(); i++)
        *slotOf(mEntries[i].folder, nameOf(mEntries[i])) = static_cast<uint32_t>(i + 1);
}

DiskEntry* DiskIndex::find(std::string_view archivePath) {
    if (!archivePath.ends_with(zul::kArchiveSuffix)) return nullptr;
    archivePath.remove_suffix(kSuffixSize);
    // A history has a million lines, and rfind() is no memrchr().
    const void* slash = memrchr(archivePath.data(), '/', archivePath.size());
    if (slash == nullptr) return nullptr;
    const auto nameStart =
            static_cast<size_t>(static_cast<const char*>(slash) - archivePath.data()) + 1;
    const std::string_view folder = archivePath.substr(0, nameStart);
    if (mLastFolder >= mFolders.size() || mFolders[mLastFolder].path != folder) {
        const auto found =
                std::find_if(mFolders.begin(), mFolders.end(),
                             [&](const CaptureFolder& known) { return known.path == folder; });
        if (found == mFolders.end()) return nullptr;
        mLastFolder = static_cast<uint32_t>(found - mFolders.begin());
    }
    const uint32_t* slot = slotOf(mLastFolder, archivePath.substr(nameStart));
    return *slot != 0 ? &mEntries[*slot - 1] : nullptr;
}

std::string DiskIndex::pathOf(const DiskEntry& entry) const {
    return folderOf(entry).path + std::string(nameOf(entry));
}

}  // namespace zulctl
