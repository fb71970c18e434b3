// SPDX-License-Identifier: Apache-2.0

#include "zulctl/commands/Mask.h"

#include <stdio.h>
#include <strings.h>

#include <charconv>

#include "base/Text.h"
#include "zulctl/Session.h"
#include "zulctl/commands/Commands.h"

namespace zulctl {

namespace {

constexpr char kHelp[] =
        R"(What a collection mask asks for, the mask of names, or all names
Names may also be joined by "|", as the tag library has them, and be short: anr, log. Events
of tags with 0xffffff in them use the user vocabulary, all others the full one. A negative
number needs a -- before it.)";

constexpr int kBits = 64;

constexpr std::pair<const char*, Vocabulary> kVocabularies[] = {
        {"full", kFullVocabulary},
        {"user", kUserVocabulary},
};

void printBits(Output& out, uint64_t mask) {
    out.line(hexMask(mask) + " = " + std::to_string(static_cast<int64_t>(mask)));
    Table table(out, {{"BIT", nullptr, 3, true},
                      {"VALUE", nullptr, 18},
                      {"FULL VOCABULARY", nullptr, 27},
                      {"USER VOCABULARY"}});
    for (int bit = 0; bit < kBits; bit++) {
        const uint64_t value = uint64_t{1} << bit;
        if ((mask & value) == 0) continue;
        std::vector<Cell> row = {Cell::number(bit), hexMask(value)};
        for (const auto& [name, vocabulary] : kVocabularies) {
            const MaskNames found = namesOf(value, vocabulary);
            row.emplace_back(found.names.empty() ? "-" : found.names[0]);
        }
        table.row(row);
    }
    for (const auto& [name, vocabulary] : kVocabularies) {
        const std::string prefix = std::string(name) + " vocabulary: ";
        const MaskNames found = namesOf(mask, vocabulary);
        if (!found.aliases.empty()) out.line(prefix + "the same as " + join(found.aliases, ", "));
        if (found.unnamed != 0) out.line(prefix + "no name for " + hexMask(found.unnamed));
    }
}

/** What bits and names come to in each vocabulary. */
Status showMasks(Output& out, uint64_t bits, const std::vector<std::string>& names) {
    Table table(out, {{"VOCABULARY", "vocabulary", 10},
                      {"MASK", "mask", 18},
                      {"DECIMAL", "decimal", 20},
                      {nullptr, "names"},
                      {nullptr, "aliases"},
                      {nullptr, "unnamed"},
                      {"UNKNOWN NAMES", "unknown"}});
    Status status = Status::FINE;
    for (const auto& [vocabularyName, vocabulary] : kVocabularies) {
        uint64_t mask = bits;
        std::vector<std::string> unknown;
        for (const std::string& name : names) {
            const auto value = valueOf(name, vocabulary);
            mask |= value.value_or(0);
            if (!value) unknown.push_back(name);
            // Each is to be known to one of them.
            const bool isKnown = valueOf(name, kFullVocabulary) || valueOf(name, kUserVocabulary);
            if (!isKnown) status = Status::NOTHING;
        }
        const MaskNames found = namesOf(mask, vocabulary);
        table.row({vocabularyName,
                   hexMask(mask),
                   Cell::number(static_cast<int64_t>(mask)),
                   {found.names, ""},
                   {found.aliases, ""},
                   hexMask(found.unnamed),
                   {unknown, join(unknown, ", ")}});
    }
    return status;
}

void showAll(Output& out) {
    Table table(out, {{"VOCABULARY", "vocabulary", 10}, {"VALUE", "mask", 18}, {"NAME", "name"}});
    for (const auto& [name, vocabulary] : kVocabularies) {
        for (const zul::FlagEntry& entry : vocabulary)
            table.row({name, hexMask(static_cast<uint64_t>(entry.value)), entry.name});
    }
}

Status runMask(Session& session) {
    const std::vector<std::string>& operands = session.options().operands;
    Output& out = session.out();
    if (operands.empty()) {
        showAll(out);
        return Status::FINE;
    }
    const auto mask = operands.size() == 1 ? parseMask(operands[0]) : std::nullopt;
    if (mask && out.json()) return showMasks(out, *mask, {});
    if (mask) {
        printBits(out, *mask);
        return Status::FINE;
    }
    const auto names = zul::split(zul::withoutBlanks(join(operands, "|")), "|");
    // Else an empty variable of a script would pass for a mask of nothing.
    if (names.empty()) return session.wrongCall("mask needs a number or names");
    return showMasks(out, 0, names);
}

}  // namespace

Vocabulary vocabularyOf(std::string_view tag) {
    return zul::hasUserFlags(tag) ? kUserVocabulary : kFullVocabulary;
}

MaskNames namesOf(uint64_t mask, Vocabulary vocabulary) {
    MaskNames found;
    found.unnamed = mask;
    for (const zul::FlagEntry& entry : vocabulary) {
        const auto bits = static_cast<uint64_t>(entry.value);
        if ((found.unnamed & bits) != 0) {
            found.names.emplace_back(entry.name);
        } else if (bits == mask) {
            found.aliases.emplace_back(entry.name);
        }
        found.unnamed &= ~bits;
    }
    return found;
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
    for (const zul::FlagEntry& entry : vocabulary) {
        if (name == entry.name || isShortOf(entry.name)) return static_cast<uint64_t>(entry.value);
    }
    return std::nullopt;
}

std::string bitsText(uint64_t mask, std::string_view tag) {
    MaskNames found = namesOf(mask, vocabularyOf(tag));
    if (found.unnamed != 0) found.names.push_back(hexMask(found.unnamed));
    return join(found.names, "|");
}

std::string maskText(uint64_t mask, std::string_view tag) {
    return mask != 0 ? hexMask(mask) + " " + bitsText(mask, tag) : "";
}

std::string hexMask(uint64_t mask) {
    char text[32];
    snprintf(text, sizeof(text), "0x%llx", static_cast<unsigned long long>(mask));
    return text;
}

std::optional<uint64_t> parseMask(std::string_view text) {
    const bool isHex = text.starts_with("0x") || text.starts_with("0X");
    const bool isNegative = text.starts_with('-');
    text.remove_prefix(isHex ? 2 : isNegative ? 1 : 0);
    uint64_t mask = 0;
    const char* const end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, mask, isHex ? 16 : 10);
    const bool fits = !isNegative || mask <= uint64_t{1} << 63;
    if (error != std::errc() || stopped != end || !fits) return std::nullopt;
    return isNegative ? -mask : mask;
}

std::string join(const std::vector<std::string>& texts, const char* separator) {
    std::string joined;
    for (const std::string& text : texts)
        joined += (joined.empty() ? "" : separator) + text;
    return joined;
}

const Command kMaskCommand = {"mask", "[NUMBER|NAME...]", 0, kAnyNumber, kHelp, {}, false, runMask};

}  // namespace zulctl
