// SPDX-License-Identifier: Apache-2.0

#include "zulctl/store/Processes.h"

#include <errno.h>
#include <string.h>

#include "base/Files.h"

namespace zulctl {

namespace {

/** Longer than any path of a capture folder. */
constexpr size_t kArgumentSize = 512;

}  // namespace

Processes Processes::look(const char* folder) {
    Processes processes;
    const zul::ScopedFolder proc(opendir(folder));
    // Where others are hidden, the very first one is missing from the list.
    processes.mSeen = proc != nullptr && faccessat(dirfd(proc.get()), "1", F_OK, 0) == 0;
    while (const dirent* entry = processes.mSeen ? readdir(proc.get()) : nullptr) {
        if (entry->d_name[0] < '1' || entry->d_name[0] > '9') continue;
        const std::string path = std::string(entry->d_name) + "/cmdline";
        const zul::ScopedFd file(openat(dirfd(proc.get()), path.c_str(), O_RDONLY | O_CLOEXEC));
        char text[kArgumentSize];
        const ssize_t size = file.ok() ? read(file.get(), text, sizeof(text)) : -1;
        if (size > 0) {
            processes.mArguments.emplace(text, strnlen(text, static_cast<size_t>(size)));
        } else if (size < 0 && errno != ENOENT && errno != ESRCH) {
            // Not one that has ended meanwhile.
            processes.mSeen = false;
        }
    }
    return processes;
}

}  // namespace zulctl
