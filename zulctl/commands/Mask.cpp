// SPDX-License-Identifier: Apache-2.0

#include "base/Text.h"
#include "zulctl/Session.h"
#include "zulctl/commands/Commands.h"
#include "zulctl/commands/Masks.h"

namespace zulctl {

namespace {

constexpr char kDetails[] =
        R"(Names may also be joined by "|", as the tag library has them, and be short: anr, log. Events
of tags with 0xffffff in them use the user vocabulary, all others the full one. A negative
number needs a -- before it.)";

constexpr int kBits = 64;

struct NamedVocabulary {
    const char* name;
    Vocabulary vocabulary;
};

constexpr NamedVocabulary kVocabularies[] = {
        {"full", kFullVocabulary},
        {"user", kUserVocabulary},
};

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

    void row(const NamedVocabulary& in, uint64_t mask, const std::vector<std::string>& unknown) {
        const MaskNames found = namesOf(mask, in.vocabulary);
        mTable.row({in.name,
                    hexMask(mask),
                    Cell::number(static_cast<int64_t>(mask)),
                    {found.names, ""},
                    {found.aliases, ""},
                    hexMask(found.unnamed),
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
        for (const NamedVocabulary& in : kVocabularies) {
            const MaskNames found = namesOf(value, in.vocabulary);
            row.emplace_back(found.names.empty() ? "-" : found.names[0]);
        }
        table.row(row);
    }
    for (const NamedVocabulary& in : kVocabularies) {
        const std::string prefix = std::string(in.name) + " vocabulary: ";
        const MaskNames found = namesOf(mask, in.vocabulary);
        if (!found.aliases.empty()) out.line(prefix + "the same as " + join(found.aliases, ", "));
        if (found.unnamed != 0) out.line(prefix + "no name for " + hexMask(found.unnamed));
    }
}

void showNumber(Output& out, uint64_t mask) {
    if (!out.json()) return printBits(out, mask);
    MaskTable table(out);
    for (const NamedVocabulary& in : kVocabularies)
        table.row(in, mask, {});
}

Status showNames(Output& out, const std::vector<std::string>& names) {
    MaskTable table(out);
    Status status = Status::FINE;
    for (const NamedVocabulary& in : kVocabularies) {
        uint64_t mask = 0;
        std::vector<std::string> unknown;
        for (const std::string& name : names) {
            const auto value = valueOf(name, in.vocabulary);
            mask |= value.value_or(0);
            if (!value) unknown.push_back(name);
            // Each is to be known to one of them.
            const bool isKnown = valueOf(name, kFullVocabulary) || valueOf(name, kUserVocabulary);
            if (!isKnown) status = Status::NOTHING;
        }
        table.row(in, mask, unknown);
    }
    return status;
}

void showAll(Output& out) {
    Table table(out, {{"VOCABULARY", "vocabulary", 10}, {"VALUE", "mask", 18}, {"NAME", "name"}});
    for (const NamedVocabulary& in : kVocabularies) {
        for (const zul::FlagEntry& entry : in.vocabulary)
            table.row({in.name, hexMask(static_cast<uint64_t>(entry.value)), entry.name});
    }
}

Status runMask(Session& session) {
    const std::vector<std::string>& operands = session.options().operands;
    const auto mask = operands.size() == 1 ? parseMask(operands[0]) : std::nullopt;
    if (operands.empty()) {
        showAll(session.out());
    } else if (mask) {
        showNumber(session.out(), *mask);
    } else {
        const auto names = zul::split(zul::withoutBlanks(join(operands, "|")), "|");
        // Else an empty variable of a script would pass for a mask of nothing.
        if (names.empty()) return session.wrongCall("mask needs a number or names");
        return showNames(session.out(), names);
    }
    return Status::FINE;
}

}  // namespace

const Command kMaskCommand = {"mask",
                              "[NUMBER|NAME...]",
                              0,
                              kAnyNumber,
                              "What a collection mask asks for, the mask of names, or all names",
                              kDetails,
                              {},
                              false,
                              runMask};

}  // namespace zulctl
