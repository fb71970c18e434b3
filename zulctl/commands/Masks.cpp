// SPDX-License-Identifier: Apache-2.0

#include "zulctl/commands/Masks.h"

#include <stdio.h>
#include <strings.h>

#include <algorithm>
#include <charconv>

#include "rules/FlagNames.h"

namespace zulctl {

namespace {

bool isSingleBit(uint64_t mask) {
    return mask != 0 && (mask & (mask - 1)) == 0;
}

uint64_t bitsOf(const zul::FlagEntry& entry) {
    return static_cast<uint64_t>(entry.value);
}

template <class Number>
std::optional<uint64_t> parseWhole(std::string_view digits, int base) {
    Number value = 0;
    const char* const end = digits.data() + digits.size();
    const auto [stopped, error] = std::from_chars(digits.data(), end, value, base);
    if (error != std::errc() || stopped != end) return std::nullopt;
    return static_cast<uint64_t>(value);
}

}  // namespace

std::span<const zul::FlagEntry> entriesOf(Vocabulary vocabulary) {
    if (vocabulary == Vocabulary::USER) return zul::kUserFlags;
    return zul::kFlags;
}

Vocabulary vocabularyOf(std::string_view tag) {
    return zul::hasUserFlags(tag) ? Vocabulary::USER : Vocabulary::FULL;
}

const char* nameOfBit(uint64_t bit, Vocabulary vocabulary) {
    for (const zul::FlagEntry& entry : entriesOf(vocabulary)) {
        if (bitsOf(entry) == bit) return entry.name;
    }
    return nullptr;
}

std::vector<std::string> aliasesOf(uint64_t mask, Vocabulary vocabulary) {
    std::vector<std::string> names;
    for (const zul::FlagEntry& entry : entriesOf(vocabulary)) {
        const bool namesTheBit = isSingleBit(mask) && entry.name == nameOfBit(mask, vocabulary);
        if (bitsOf(entry) == mask && !namesTheBit) names.emplace_back(entry.name);
    }
    return names;
}

uint64_t unnamedBits(uint64_t mask, Vocabulary vocabulary) {
    for (const zul::FlagEntry& entry : entriesOf(vocabulary))
        mask &= ~bitsOf(entry);
    return mask;
}

std::string namesOf(uint64_t mask, Vocabulary vocabulary) {
    std::string names;
    const auto add = [&names](const std::string& name) {
        names += (names.empty() ? "" : "|") + name;
    };
    for (uint64_t rest = mask & ~unnamedBits(mask, vocabulary); rest != 0; rest &= rest - 1)
        add(nameOfBit(rest & -rest, vocabulary));
    const uint64_t unnamed = unnamedBits(mask, vocabulary);
    if (unnamed != 0) add(hexMask(unnamed));
    return names;
}

std::optional<uint64_t> valueOf(std::string_view name, Vocabulary vocabulary) {
    const auto isShortOf = [name](std::string_view known) {
        for (const std::string_view start : {"FLAG_ZUL_USER_", "FLAG_ZUL_", "EXCEPTION_TYPE_"}) {
            if (!known.starts_with(start)) continue;
            known.remove_prefix(start.size());
            break;
        }
        return known.size() == name.size() &&
               strncasecmp(known.data(), name.data(), name.size()) == 0;
    };
    for (const zul::FlagEntry& entry : entriesOf(vocabulary)) {
        if (name == entry.name || isShortOf(entry.name)) return bitsOf(entry);
    }
    return std::nullopt;
}

std::string maskText(uint64_t mask, std::string_view tag) {
    return mask != 0 ? hexMask(mask) + " " + namesOf(mask, vocabularyOf(tag)) : "";
}

std::string hexMask(uint64_t mask) {
    char text[32];
    snprintf(text, sizeof(text), "0x%llx", static_cast<unsigned long long>(mask));
    return text;
}

std::optional<uint64_t> parseMask(std::string_view text) {
    if (text.starts_with("0x") || text.starts_with("0X")) {
        return parseWhole<uint64_t>(text.substr(2), 16);
    }
    if (text.starts_with('-')) return parseWhole<int64_t>(text, 10);
    return parseWhole<uint64_t>(text, 10);
}

}  // namespace zulctl
