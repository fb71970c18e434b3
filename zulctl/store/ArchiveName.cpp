// SPDX-License-Identifier: Apache-2.0

#include "zulctl/store/ArchiveName.h"

#include "rules/ArchiveName.h"

namespace zulctl {

namespace {

constexpr std::string_view kTimePattern = "0000_00_00_00_00_00";

bool isDigit(char c) {
    return c >= '0' && c <= '9';
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

std::optional<ArchiveName> parseArchiveName(std::string_view name) {
    const size_t numberStart = name.rfind('_');
    if (numberStart == std::string_view::npos) return std::nullopt;
    const std::optional<int> number = parseRemainder(name.substr(numberStart + 1));
    if (!number || numberStart < kTimePattern.size() + 1) return std::nullopt;

    const size_t timeStart = numberStart - kTimePattern.size();
    const std::string_view tag = name.substr(0, timeStart - 1);
    const std::string_view time = name.substr(timeStart, kTimePattern.size());
    if (name[timeStart - 1] != '_' || !isTime(time) ||
        !zul::makesName(tag, zul::kTypePrefixLength)) {
        return std::nullopt;
    }
    return ArchiveName{tag, time, *number};
}

}  // namespace zulctl
