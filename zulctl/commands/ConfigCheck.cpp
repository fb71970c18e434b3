// SPDX-License-Identifier: Apache-2.0

#include <algorithm>

#include "zulctl/Session.h"
#include "zulctl/commands/Commands.h"
#include "zulctl/commands/ConfigChecker.h"

namespace zulctl {

namespace {

constexpr Option kOptions[] = {
        {0, "with", "FILE|-", "upon this text instead of what is stored", &Options::with},
};

/** Items with what is odd about them, and what they change, each as a line or an object. */
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
        printChanges("entry", mReport.entries);
        printChanges("legal", mReport.tags);
        printTotal();
    }

  private:
    void say(const std::string& line, const JsonObject& object) {
        mOut.json() ? mOut.print(object) : mOut.line(line);
    }

    void printItem(size_t record, size_t item, const ConfigItem& found) {
        const bool sets = found.keyword != nullptr;
        std::string line = std::to_string(record) + "." + std::to_string(item);
        line.resize(std::max(line.size() + 1, size_t{6}), ' ');
        line += sets ? fieldName(*found.keyword) : "nothing";
        line.resize(std::max(line.size() + 1, size_t{15}), ' ');
        say(line + printable(sets ? found.value : found.text),
            JsonObject()
                    .add("kind", "item")
                    .add("record", static_cast<int64_t>(record))
                    .add("item", static_cast<int64_t>(item))
                    .add("text", found.text)
                    .add("sets", sets ? Value(fieldName(*found.keyword)) : nullptr)
                    .add("value", found.value));
    }

    /** The findings come in the order in which they are asked for. */
    void printFindings(size_t record, size_t item) {
        const std::vector<ConfigFinding>& all = mReport.findings;
        for (; mNext < all.size() && all[mNext].record == record && all[mNext].item == item;
             mNext++) {
            const ConfigFinding& finding = all[mNext];
            const std::string severity = finding.isError ? "error" : "warning";
            // Those about an item stand below it.
            const bool ofRecord = finding.record != 0 && finding.item == 0;
            say("      " + severity + ": " +
                        (ofRecord ? "record " + std::to_string(finding.record) + ": " : "") +
                        printable(finding.message),
                JsonObject()
                        .add("kind", "finding")
                        .add("severity", severity)
                        .add("code", finding.code)
                        .add("record", static_cast<int64_t>(finding.record))
                        .add("item", static_cast<int64_t>(finding.item))
                        .add("message", finding.message));
        }
    }

    void printChanges(const char* kind, const std::vector<ConfigChange>& changes) {
        for (const ConfigChange& change : changes) {
            const std::string from = change.before.empty() ? "nothing" : change.before;
            const std::string to = change.after.empty() ? "nothing" : change.after;
            std::string line = kind;
            line.append(" of ").append(change.tag).append(": ");
            say(printable(line.append(from).append(" -> ").append(to)),
                JsonObject()
                        .add("kind", "change")
                        .add("of", kind)
                        .add("tag", change.tag)
                        .add("before", change.before)
                        .add("after", change.after));
        }
    }

    void printTotal() {
        const auto errors = static_cast<size_t>(
                std::count_if(mReport.findings.begin(), mReport.findings.end(),
                              [](const ConfigFinding& finding) { return finding.isError; }));
        mOut.legend(counted(mReport.records.size(), "record") + ", " + counted(errors, "error") +
                    ", " + counted(mReport.findings.size() - errors, "warning"));
    }

    Output& mOut;
    const ConfigReport& mReport;
    size_t mNext = 0;
};

Status runCheck(Session& session) {
    const Options& options = session.options();
    const auto text = readText(session, options.operands[0]);
    if (!text) return Status::PARTLY;
    std::optional<std::string> with;
    if (options.with && !(with = readText(session, *options.with))) return Status::PARTLY;
    Status status = Status::FINE;
    session.forEachDevice([&](const Device& device) {
        StartFiles files;
        if (device.store != nullptr) files = readStartFiles(session, *device.store);
        if (with) files.config = with;
        Rules rules = rulesOf(files);
        const ConfigReport report = checkConfig(*text, rules);
        CheckPrinter(session.out(), report).print();
        if (report.hasErrors()) status = Status::NOTHING;
    });
    return status;
}

}  // namespace

const Command kConfigCheckCommand = {
        "config check",
        "FILE|-",
        1,
        1,
        "What a configuration text really says and changes, and what is odd about it",
        "Each item with the field that it sets, and behind it what is surely wrong (error) or may "
        "be\n"
        "(warning); then which entries and legal tags it changes of what is stored, where a store "
        "is at\n"
        "hand. Ends with 1 when there is an error.",
        kOptions,
        false,
        runCheck};

}  // namespace zulctl
