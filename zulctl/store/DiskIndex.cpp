// SPDX-License-Identifier: Apache-2.0

#include "zulctl/store/DiskIndex.h"

#include <dirent.h>
#include <errno.h>
#include <string.h>

#include <algorithm>

#include "base/RemoveTree.h"
#include "rules/ArchiveName.h"
#include "zulctl/Session.h"

namespace zulctl {

zul::ScopedFd CaptureFolder::open() const {
    return zul::openInner(root, isTypeFolder() ? name.c_str() : ".");
}

void DiskIndex::scan(const Store& store, Session& session) {
    std::vector<std::string> typeFolders;
    list({zul::kOutputRoot, store.outputRoot.get(), ""}, session, &typeFolders);
    if (store.stuckLogoRoot.ok()) {
        list({zul::kStuckLogoRoot, store.stuckLogoRoot.get(), ""}, session, nullptr);
    }
    for (const std::string& name : typeFolders)
        list({zul::kOutputRoot + name + "/", store.outputRoot.get(), name}, session, nullptr);

    std::sort(mEntries.begin(), mEntries.end(),
              [](const DiskEntry& a, const DiskEntry& b) { return a.key() < b.key(); });
    // A folder and an archive of one name are of one capture.
    const auto isSame = [](const DiskEntry& a, const DiskEntry& b) { return a.key() == b.key(); };
    for (size_t i = mEntries.size(); i-- > 1;) {
        DiskEntry& first = mEntries[i - 1];
        if (!isSame(first, mEntries[i])) continue;
        first.hasArchive = first.hasArchive || mEntries[i].hasArchive;
        first.hasFolder = first.hasFolder || mEntries[i].hasFolder;
    }
    mEntries.erase(std::unique(mEntries.begin(), mEntries.end(), isSame), mEntries.end());
}

/** `others` gets the names of folders in it that hold captures perhaps; null for no interest in them. */
void DiskIndex::list(const CaptureFolder& folder, Session& session,
                     std::vector<std::string>* others) {
    zul::ScopedFd fd = folder.open();
    const zul::ScopedFolder names(fd.ok() ? fdopendir(fd.get()) : nullptr);
    if (names == nullptr) {
        // Gone, or exchanged for something else since its name was read.
        if (errno == ENOENT || errno == ENOTDIR || errno == ELOOP) return;
        session.problem(folder.path + ": " + strerror(errno));
        return;
    }
    fd.release();
    const CaptureFolder& kept = mFolders.emplace_back(folder);
    errno = 0;
    while (const dirent* entry = readdir(names.get())) {
        const std::string_view name = entry->d_name;
        const unsigned char kind = zul::kindOf(dirfd(names.get()), *entry);
        if (kind == DT_REG && name.ends_with(zul::kArchiveSuffix)) {
            add(kept, lastName(name), false);
        } else if (kind == DT_DIR && !add(kept, name, true) && others != nullptr &&
                   (name.size() == zul::kTypePrefixLength ||
                    name.size() == zul::kUserTypePrefixLength)) {
            others->emplace_back(name);
        }
        errno = 0;
    }
    if (errno != 0) session.problem(folder.path + ": " + strerror(errno));
}

bool DiskIndex::add(const CaptureFolder& folder, std::string_view name, bool isFolder) {
    const auto parts = parseArchiveName(name);
    if (!parts || !parts->tag.starts_with(folder.name)) return false;
    mEntries.push_back({&folder, std::string(name), parts->time, !isFolder, isFolder});
    return true;
}

DiskEntry* DiskIndex::find(std::string_view archive) {
    const std::string_view name = lastName(archive);
    const auto parts = parseArchiveName(name);
    if (!parts || !archive.ends_with(zul::kArchiveSuffix)) return nullptr;
    const std::tuple key(parts->time, name, archive.substr(0, archive.rfind('/') + 1));
    const auto found = std::lower_bound(
            mEntries.begin(), mEntries.end(), key,
            [](const DiskEntry& entry, auto& wanted) { return entry.key() < wanted; });
    return found != mEntries.end() && found->key() == key ? &*found : nullptr;
}

}  // namespace zulctl
