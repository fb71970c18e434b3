// SPDX-License-Identifier: Apache-2.0
#include "Manifest.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <string_view>
#include <vector>

#include "FileDescriptor.h"

namespace transport {

namespace {

constexpr char kFolder[] = "/vendor/etc/vintf/manifest/";

/** The texts of all manifests, one after the other. */
std::string readManifests() {
    std::string all;
    DIR* const folder = opendir(kFolder);
    if (folder == nullptr) return all;
    while (const dirent* entry = readdir(folder)) {
        const std::string path = std::string(kFolder) + entry->d_name;
        const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
        char part[4096];
        ssize_t size;
        while ((size = read(file.get(), part, sizeof(part))) > 0)
            all.append(part, static_cast<size_t>(size));
    }
    closedir(folder);
    return all;
}

/** What stands between `open` and `close`, as often as they occur. */
std::vector<std::string_view> between(std::string_view text, std::string_view open,
                                      std::string_view close) {
    std::vector<std::string_view> parts;
    size_t begin = 0;
    while ((begin = text.find(open, begin)) != std::string_view::npos) {
        begin += open.size();
        const size_t end = text.find(close, begin);
        if (end == std::string_view::npos) break;
        parts.push_back(text.substr(begin, end - begin));
        begin = end + close.size();
    }
    return parts;
}

std::string withoutComments(std::string text) {
    size_t begin;
    while ((begin = text.find("<!--")) != std::string::npos) {
        const size_t end = text.find("-->", begin);
        text.erase(begin, end == std::string::npos ? end : end + 3 - begin);
    }
    return text;
}

bool has(std::string_view text, const char* element, std::string_view value) {
    const std::string wanted = "<" + std::string(element) + ">" + std::string(value) + "</";
    return text.find(wanted) != std::string_view::npos;
}

}  // namespace

bool isDeclared(const std::string& service) {
    const bool isHidl = service.find('@') != std::string::npos;
    const size_t packageEnd = isHidl ? service.find('@') : service.rfind('.');
    const size_t slash = service.rfind('/');
    if (packageEnd == std::string::npos || slash == std::string::npos) return false;
    const std::string package = service.substr(0, packageEnd);
    const size_t interface = service.find_last_of(":.", slash) + 1;
    const std::string name = service.substr(interface, slash - interface);
    const std::string instance = service.substr(slash + 1);

    const std::string manifests = withoutComments(readManifests());
    const std::string hal = std::string("<hal format=\"") + (isHidl ? "hidl" : "aidl") + "\">";
    for (const std::string_view declared : between(manifests, hal, "</hal>")) {
        if (!has(declared, "name", package)) continue;
        for (const std::string_view offered : between(declared, "<interface>", "</interface>")) {
            if (has(offered, "name", name) && has(offered, "instance", instance)) return true;
        }
    }
    return false;
}

}  // namespace transport
