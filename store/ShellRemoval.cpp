// SPDX-License-Identifier: Apache-2.0

#include "store/ShellRemoval.h"

#include <errno.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>

#include "base/Location.h"
#include "base/Log.h"
#include "base/RemoveTree.h"
#include "base/Text.h"
#include "store/ExclusiveHold.h"

namespace zul {

namespace {

/** Bytes that mean nothing but themselves to a shell; those of UTF-8 sequences are among them. */
bool isPlain(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte >= 0x80 || (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
           (byte >= '0' && byte <= '9') || (byte != 0 && strchr("/._-+:,@%=#~!^", byte) != nullptr);
}

bool isPlainPath(const std::string& path) {
    if (path.empty() || path[0] != '/') return false;
    if (!std::all_of(path.begin(), path.end(), isPlain)) return false;
    const std::vector<std::string> names = split(path, "/");
    const auto goesUp = [](const std::string& name) { return name == ".."; };
    const auto isName = [](const std::string& name) { return !name.empty() && name != "."; };
    return std::none_of(names.begin(), names.end(), goesUp) &&
           std::any_of(names.begin(), names.end(), isName);
}

/** One removal; the texts are ready before the child is made. */
struct Removal {
    std::string command;
    /** The command for the log, which names the path itself. */
    std::string told;
    /** Through which the command reaches the path; -1 for none. */
    int folder;
};

Removal makeRemoval(const Location& place, const std::string& path, const char* commandEnd) {
    const std::string plain = " rm -rf " + path + commandEnd;
    // A slash behind the last name would lead through a link.
    if (!place.othersCanWrite && path.ends_with("/" + place.name)) return {plain, plain, -1};
    const int folder = place.folder.get();
    return {" rm -rf /proc/self/fd/" + std::to_string(folder) + "/" + place.name + commandEnd,
            plain, folder};
}

/**
 * The child's part: becomes the shell or ends. Shares the parent's memory until then, but has a table
 * of descriptors of its own, so that no other child inherits the folder.
 */
[[noreturn]] void becomeShell(const Removal& removal) {
    if (removal.folder < 0 || fcntl(removal.folder, F_SETFD, 0) == 0) {
        execl("/system/bin/sh", "sh", "-c", removal.command.c_str(), static_cast<char*>(nullptr));
    }
    LOGE("execl on command '%s' failed\n", removal.told.c_str());
    _exit(127);
}

}  // namespace

bool removeWithShell(const std::string& path, const char* commandEnd) {
    if (!isPlainPath(path)) {
        LOGE("not removed, no plain path: %s", path.c_str());
        return false;
    }
    const Location place = locate(path);
    if (!place.folder.ok()) {
        LOGE("not removed, no folder without links: %s", path.c_str());
        return false;
    }
    const ExclusiveHold hold(place);
    if (!hold.ok()) {
        if (!removeTree(place.folder.get(), place.name.c_str()))
            LOGE("not removed, in use by others: %s", path.c_str());
        return false;
    }
    const Removal removal = makeRemoval(place, path, commandEnd);

    const pid_t child = vfork();  // NOLINT(clang-analyzer-security.insecureAPI.vfork)
    if (child < 0) {
        LOGE("*** vfork fail\n");
        return false;
    }
    if (child == 0) becomeShell(removal);

    int status = 0;
    pid_t waited;
    do {
        waited = waitpid(child, &status, 0);
    } while (waited < 0 && errno == EINTR);
    return waited == child && WIFEXITED(status);
}

}  // namespace zul
