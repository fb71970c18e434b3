// SPDX-License-Identifier: Apache-2.0

#include "zulctl/Session.h"
#include "zulctl/commands/Commands.h"
#include "zulctl/commands/ConfigChecker.h"

namespace zulctl {

namespace {

constexpr Option kOptions[] = {
        {0, "with", "FILE|-", "upon this text instead of what is stored", &Options::with},
};

constexpr char kHelp[] =
        R"(What a configuration text really says and changes, and what is odd about it
Each item with the field that it sets, and behind it what is surely wrong (error) or may be
(warning); then which entries and legal tags it changes of what is stored, where a store is at
hand. Ends with 1 when there is an error.)";

/** What is about several things has no number. */
int64_t numberOf(size_t place) {
    return place != ConfigReport::kAll ? static_cast<int64_t>(place) : 0;
}

/** Items with what is odd about them, and what they change, each as a line or an object. */
void print(Output& out, const ConfigReport& report) {
    Table items(out, {{"ITEM", nullptr, 4},
                      {nullptr, "kind"},
                      {nullptr, "record"},
                      {nullptr, "item"},
                      {nullptr, "text"},
                      {"SETS", "sets", 7},
                      {"VALUE", nullptr},
                      {nullptr, "value"}});
    for (const auto& [place, told] : report.places) {
        const int64_t record = numberOf(place.first);
        const int64_t item = numberOf(place.second);
        if (told.item) {
            const bool sets = told.item->keyword != nullptr;
            items.row({std::to_string(record) + "." + std::to_string(item), "item",
                       Cell::number(record), Cell::number(item), told.item->text,
                       sets ? Cell(fieldName(*told.item->keyword)) : Cell(nullptr, "nothing"),
                       sets ? told.item->value : told.item->text, told.item->value});
        }
        for (const ConfigFinding& finding : told.findings) {
            const std::string severity = finding.isError ? "error" : "warning";
            // Those about an item stand below it.
            const bool ofRecord = record != 0 && item == 0;
            const std::string start = ofRecord ? "record " + std::to_string(record) + ": " : "";
            Facts facts(out, "      ", 0);
            facts.add(nullptr, "kind", "finding");
            facts.add(nullptr, "severity", severity);
            facts.add(nullptr, "code", finding.code);
            facts.add(nullptr, "record", Cell::number(record));
            facts.add(nullptr, "item", Cell::number(item));
            facts.add((severity + ":").c_str(), "message",
                      {finding.message, start + finding.message});
            facts.finish();
        }
    }
    const auto orNothing = [](const std::string& text) { return text.empty() ? "nothing" : text; };
    for (const ConfigChange& change : report.changes) {
        Facts facts(out, "", 0);
        facts.add(nullptr, "kind", "change");
        facts.add(nullptr, "of", change.of);
        facts.add(nullptr, "tag", change.tag);
        facts.add(nullptr, "before", change.before);
        facts.add(nullptr, "after", change.after);
        facts.add(change.of, nullptr,
                  "of " + change.tag + ": " + orNothing(change.before) + " -> " +
                          orNothing(change.after));
        facts.finish();
    }
    out.legend(counted(report.records, "record") + ", " + counted(report.errors, "error") + ", " +
               counted(report.warnings, "warning"));
}

Status runCheck(Session& session) {
    const Options& options = session.options();
    const auto text = readText(session, options.operands[0]);
    if (!text) return Status::PARTLY;
    std::optional<std::string> with;
    if (options.with && !(with = readText(session, *options.with))) return Status::PARTLY;
    Status status = Status::FINE;
    session.forEachDevice([&](const Device& device) {
        StartFiles files = readStartFiles(session, device.store.get());
        if (with) files.config = with;
        Rules rules = files.rules();
        const ConfigReport report = checkConfig(*text, rules);
        print(session.out(), report);
        if (report.errors > 0) status = Status::NOTHING;
    });
    return status;
}

}  // namespace

const Command kConfigCheckCommand = {"config check", "FILE|-", 1,     1,
                                     kHelp,          kOptions, false, runCheck};

}  // namespace zulctl
