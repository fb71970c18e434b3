// SPDX-License-Identifier: Apache-2.0

#include "base/Text.h"
#include "zulctl/Session.h"
#include "zulctl/commands/Commands.h"
#include "zulctl/commands/Masks.h"

namespace zulctl {

namespace {

constexpr int kBits = 64;

struct VocabularyName {
    Vocabulary vocabulary;
    const char* name;
};

constexpr VocabularyName kVocabularies[] = {
        {Vocabulary::FULL, "full"},
        {Vocabulary::USER, "user"},
};

std::string join(const std::vector<std::string>& texts, const char* separator) {
    std::string joined;
    for (const std::string& text : texts)
        joined += (joined.empty() ? "" : separator) + text;
    return joined;
}

Cell decimal(uint64_t mask) {
    return Cell::number(static_cast<int64_t>(mask));
}

/** What names and numbers come to in one vocabulary. */
class MaskTable {
  public:
    explicit MaskTable(Output& out)
          : mTable(out, {{"VOCABULARY", "vocabulary", 10},
                         {"MASK", "mask", 18},
                         {"DECIMAL", "decimal", 20},
                         {nullptr, "names"},
                         {nullptr, "aliases"},
                         {nullptr, "unnamed"},
                         {"UNKNOWN NAMES", "unknown"}}) {}

    void row(const VocabularyName& in, uint64_t mask, const std::vector<std::string>& unknown) {
        const uint64_t unnamed = unnamedBits(mask, in.vocabulary);
        mTable.row({in.name,
                    hexMask(mask),
                    decimal(mask),
                    {zul::split(namesOf(mask & ~unnamed, in.vocabulary), "|"), ""},
                    {aliasesOf(mask, in.vocabulary), ""},
                    hexMask(unnamed),
                    {unknown, join(unknown, ", ")}});
    }

  private:
    Table mTable;
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
        for (const VocabularyName& in : kVocabularies) {
            const char* const name = nameOfBit(value, in.vocabulary);
            row.emplace_back(name != nullptr ? name : "-");
        }
        table.row(row);
    }
    for (const VocabularyName& in : kVocabularies) {
        const std::string prefix = std::string(in.name) + " vocabulary: ";
        const std::vector<std::string> aliases = aliasesOf(mask, in.vocabulary);
        if (!aliases.empty()) out.line(prefix + "the same as " + join(aliases, ", "));
        const uint64_t unnamed = unnamedBits(mask, in.vocabulary);
        if (unnamed != 0) out.line(prefix + "no name for " + hexMask(unnamed));
    }
}

Status showNumber(Output& out, uint64_t mask) {
    if (!out.json()) {
        printBits(out, mask);
        return Status::FINE;
    }
    MaskTable table(out);
    for (const VocabularyName& in : kVocabularies)
        table.row(in, mask, {});
    return Status::FINE;
}

Status showNames(Output& out, const std::vector<std::string>& names) {
    MaskTable table(out);
    for (const VocabularyName& in : kVocabularies) {
        uint64_t mask = 0;
        std::vector<std::string> unknown;
        for (const std::string& name : names) {
            const auto value = valueOf(name, in.vocabulary);
            mask |= value.value_or(0);
            if (!value) unknown.push_back(name);
        }
        table.row(in, mask, unknown);
        if (in.vocabulary != Vocabulary::USER) continue;
        // Each is to be known to one of them.
        for (const std::string& name : unknown) {
            if (!valueOf(name, Vocabulary::FULL)) return Status::NOTHING;
        }
    }
    return Status::FINE;
}

Status showAll(Output& out) {
    Table table(out, {{"VOCABULARY", "vocabulary", 10}, {"VALUE", "mask", 18}, {"NAME", "name"}});
    for (const VocabularyName& in : kVocabularies) {
        for (const zul::FlagEntry& entry : entriesOf(in.vocabulary))
            table.row({in.name, hexMask(static_cast<uint64_t>(entry.value)), entry.name});
    }
    return Status::FINE;
}

Status runMask(Session& session) {
    const std::vector<std::string>& operands = session.options().operands;
    if (operands.empty()) return showAll(session.out());
    if (operands.size() == 1) {
        const std::optional<uint64_t> mask = parseMask(operands[0]);
        if (mask) return showNumber(session.out(), *mask);
    }
    const auto names = zul::split(zul::withoutBlanks(join(operands, "|")), "|");
    // Else an empty variable of a script would pass for a mask of nothing.
    if (names.empty()) return session.wrongCall("mask needs a number or names");
    return showNames(session.out(), names);
}

}  // namespace

const Command kMaskCommand = {"mask",
                              "[NUMBER|NAME...]",
                              0,
                              kAnyNumber,
                              "What a collection mask asks for, the mask of names, or all names",
                              "Names may also be joined by \"|\", as the tag library has them, and "
                              "be short: anr, log. Events\n"
                              "of tags with 0xffffff in them use the user vocabulary, all others "
                              "the full one. A negative\n"
                              "number needs a -- before it.",
                              {},
                              false,
                              runMask};

}  // namespace zulctl
