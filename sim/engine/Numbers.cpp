// SPDX-License-Identifier: Apache-2.0
#include "sim/engine/Numbers.h"

#include <charconv>

namespace sim {
namespace {

template <class T>
std::optional<T> parseWhole(std::string_view text, int base) {
    T value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
    if (error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return value;
}

}  // namespace

std::optional<int64_t> parseDecimal(std::string_view text, int64_t lowest, int64_t highest) {
    const auto value = parseWhole<int64_t>(text, 10);
    return value && *value >= lowest && *value <= highest ? value : std::nullopt;
}

std::optional<int64_t> parseMask(std::string_view text) {
    const bool negative = text.starts_with('-');
    text.remove_prefix(negative ? 1 : 0);

    int base = 10;
    if (text.starts_with("0x") || text.starts_with("0X")) {
        base = 16;
        text.remove_prefix(2);
    } else if (text.starts_with('0')) {
        base = 8;
    }
    const auto magnitude = parseWhole<uint64_t>(text, base);
    if (!magnitude || (negative && *magnitude > uint64_t{1} << 63)) {
        return std::nullopt;
    }
    return static_cast<int64_t>(negative ? 0 - *magnitude : *magnitude);
}

}  // namespace sim
