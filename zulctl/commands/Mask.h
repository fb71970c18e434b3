// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdint.h>

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "rules/FlagNames.h"

namespace zulctl {

/** Names of bits, each in its order, and behind them names of several. */
using Vocabulary = std::span<const zul::FlagEntry>;

inline constexpr Vocabulary kFullVocabulary = zul::kFlags;
inline constexpr Vocabulary kUserVocabulary = zul::kUserFlags;

/** The vocabulary that events of this tag are about. */
Vocabulary vocabularyOf(std::string_view tag);

/** What a mask is in a vocabulary. */
struct MaskNames {
    /** Of its bits. */
    std::vector<std::string> names;
    /** Those that stand for exactly this mask besides these. */
    std::vector<std::string> aliases;
    /** The bits that have no name. */
    uint64_t unnamed = 0;
};
MaskNames namesOf(uint64_t mask, Vocabulary vocabulary);

/** The value of a name, or of the short one that leaves out its beginning; nothing for an unknown one. */
std::optional<uint64_t> valueOf(std::string_view name, Vocabulary vocabulary);

/** The names of a mask's bits, and at the end those without one as a number, joined by "|". */
std::string bitsText(uint64_t mask, std::string_view tag);
/** A mask as a number and the names of its bits; empty for none. */
std::string maskText(uint64_t mask, std::string_view tag);
/** 0x and lower-case digits. */
std::string hexMask(uint64_t mask);

/**
 * A mask as the daemon's log and arguments have it: hexadecimal behind 0x, else decimal, with a sign
 * or without. Nothing for any other text, and for what does not fit 64 bits.
 */
std::optional<uint64_t> parseMask(std::string_view text);

std::string join(const std::vector<std::string>& texts, const char* separator);

}  // namespace zulctl
