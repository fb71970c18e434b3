// SPDX-License-Identifier: Apache-2.0

#include "rules/ArchiveName.h"

#include "base/LocalTime.h"
#include "base/Paths.h"
#include "base/Text.h"

namespace zul {

namespace {

constexpr std::string_view kTimePattern = "0000_00_00_00_00_00";

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

/** The name of one folder and a field of one history line is made of the tag. */
bool makesName(std::string_view tag, size_t prefixLength) {
    return tag.size() >= prefixLength && tag.find_first_of("/\n") == std::string_view::npos;
}

bool isTime(std::string_view text) {
    if (text.size() != kTimePattern.size()) return false;
    for (size_t i = 0; i < text.size(); i++) {
        if (kTimePattern[i] == '0' ? !isDigit(text[i]) : text[i] != kTimePattern[i]) return false;
    }
    return true;
}

/** A remainder of 100, as it is printed; nothing else. */
std::optional<int> parseRemainder(std::string_view text) {
    const bool negative = text.starts_with('-');
    if (negative) text.remove_prefix(1);
    if (text.empty() || text.size() > 2) return std::nullopt;
    if (text[0] == '0' && (negative || text.size() == 2)) return std::nullopt;
    int number = 0;
    for (const char c : text) {
        if (!isDigit(c)) return std::nullopt;
        number = number * 10 + (c - '0');
    }
    return negative ? -number : number;
}

}  // namespace

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

std::string captureFolder(const std::string& typeFolder, std::string_view tag, const tm& now,
                          int fileNum) {
    const std::string parent = isStuckLogo(tag) ? kStuckLogoRoot : typeFolder + "/";
    return parent + std::string(tag) + "_" + formatTime(now, "%Y_%m_%d_%H_%M_%S") + "_" +
           std::to_string(fileNum % 100);
}

std::optional<ArchiveName> parseArchiveName(std::string_view name) {
    const size_t numberStart = name.rfind('_');
    if (numberStart == std::string_view::npos) return std::nullopt;
    const std::optional<int> number = parseRemainder(name.substr(numberStart + 1));
    if (!number || numberStart < kTimePattern.size() + 1) return std::nullopt;

    const size_t timeStart = numberStart - kTimePattern.size();
    const std::string_view tag = name.substr(0, timeStart - 1);
    const std::string_view time = name.substr(timeStart, kTimePattern.size());
    if (name[timeStart - 1] != '_' || !isTime(time) || !makesName(tag, kTypePrefixLength)) {
        return std::nullopt;
    }
    return ArchiveName{tag, time, *number};
}

}  // namespace zul
