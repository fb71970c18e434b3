// SPDX-License-Identifier: Apache-2.0

#include <algorithm>

#include "rules/SceneTypes.h"
#include "zulctl/Session.h"
#include "zulctl/commands/Commands.h"
#include "zulctl/commands/ConfigCheck.h"
#include "zulctl/commands/Masks.h"
#include "zulctl/store/StartFiles.h"

namespace zulctl {

namespace {

using zul::ConfigEntry;

std::string counted(size_t count, const char* one, const char* several) {
    return std::to_string(count) + " " + (count == 1 ? one : several);
}

std::string flagText(int64_t flag, const std::string& tag) {
    const auto mask = static_cast<uint64_t>(flag);
    return hexMask(mask) + (mask != 0 ? " " + namesOf(mask, vocabularyOf(tag)) : "");
}

void addEntry(JsonObject& object, const ConfigEntry& entry) {
    object.add("tag", entry.tag)
            .add("enable", entry.enable)
            .add("pkgname", entry.pkgname)
            .add("flag", hexMask(static_cast<uint64_t>(entry.flag)))
            .add("cmds", entry.cmds)
            .add("paths", entry.paths);
}

void printField(Output& out, const char* name, const std::string& value) {
    std::string line = std::string("  ") + name;
    line.resize(11, ' ');
    if (!value.empty()) out.line(line + printable(value));
}

void printEntry(Output& out, const ConfigEntry& entry) {
    out.line("tag " + printable(entry.tag));
    printField(out, "enable", entry.enable);
    printField(out, "pkgname", entry.pkgname);
    if (entry.flag != 0) printField(out, "flag", flagText(entry.flag, entry.tag));
    printField(out, "cmds", entry.cmds);
    printField(out, "paths", entry.paths);
}

Status runShow(Session& session, const Arguments&) {
    const Store* store = session.store();
    if (store == nullptr) return Status::PARTLY;
    const StartFiles files = readStartFiles(session, *store);
    if (!files.config) {
        if (!session.hadProblem()) session.remark("no configuration is stored");
        return Status::NOTHING;
    }
    Output& out = session.out();
    Rules rules;
    const ConfigReport report = checkConfig(*files.config, rules);
    for (const ConfigEntry& entry : rules.entries) {
        if (!out.json()) {
            printEntry(out, entry);
            continue;
        }
        JsonObject object;
        addEntry(object, entry);
        out.print(object);
    }
    out.legend(counted(rules.entries.size(), "entry", "entries"));
    if (report.hasErrors()) session.remark("it does other than it seems to: see config check");
    return rules.entries.empty() ? Status::NOTHING : Status::FINE;
}

/** For instance 2.1. */
std::string placeOf(size_t record, size_t item) {
    return std::to_string(record) + "." + std::to_string(item);
}

class CheckPrinter {
  public:
    CheckPrinter(Output& out, const ConfigReport& report) : mOut(out), mReport(report) {}

    void print() {
        mOut.legend("ITEM  SETS     VALUE");
        for (size_t record = 1; record <= mReport.records.size(); record++) {
            const std::vector<ConfigItem>& items = mReport.records[record - 1];
            for (size_t item = 1; item <= items.size(); item++) {
                printItem(record, item, items[item - 1]);
                printFindings(record, item);
            }
            printFindings(record, 0);
        }
        printFindings(0, 0);
        printTotal();
    }

  private:
    void printItem(size_t record, size_t item, const ConfigItem& found) {
        const std::string field = found.keyword != nullptr ? fieldName(*found.keyword) : "nothing";
        if (mOut.json()) {
            JsonObject object;
            object.add("kind", "item")
                    .add("record", static_cast<int64_t>(record))
                    .add("item", static_cast<int64_t>(item))
                    .add("text", found.text);
            found.keyword != nullptr ? object.add("sets", field) : object.addNull("sets");
            mOut.print(object.add("value", found.value));
            return;
        }
        std::string line = placeOf(record, item);
        line.resize(std::max(line.size() + 1, size_t{6}), ' ');
        line += field;
        line.resize(std::max(line.size() + 1, size_t{15}), ' ');
        mOut.line(line + printable(found.keyword != nullptr ? found.value : found.text));
    }

    /** The findings come in the order in which they are asked for. */
    void printFindings(size_t record, size_t item) {
        const std::vector<ConfigFinding>& all = mReport.findings;
        for (; mNext < all.size() && all[mNext].record == record && all[mNext].item == item;
             mNext++)
            printFinding(all[mNext]);
    }

    void printFinding(const ConfigFinding& finding) {
        const char* const severity = finding.isError ? "error" : "warning";
        if (!mOut.json()) {
            // Those about an item stand below it.
            const bool ofRecord = finding.record != 0 && finding.item == 0;
            mOut.line(std::string("      ") + severity + ": " +
                      (ofRecord ? "record " + std::to_string(finding.record) + ": " : "") +
                      printable(finding.message));
            return;
        }
        mOut.print(JsonObject()
                           .add("kind", "finding")
                           .add("severity", severity)
                           .add("code", finding.code)
                           .add("record", static_cast<int64_t>(finding.record))
                           .add("item", static_cast<int64_t>(finding.item))
                           .add("message", finding.message));
    }

    void printTotal() {
        const auto errors = static_cast<size_t>(
                std::count_if(mReport.findings.begin(), mReport.findings.end(),
                              [](const ConfigFinding& finding) { return finding.isError; }));
        mOut.legend(counted(mReport.records.size(), "record", "records") + ", " +
                    counted(errors, "error", "errors") + ", " +
                    counted(mReport.findings.size() - errors, "warning", "warnings"));
    }

    Output& mOut;
    const ConfigReport& mReport;
    size_t mNext = 0;
};

Status runCheck(Session& session, const Arguments& arguments) {
    const std::optional<std::string> text = readText(session, arguments.operands[0]);
    if (!text) return Status::PARTLY;
    Rules rules;
    const ConfigReport report = checkConfig(*text, rules);
    CheckPrinter(session.out(), report).print();
    return report.hasErrors() ? Status::NOTHING : Status::FINE;
}

constexpr Option kMatchOptions[] = {
        {0, "with", "FILE|-", "as if this text were pushed upon what is stored"},
};

/** What the daemon would do with an event. */
struct Match {
    std::string tag;
    std::optional<std::string> package;
    /** Nothing where the legal tags are not known. */
    std::optional<bool> legal;
    const ConfigEntry* entry = nullptr;
    bool packagePasses = true;

    bool isRefused() const { return legal == false || !packagePasses; }
    std::string outcome() const {
        if (legal == false) return "refused: no legal tag";
        if (tag == zul::kConfigUpdate) return "updates the configuration";
        if (!packagePasses) return "refused: other package";
        if (entry == nullptr) return "passes, and no entry counts for it";
        const bool isPart = package && !entry->pkgname.empty() && *package != entry->pkgname;
        return isPart ? "passes: the package is a part of the pkgname" : "passes";
    }
};

void printMatch(Output& out, const Match& match) {
    int64_t flag = 0;
    std::string text;
    if (match.entry != nullptr) zul::applyConfigEntry(*match.entry, flag, text);
    if (out.json()) {
        JsonObject object;
        object.add("tag", match.tag).add("outcome", match.outcome());
        match.legal ? object.add("legal", *match.legal) : object.addNull("legal");
        object.add("refused", match.isRefused());
        match.entry != nullptr ? object.add("entry", match.entry->tag) : object.addNull("entry");
        match.package ? object.add("package", *match.package) : object.addNull("package");
        out.print(object.add("pkgname", match.entry != nullptr ? match.entry->pkgname : "")
                          .add("adds_flag", hexMask(static_cast<uint64_t>(flag)))
                          .add("adds_text", text));
        return;
    }
    const bool mayBeIllegal = !match.legal && !match.isRefused();
    out.line(printable(match.tag) + ": " + match.outcome() +
             (mayBeIllegal ? "; whether its tag is legal is not known here" : ""));
    if (match.entry == nullptr) return;
    printField(out, "entry", "tag " + match.entry->tag);
    printField(out, "pkgname", match.entry->pkgname);
    if (flag != 0) printField(out, "mask +", flagText(flag, match.tag));
    printField(out, "text +", text);
}

Status runMatch(Session& session, const Arguments& arguments) {
    const std::vector<std::string>& operands = arguments.operands;
    const std::string* const with = arguments.value("with");
    // Away from a device, a text to try is enough.
    const Store* const store = with != nullptr ? session.storeIfAny() : session.store();
    if (store == nullptr && (with == nullptr || session.hadProblem())) return Status::PARTLY;
    Rules rules = store != nullptr ? rulesOf(readStartFiles(session, *store)) : Rules();
    if (with != nullptr) {
        const std::optional<std::string> text = readText(session, *with);
        if (!text) return Status::PARTLY;
        rules.update(*text);
    }

    Match match;
    match.tag = operands[0];
    if (operands.size() > 1) match.package = operands[1];
    const bool legal = rules.legalTags.contains(match.tag);
    if (legal || store != nullptr) match.legal = legal;
    match.entry = zul::findConfigEntry(rules.entries, match.tag);
    match.packagePasses = match.entry == nullptr || !match.package ||
                          zul::admitsPackage(*match.entry, *match.package);
    printMatch(session.out(), match);
    return match.entry == nullptr || match.isRefused() ? Status::NOTHING : Status::FINE;
}

}  // namespace

const Command kConfigShowCommand = {
        "config show", "", 0, 0, "What the next start has of the stored configuration", "", {},
        runShow};

const Command kConfigCheckCommand = {
        "config check",
        "FILE|-",
        1,
        1,
        "What a configuration text really says, and what is odd about it",
        "Each item with the field that it sets, and behind it what is surely wrong (error) or may "
        "be\n"
        "(warning). Ends with 1 when there is an error.",
        {},
        runCheck};

const Command kConfigMatchCommand = {"config match",
                                     "TAG [PACKAGE]",
                                     1,
                                     2,
                                     "What the configuration does with an event",
                                     "The entry that counts, and what it adds to the event's mask "
                                     "and text. Ends with 1 when no entry\n"
                                     "counts, and when the event would be refused. Events about "
                                     "several processes, or none, are not\n"
                                     "asked for their package.",
                                     kMatchOptions,
                                     runMatch};

}  // namespace zulctl
