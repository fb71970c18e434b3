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

enum class Vocabulary { FULL, USER };

/** The vocabulary that events of this tag are about. */
Vocabulary vocabularyOf(std::string_view tag);

/** All its names with their values. */
std::span<const zul::FlagEntry> entriesOf(Vocabulary vocabulary);
/** The name of a single bit; null where it has none. */
const char* nameOfBit(uint64_t bit, Vocabulary vocabulary);
/** Names that stand for exactly this mask besides those of single bits. */
std::vector<std::string> aliasesOf(uint64_t mask, Vocabulary vocabulary);
/** The bits of `mask` that have no name. */
uint64_t unnamedBits(uint64_t mask, Vocabulary vocabulary);
/** The names of a mask's bits, and at the end those without one as a number, joined by "|". */
std::string namesOf(uint64_t mask, Vocabulary vocabulary);
/** The value of a name, or of the short one that leaves out its beginning; nothing for an unknown one. */
std::optional<uint64_t> valueOf(std::string_view name, Vocabulary vocabulary);

/** A mask as a number and the names of its bits; empty for none. */
std::string maskText(uint64_t mask, std::string_view tag);

/** 0x and lower-case digits. */
std::string hexMask(uint64_t mask);

/**
 * A mask as the daemon's log and arguments have it: hexadecimal behind 0x, else decimal, with a sign
 * or without. Nothing for any other text, and for what does not fit 64 bits.
 */
std::optional<uint64_t> parseMask(std::string_view text);

}  // namespace zulctl
