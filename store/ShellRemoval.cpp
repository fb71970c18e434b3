// SPDX-License-Identifier: Apache-2.0

#include "store/ShellRemoval.h"

#include <errno.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>

#include "service/Log.h"
#include "service/ZulService.h"

namespace zul {

namespace {

/** Bytes that mean nothing but themselves to a shell; those of UTF-8 sequences are among them. */
bool isPlain(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte >= 0x80 || (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
           (byte >= '0' && byte <= '9') || (byte != 0 && strchr("/._-+:,@%=", byte) != nullptr);
}

bool isPlainPath(const std::string& path) {
    if (path.empty() || path[0] != '/') return false;
    if (!std::all_of(path.begin(), path.end(), isPlain)) return false;
    const std::vector<std::string> names = ZulService::supersplit(path, "/");
    const auto goesUp = [](const std::string& name) { return name == ".."; };
    const auto isName = [](const std::string& name) { return !name.empty() && name != "."; };
    return std::none_of(names.begin(), names.end(), goesUp) &&
           std::any_of(names.begin(), names.end(), isName);
}

/** The child's part: becomes the shell or ends. Shares the parent's memory until then. */
[[noreturn]] void becomeShell(const char* command) {
    execl("/system/bin/sh", "sh", "-c", command, static_cast<char*>(nullptr));
    LOGE("execl on command '%s' failed\n", command);
    _exit(127);
}

}  // namespace

bool removeWithShell(const std::string& path, const char* commandEnd) {
    if (!isPlainPath(path)) {
        LOGE("not removed, no plain path: %s", path.c_str());
        return false;
    }
    const std::string command = " rm -rf " + path + commandEnd;

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

}  // namespace zul
