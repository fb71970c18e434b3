// SPDX-License-Identifier: Apache-2.0

#include "zulctl/store/Processes.h"

#include <errno.h>
#include <string.h>
#include <sys/stat.h>

#include <algorithm>
#include <charconv>

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

std::optional<int64_t> startOf(int process) {
    const std::string status = readStart(process, "stat").value_or("");
    // The name of a process can look like the rest.
    const size_t name = status.rfind(") ");
    if (name == std::string::npos) return std::nullopt;
    const std::vector<std::string> fields = zul::split(status.substr(name), " ");
    int64_t ticks = 0;
    if (fields.size() <= kStartField) return std::nullopt;
    const std::string& field = fields[kStartField];
    std::from_chars(field.data(), field.data() + field.size(), ticks);
    return ticks;
}

double secondsOf(clockid_t clock) {
    timespec now = {};
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

}  // namespace

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
        const auto ticks = startOf(process.get());
        if (ticks && (!processes.mDaemonTicks || *ticks < *processes.mDaemonTicks)) {
            processes.mDaemonTicks = ticks;
        }
    }
    return processes;
}

std::optional<time_t> Processes::daemonStart() const {
    if (!mDaemonTicks) return std::nullopt;
    const double sinceBoot =
            static_cast<double>(*mDaemonTicks) / static_cast<double>(sysconf(_SC_CLK_TCK));
    return static_cast<time_t>(secondsOf(CLOCK_REALTIME) - secondsOf(CLOCK_BOOTTIME) + sinceBoot);
}

}  // namespace zulctl
