// SPDX-License-Identifier: Apache-2.0
#include "sim/activity/ProcessName.h"

#include <fcntl.h>
#include <limits.h>
#include <unistd.h>

#include "sim/UniqueFd.h"

namespace sim {
namespace {

std::string readUpTo(const std::string& path, char end) {
    const UniqueFd file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    char buffer[PATH_MAX];
    const ssize_t got = file.isOpen() ? read(file.get(), buffer, sizeof(buffer)) : -1;
    const std::string text(buffer, got > 0 ? static_cast<size_t>(got) : 0);
    return text.substr(0, text.find(end));
}

}  // namespace

std::string processName(int pid) {
    if (pid <= 0) {
        return "";
    }
    const std::string folder = "/proc/" + std::to_string(pid);
    const std::string argument = readUpTo(folder + "/cmdline", '\0');
    const std::string name = argument.substr(argument.rfind('/') + 1);
    return name.empty() ? readUpTo(folder + "/comm", '\n') : name;
}

}  // namespace sim
