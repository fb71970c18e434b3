// SPDX-License-Identifier: Apache-2.0
#include "sim/collector/Sources.h"

#include <cutils/properties.h>
#include <dirent.h>
#include <errno.h>
#include <glob.h>
#include <limits.h>
#include <stdlib.h>
#include <string.h>
#include <sys/klog.h>
#include <unistd.h>

#include <algorithm>
#include <map>
#include <vector>

#include "sim/Files.h"

namespace sim {
namespace {

constexpr size_t kMaxBytes = 8 * 1024 * 1024;

std::string reason(const std::string& path, int error) {
    return path + ": " + strerror(error);
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
            result.text += "\n== cut here: too large for one file ==\n";
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
    if (!any) result.problem = pattern + ": no such file";
    if (!readable) result.text.clear();
    return result;
}

Gathered readLinks(const std::string& folder) {
    std::map<int, std::string> targets;
    const zul::ScopedFolder open(opendir(folder.c_str()));
    if (open == nullptr) return {"", reason(folder, errno)};
    while (const dirent* entry = readdir(open.get())) {
        char target[PATH_MAX];
        const ssize_t length = readlinkat(dirfd(open.get()), entry->d_name, target, sizeof(target));
        const int number = atoi(entry->d_name);
        // What lists a folder of our own is there for this moment.
        if (length >= 0 && (number != dirfd(open.get()) || folder != kOwnDescriptors))
            targets[number] = std::string(target, length);
    }
    Gathered result;
    for (const auto& [number, target] : targets)
        result.text += std::to_string(number) + ' ' + target + '\n';
    result.problem = folder + ": empty";
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
