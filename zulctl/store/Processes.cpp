// SPDX-License-Identifier: Apache-2.0

#include "zulctl/store/Processes.h"

#include <errno.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <algorithm>

#include "base/Files.h"
#include "base/Text.h"

namespace zulctl {

namespace {

/** Longer than any path of a capture folder, and than a process's status. */
constexpr size_t kTextSize = 1024;
/** The place of a process's start behind its name, in the kernel's file "stat". */
constexpr size_t kStartField = 20;

/** The beginning of a file; nothing, and errno, when it cannot be read. */
std::optional<std::string> readStart(int folder, const char* name) {
    const zul::ScopedFd file(openat(folder, name, O_RDONLY | O_CLOEXEC));
    char text[kTextSize];
    const ssize_t size = file.ok() ? read(file.get(), text, sizeof(text)) : -1;
    if (size < 0) return std::nullopt;
    return std::string(text, static_cast<size_t>(size));
}

timespec nowOf(clockid_t clock) {
    timespec now = {};
    clock_gettime(clock, &now);
    return now;
}

/** By the clock as it is now: the kernel counts ticks since the device's start. */
std::optional<double> startOf(int process) {
    const std::string status = readStart(process, "stat").value_or("");
    // The name of a process can look like the rest.
    const size_t name = status.rfind(") ");
    if (name == std::string::npos) return std::nullopt;
    const std::vector<std::string> fields = zul::split(status.substr(name), " ");
    if (fields.size() <= kStartField) return std::nullopt;
    const double sinceBoot = strtod(fields[kStartField].c_str(), nullptr) /
                             static_cast<double>(sysconf(_SC_CLK_TCK));
    return secondsOf(nowOf(CLOCK_REALTIME)) - secondsOf(nowOf(CLOCK_BOOTTIME)) + sinceBoot;
}

}  // namespace

double secondsOf(const timespec& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

Processes Processes::look(const char* folder, uid_t user) {
    Processes processes;
    const zul::ScopedFolder proc(opendir(folder));
    // Where others are hidden, the very first one is missing from the list.
    processes.mSeen = proc != nullptr && faccessat(dirfd(proc.get()), "1", F_OK, 0) == 0;
    while (const dirent* entry = processes.mSeen ? readdir(proc.get()) : nullptr) {
        if (entry->d_name[0] < '1' || entry->d_name[0] > '9') continue;
        const zul::ScopedFd process(
                openat(dirfd(proc.get()), entry->d_name, O_PATH | O_DIRECTORY | O_CLOEXEC));
        struct stat status = {};
        if (!process.ok() || fstat(process.get(), &status) != 0 || status.st_uid != user) continue;
        const auto text = readStart(process.get(), "cmdline");
        // Not one that has ended meanwhile.
        if (!text && errno != ENOENT && errno != ESRCH) processes.mSeen = false;
        if (!text || text->empty()) continue;
        const std::string argument = text->c_str();
        processes.mArguments.insert(argument);
        if (argument.substr(argument.rfind('/') + 1) != "zuld") continue;
        // Its children have its arguments too, until they become collectors.
        const auto start = startOf(process.get());
        if (!start) continue;
        // By the clock of then, where that has been set since: the kernel's folder is as old as its first user.
        const double first = std::min(*start, secondsOf(status.st_mtim));
        processes.mDaemonStart = std::min(first, processes.mDaemonStart.value_or(first));
    }
    return processes;
}

}  // namespace zulctl
