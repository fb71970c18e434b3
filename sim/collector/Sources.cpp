// SPDX-License-Identifier: Apache-2.0
#include "sim/collector/Sources.h"

#include <cutils/properties.h>
#include <dirent.h>
#include <errno.h>
#include <glob.h>
#include <limits.h>
#include <mntent.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/klog.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <string_view>
#include <vector>

#include "sim/Files.h"

namespace sim {
namespace {

constexpr size_t kMaxBytes = 8 * 1024 * 1024;

std::string reason(const std::string& path, int error) {
    return path + ": " + strerror(error);
}

/** Names in a folder that are numbers, in their order. */
std::vector<int> numbersIn(const std::string& folder, int* error) {
    std::vector<int> numbers;
    const std::unique_ptr<DIR, int (*)(DIR*)> open(opendir(folder.c_str()), closedir);
    *error = open == nullptr ? errno : 0;
    if (open == nullptr) return numbers;
    while (const dirent* entry = readdir(open.get())) {
        const std::string_view name = entry->d_name;
        if (name.find_first_not_of("0123456789") != std::string_view::npos) continue;
        numbers.push_back(atoi(entry->d_name));
    }
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

/** The value of one line of a process's status file, such as "Name"; "-" when there is none. */
std::string statusField(const std::string& status, const std::string& name) {
    const size_t line = status.find('\n' + name + ":\t");
    if (line == std::string::npos) return "-";
    const size_t start = status.find_first_not_of(" \t", line + name.size() + 2);
    return status.substr(start, status.find('\n', start) - start);
}

}  // namespace

Gathered copyFiles(const std::string& pattern) {
    Gathered result;
    glob_t found{};
    const bool any = glob(pattern.c_str(), GLOB_BRACE, nullptr, &found) == 0;
    bool readable = false;
    for (size_t i = 0; any && i < found.gl_pathc; i++) {
        const std::string path = found.gl_pathv[i];
        if (result.text.size() >= kMaxBytes) {
            result.text += "\n== cut here: too much for one file ==\n";
            break;
        }
        std::string content;
        const int error = readFile(path, kMaxBytes - result.text.size(), &content);
        readable = readable || error == 0;
        if (error != 0 && result.problem.empty()) result.problem = reason(path, error);
        result.text += "== " + (error == 0 ? path : reason(path, error)) + " ==\n" + content;
        if (!content.empty() && content.back() != '\n') result.text += '\n';
    }
    globfree(&found);
    if (!any) result.problem = pattern + ": there is no such file";
    if (!readable) result.text.clear();
    return result;
}

Gathered readLinks(const std::string& folder) {
    Gathered result;
    int error = 0;
    for (const int number : numbersIn(folder, &error)) {
        const std::string path = folder + '/' + std::to_string(number);
        char target[PATH_MAX];
        const ssize_t length = readlink(path.c_str(), target, sizeof(target));
        // Closed meanwhile, as the one that listed the folder is when the folder is our own.
        if (length < 0 && errno == ENOENT) continue;
        result.text += std::to_string(number) + ' ';
        result.text += length < 0 ? std::string("?") : std::string(target, length);
        result.text += '\n';
    }
    result.problem = error != 0 ? reason(folder, error) : folder + ": empty";
    return result;
}

Gathered listProcesses(const std::string& folder) {
    Gathered result;
    int error = 0;
    for (const int pid : numbersIn(folder, &error)) {
        std::string status = "\n";
        // A process that has just ended is no failure.
        if (readFile(folder + '/' + std::to_string(pid) + "/status", kMaxBytes, &status) != 0) {
            continue;
        }
        result.text += std::to_string(pid);
        for (const char* field : {"PPid", "State", "VmRSS", "Name"}) {
            result.text += '\t' + statusField(status, field);
        }
        result.text += '\n';
    }
    result.problem = reason(folder, error);
    return result;
}

Gathered listFileSystems(const std::string& mounts) {
    Gathered result;
    const std::unique_ptr<FILE, int (*)(FILE*)> table(setmntent(mounts.c_str(), "re"), endmntent);
    if (table == nullptr) return {"", reason(mounts, errno)};
    char line[4 * PATH_MAX];
    mntent entry{};
    while (getmntent_r(table.get(), &entry, line, sizeof(line)) != nullptr) {
        struct statvfs space {};
        if (statvfs(entry.mnt_dir, &space) != 0 || space.f_blocks == 0) continue;
        const unsigned long long unit = space.f_frsize;
        result.text += std::string(entry.mnt_dir) + '\t' + entry.mnt_type + "\tbytes " +
                       std::to_string(space.f_blocks * unit) + "\tfree " +
                       std::to_string(space.f_bavail * unit) + '\n';
    }
    result.problem = mounts + ": no file system has a size";
    return result;
}

Gathered listProperties(const std::string&) {
    std::vector<std::string> lines;
    auto keep = [](const char* key, const char* value, void* cookie) {
        static_cast<std::vector<std::string>*>(cookie)->push_back(std::string("[") + key + "]: [" +
                                                                  value + "]\n");
    };
    if (property_list(keep, &lines) != 0) return {"", reason("system properties", errno)};
    std::sort(lines.begin(), lines.end());
    Gathered result;
    for (const std::string& line : lines)
        result.text += line;
    result.problem = "system properties: none is set";
    return result;
}

Gathered readKernelLog(const std::string&) {
    constexpr int kReadAll = 3;
    constexpr int kSizeOfBuffer = 10;
    const int size = klogctl(kSizeOfBuffer, nullptr, 0);
    if (size < 0) return {"", reason("kernel log", errno)};
    Gathered result;
    result.text.resize(std::min<size_t>(size, kMaxBytes));
    const int got = klogctl(kReadAll, result.text.data(), static_cast<int>(result.text.size()));
    result.problem = got < 0 ? reason("kernel log", errno) : "kernel log: empty";
    result.text.resize(std::max(got, 0));
    return result;
}

}  // namespace sim
