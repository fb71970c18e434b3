// SPDX-License-Identifier: Apache-2.0
#include "sim/control/Numbers.h"

#include <errno.h>
#include <stdlib.h>

namespace sim {
namespace {

/** A text of digits, without the blanks and signs that the C library would take. */
std::optional<uint64_t> parseMagnitude(const char* text, int base) {
    char* end = nullptr;
    errno = 0;
    const uint64_t value = strtoull(text, &end, base);
    const bool good = *text >= '0' && *text <= '9' && *end == '\0' && errno == 0;
    return good ? std::optional(value) : std::nullopt;
}

std::optional<int64_t> parseWhole(const std::string& text, int base, uint64_t highest) {
    const bool negative = text.starts_with('-');
    const auto value = parseMagnitude(text.c_str() + negative, base);
    if (!value || *value > (negative ? uint64_t{1} << 63 : highest)) return std::nullopt;
    return static_cast<int64_t>(negative ? 0 - *value : *value);
}

}  // namespace

std::optional<int64_t> parseDecimal(const std::string& text, int64_t lowest, int64_t highest) {
    const auto value = parseWhole(text, 10, INT64_MAX);
    return value && *value >= lowest && *value <= highest ? value : std::nullopt;
}

std::optional<int64_t> parseMask(const std::string& text) {
    return parseWhole(text, 0, UINT64_MAX);
}

}  // namespace sim
