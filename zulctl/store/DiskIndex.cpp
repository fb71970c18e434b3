// SPDX-License-Identifier: Apache-2.0

#include "zulctl/store/DiskIndex.h"
#include "zulctl/store/ArchiveName.h"

#include <dirent.h>
#include <errno.h>
#include <string.h>
#include <sys/stat.h>

#include "base/Paths.h"
#include "base/RemoveTree.h"
#include "base/Text.h"
#include "rules/ArchiveName.h"

namespace zulctl {

namespace {

constexpr size_t kPathsBlock = size_t{64} << 10;
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
    const CaptureFolder& kept = mFolders.emplace_back(folder);
    errno = 0;
    while (const dirent* entry = readdir(names.get())) {
        const std::string_view name = entry->d_name;
        const unsigned char kind = kindOf(dirfd(names.get()), *entry);
        if (kind == DT_REG && name.ends_with(zul::kArchiveSuffix)) {
            add(kept, name.substr(0, name.size() - kSuffixSize), false);
        } else if (kind == DT_DIR && !add(kept, name, true) && others != nullptr &&
                   (name.size() == zul::kTypePrefixLength ||
                    name.size() == zul::kUserTypePrefixLength)) {
            others->emplace_back(name);
        }
        errno = 0;
    }
    if (errno != 0) problem(folder.path + ": " + strerror(errno));
}

bool DiskIndex::add(const CaptureFolder& folder, std::string_view name, bool isFolder) {
    const auto parts = parseArchiveName(name);
    if (!parts || !parts->tag.starts_with(folder.name)) return false;
    const auto time = parseNameTime(parts->time);
    if (!time) return false;
    const size_t size = folder.path.size() + name.size();
    if (mPaths.empty() || mPaths.back().capacity() < mPaths.back().size() + size) {
        mPaths.emplace_back().reserve(kPathsBlock + size);
    }
    std::string& paths = mPaths.back();
    const std::string_view path(paths.data() + paths.size(), size);
    paths.append(folder.path).append(name);
    const auto [found, isNew] = mEntries.try_emplace(path);
    if (!isNew) paths.resize(paths.size() - size);
    DiskEntry& entry = found->second;
    if (isNew) {
        entry.folder = &folder;
        entry.path = path;
        entry.name = entry.path.substr(folder.path.size());
        entry.tag = entry.name.substr(0, parts->tag.size());
        entry.time = *time;
    }
    (isFolder ? entry.hasFolder : entry.hasArchive) = true;
    return true;
}

DiskEntry* DiskIndex::find(std::string_view archivePath) {
    if (!archivePath.ends_with(zul::kArchiveSuffix)) return nullptr;
    archivePath.remove_suffix(kSuffixSize);
    const auto found = mEntries.find(archivePath);
    return found != mEntries.end() ? &found->second : nullptr;
}

}  // namespace zulctl
