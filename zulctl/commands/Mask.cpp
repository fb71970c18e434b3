// SPDX-License-Identifier: Apache-2.0

#include "base/Text.h"
#include "rules/FlagNames.h"
#include "zulctl/Session.h"
#include "zulctl/commands/Commands.h"
#include "zulctl/commands/Masks.h"

namespace zulctl {

namespace {

constexpr int kBits = 64;

struct VocabularyName {
    Vocabulary vocabulary;
    const char* name;
    zul::FlagTable table;
};

const std::vector<VocabularyName>& vocabularies() {
    static const std::vector<VocabularyName> all = {
            {Vocabulary::FULL, "full", zul::makeFlagTable(zul::kFlags)},
            {Vocabulary::USER, "user", zul::makeFlagTable(zul::kUserFlags)},
    };
    return all;
}

std::vector<std::string> split(const std::string& names) {
    return zul::split(zul::withoutBlanks(names), "|");
}

std::string join(const std::vector<std::string>& texts, const char* separator) {
    std::string joined;
    for (const std::string& text : texts)
        joined += (joined.empty() ? "" : separator) + text;
    return joined;
}

bool isKnown(const std::string& name, const VocabularyName& vocabulary) {
    return zul::maskOfNames(name, vocabulary.table) != 0;
}

std::vector<std::string> unknownIn(const VocabularyName& vocabulary, const std::string& names) {
    std::vector<std::string> unknown;
    for (const std::string& name : split(names)) {
        if (!isKnown(name, vocabulary)) unknown.push_back(name);
    }
    return unknown;
}

void printJson(Output& out, const VocabularyName& vocabulary, uint64_t mask,
               const std::vector<std::string>& unknown) {
    const uint64_t unnamed = unnamedBits(mask, vocabulary.vocabulary);
    out.print(JsonObject()
                      .add("vocabulary", vocabulary.name)
                      .add("mask", hexMask(mask))
                      .add("decimal", static_cast<int64_t>(mask))
                      .add("names", split(namesOf(mask & ~unnamed, vocabulary.vocabulary)))
                      .add("aliases", aliasesOf(mask, vocabulary.vocabulary))
                      .add("unnamed", hexMask(unnamed))
                      .add("unknown", unknown));
}

void printBits(Output& out, uint64_t mask) {
    out.line(hexMask(mask) + " = " + std::to_string(static_cast<int64_t>(mask)));
    Table table(out,
                {{"BIT", 3, true}, {"VALUE", 18}, {"FULL VOCABULARY", 27}, {"USER VOCABULARY", 0}});
    for (int bit = 0; bit < kBits; bit++) {
        const uint64_t value = uint64_t{1} << bit;
        if ((mask & value) == 0) continue;
        std::vector<std::string> row = {std::to_string(bit), hexMask(value)};
        for (const VocabularyName& vocabulary : vocabularies()) {
            const char* const name = nameOfBit(value, vocabulary.vocabulary);
            row.emplace_back(name != nullptr ? name : "-");
        }
        table.row(row);
    }
    for (const VocabularyName& vocabulary : vocabularies()) {
        const std::string prefix = std::string(vocabulary.name) + " vocabulary: ";
        const std::vector<std::string> aliases = aliasesOf(mask, vocabulary.vocabulary);
        if (!aliases.empty()) out.line(prefix + "the same as " + join(aliases, ", "));
        const uint64_t unnamed = unnamedBits(mask, vocabulary.vocabulary);
        if (unnamed != 0) out.line(prefix + "no name for " + hexMask(unnamed));
    }
}

Status showNumber(Session& session, uint64_t mask) {
    Output& out = session.out();
    if (!out.json()) {
        printBits(out, mask);
        return Status::FINE;
    }
    for (const VocabularyName& vocabulary : vocabularies())
        printJson(out, vocabulary, mask, {});
    return Status::FINE;
}

Status showNames(Session& session, const std::string& names) {
    Output& out = session.out();
    Table table(out, {{"VOCABULARY", 10}, {"MASK", 18}, {"DECIMAL", 20}, {"UNKNOWN NAMES", 0}});
    for (const VocabularyName& vocabulary : vocabularies()) {
        const auto mask = static_cast<uint64_t>(zul::maskOfNames(names, vocabulary.table));
        const std::vector<std::string> unknown = unknownIn(vocabulary, names);
        if (out.json()) {
            printJson(out, vocabulary, mask, unknown);
        } else {
            table.row({vocabulary.name, hexMask(mask), std::to_string(static_cast<int64_t>(mask)),
                       join(unknown, ", ")});
        }
    }
    for (const std::string& name : split(names)) {
        if (!isKnown(name, vocabularies()[0]) && !isKnown(name, vocabularies()[1])) {
            return Status::NOTHING;
        }
    }
    return Status::FINE;
}

Status runMask(Session& session, const Arguments& arguments) {
    const std::vector<std::string>& operands = arguments.operands;
    if (operands.size() == 1) {
        const std::optional<uint64_t> mask = parseMask(operands[0]);
        if (mask) return showNumber(session, *mask);
    }
    const std::string names = join(operands, "|");
    // Else an empty variable of a script would pass for a mask of nothing.
    if (split(names).empty()) return session.wrongCall("needs a number or names");
    return showNames(session, names);
}

}  // namespace

const Command kMaskCommand = {"mask",
                              "NUMBER|NAME...",
                              1,
                              kAnyNumber,
                              "What a collection mask asks for, or the mask of names",
                              "Names may also be joined by \"|\", as the tag library has them. "
                              "Events of tags with 0xffffff in\n"
                              "them use the user vocabulary, all others the full one. A negative "
                              "number needs a -- before it.",
                              {},
                              runMask};

}  // namespace zulctl
