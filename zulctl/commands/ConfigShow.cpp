// SPDX-License-Identifier: Apache-2.0

#include "zulctl/Session.h"
#include "zulctl/commands/Commands.h"
#include "zulctl/commands/ConfigChecker.h"
#include "zulctl/commands/Mask.h"

namespace zulctl {

namespace {

constexpr char kHelp[] =
        R"(What the next start has of the stored configuration, and the tags that it knows
Tags come from the tag file, from the build (a user build, which shows in the store's folders,
has fixed ones) or from the stored configuration, which can also make them illegal. The entry
is that of the configuration which counts for the tag.)";

void printEntry(Output& out, const zul::ConfigEntry& entry) {
    Facts facts(out, "  ", 11);
    if (!out.json()) out.line("tag " + printable(entry.tag));
    facts.add(nullptr, "kind", "entry");
    facts.add(nullptr, "tag", entry.tag);
    facts.add("enable", "enable", entry.enable);
    facts.add("pkgname", "pkgname", entry.pkgname);
    const auto mask = static_cast<uint64_t>(entry.flag);
    facts.add("flag", "flag", {hexMask(mask), maskText(mask, entry.tag)});
    facts.add("cmds", "cmds", entry.cmds);
    facts.add("paths", "paths", entry.paths);
    facts.finish();
}

void printTags(Output& out, const Rules& rules) {
    Table table(out, {{nullptr, "kind"},
                      {"TAG", "tag", 12},
                      {"LEGAL", "legal", 5},
                      {"FROM", "from", 6},
                      {"ENTRY", "entry", 12},
                      {"TEXT", "text"}});
    for (const auto& [tag, known] : rules.knownTags) {
        const zul::ConfigEntry* const entry = zul::findConfigEntry(rules.entries, tag);
        table.row({"tag", tag, Cell::yesNo(rules.legalTags.count(tag) > 0), known.from,
                   entry != nullptr ? Cell(entry->tag) : Cell::none(), known.text});
    }
}

Status runShow(Session& session) {
    Status status = Status::NOTHING;
    Output& out = session.out();
    session.forEachDevice([&](const Device& device) {
        const StartFiles files = readStartFiles(session, device.store.get());
        const Rules rules = files.rules();
        if (!files.config) session.remark("no configuration is stored");
        for (const zul::ConfigEntry& entry : rules.entries)
            printEntry(out, entry);
        if (!rules.knownTags.empty()) printTags(out, rules);
        out.legend(counted(rules.entries.size(), "entry", "entries") + ", " +
                   std::to_string(rules.legalTags.size()) + " legal of " +
                   counted(rules.knownTags.size(), "tag"));
        Rules checked;
        if (checkConfig(files.config.value_or(""), checked).errors > 0) {
            session.remark("it does other than it seems to: see config check");
        }
        if (!rules.knownTags.empty() || !rules.entries.empty()) status = Status::FINE;
    });
    return status;
}

}  // namespace

const Command kConfigShowCommand = {"config show", "", 0, 0, kHelp, {}, true, runShow};

}  // namespace zulctl
