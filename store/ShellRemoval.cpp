// SPDX-License-Identifier: Apache-2.0

#include "store/ShellRemoval.h"

#include <errno.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <vector>

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
    if (path.empty() || path[0] != '/' || !std::all_of(path.begin(), path.end(), isPlain))
        return false;
    const std::vector<std::string> names = split(path, "/");
    const auto isStep = [](const std::string& name) { return name == "." || name == ".."; };
    return std::none_of(names.begin(), names.end(), isStep) && !namesOf(path).empty();
}

Removal refuse(const char* reason, const std::string& path) {
    LOGE("not removed, %s: %s", reason, path.c_str());
    return Removal::REFUSED;
}

/** The child's part: becomes the shell or ends. Shares the parent's memory until then. */
[[noreturn]] void becomeShell(const char* command) {
    execl("/system/bin/sh", "sh", "-c", command, static_cast<char*>(nullptr));
    LOGE("execl on command '%s' failed\n", command);
    _exit(127);
}

/** True when the shell exited normally. */
bool runShell(const std::string& command) {
    const pid_t child = vfork();  // NOLINT(clang-analyzer-security.insecureAPI.vfork)
    if (child < 0) {
        LOGE("*** vfork fail\n");
        return false;
    }
    if (child == 0) becomeShell(command.c_str());

    int status = 0;
    pid_t waited;
    do {
        waited = waitpid(child, &status, 0);
    } while (waited < 0 && errno == EINTR);
    return waited == child && WIFEXITED(status);
}

}  // namespace

Removal removeWithShell(const std::string& path, const char* commandEnd) {
    if (!isPlainPath(path)) return refuse("not a plain path", path);
    const std::string command = " rm -rf " + path + commandEnd;

    const ExclusiveHold hold(path);
    const Location& place = hold.place();
    if (!place.folder.ok()) {
        // A folder of the path that is not there leaves nothing to remove.
        if (errno == ENOENT) return Removal::DONE;
        return refuse(errno == ENOTDIR ? "a link leads there" : strerror(errno), path);
    }
    if (hold.ok()) return runShell(command) ? Removal::SHELL_EXITED : Removal::DONE;
    if (removeTree(place.folder.get(), place.name.c_str())) return Removal::DONE;
    return refuse("in use by others", path);
}

}  // namespace zul
