// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace sim {

/** The whole text as a decimal number from lowest to highest; nothing for any other text. */
std::optional<int64_t> parseDecimal(const std::string& text, int64_t lowest, int64_t highest);

/**
 * The whole text as a 64-bit mask: decimal, octal (0…) or hexadecimal (0x…), with or without a
 * minus sign. Any value that 64 bits hold is taken, so 0xffffffffffffffff and -1 are the same.
 */
std::optional<int64_t> parseMask(const std::string& text);

}  // namespace sim
