// SPDX-License-Identifier: Apache-2.0

#include "rules/ArchiveName.h"

#include "base/LocalTime.h"
#include "base/Paths.h"
#include "base/Text.h"

namespace zul {

bool makesName(std::string_view tag, size_t prefixLength) {
    return tag.size() >= prefixLength && tag.find_first_of("/\n") == std::string_view::npos;
}

size_t typePrefixLength(std::string_view tag, bool userMode) {
    return userMode && contains(tag, "0xffffff") ? kUserTypePrefixLength : kTypePrefixLength;
}

bool isStuckLogo(std::string_view tag) {
    return tag == "0xffffff06" || tag == "0xffffff0e";
}

std::string typeFolder(std::string_view tag, bool userMode) {
    const size_t prefixLength = typePrefixLength(tag, userMode);
    if (!makesName(tag, prefixLength)) return "";
    return std::string(kOutputRoot).append(tag.substr(0, prefixLength));
}

std::string captureFolder(std::string_view tag, bool userMode, const tm& now, int fileNum) {
    const std::string parent = isStuckLogo(tag) ? kStuckLogoRoot : typeFolder(tag, userMode) + "/";
    return parent + std::string(tag) + "_" + formatTime(now, "%Y_%m_%d_%H_%M_%S") + "_" +
           std::to_string(fileNum % 100);
}

}  // namespace zul
