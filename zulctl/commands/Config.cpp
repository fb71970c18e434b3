// SPDX-License-Identifier: Apache-2.0

#include <algorithm>

#include "rules/SceneTypes.h"
#include "zulctl/Session.h"
#include "zulctl/commands/Commands.h"
#include "zulctl/commands/ConfigChecker.h"
#include "zulctl/commands/Mask.h"
#include "zulctl/log/LogEvents.h"

namespace zulctl {

namespace {

constexpr char kShowHelp[] =
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

constexpr Option kCheckOptions[] = {
        {0, "with", "FILE|-", "upon this text instead of what is stored", &Options::with},
};

constexpr char kCheckHelp[] =
        R"(What a configuration text really says and changes, and what is odd about it
Each item with the field that it sets, and behind it what is surely wrong (error) or may be
(warning); then which entries and legal tags it changes of what is stored, where a store is at
hand. Ends with 1 when there is an error.)";

/** What is about several things has no number. */
int64_t numberOf(size_t place) {
    return place != ConfigReport::kAll ? static_cast<int64_t>(place) : 0;
}

/** Items with what is odd about them, and what they change, each as a line or an object. */
void printReport(Output& out, const ConfigReport& report) {
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
        printReport(session.out(), report);
        if (report.errors > 0) status = Status::NOTHING;
    });
    return status;
}

constexpr Option kMatchOptions[] = {
        {0, "with", "FILE|-", "as if this text were pushed upon what is there", &Options::with},
};

constexpr char kMatchHelp[] =
        R"(What the configuration does with an event
The entry that counts, and what it adds to the event's mask and text; with --log, as the
running daemon has it, else as the next start would. Ends with 1 when no entry counts, and
when the event would be refused. Events about several processes, or none, are not asked for
their package.)";

/** Takes up what a daemon has been pushed since its start, by its log. */
class Replay {
  public:
    /** What the daemon starts with, but for the configuration. */
    explicit Replay(const Rules& atStart) : mAtStart(atStart) {}

    void take(const LogLine& line) {
        if (line.role() == LineRole::DAEMON_START) {
            mText.clear();
            mRules = mAtStart;
            mDaemon = line.process;
        } else if (line.role() == LineRole::CONFIG_ITEM && line.process == mDaemon) {
            // One text is taken at a time.
            if (line.thread != mThread) push();
            mThread = line.thread;
            addItem(line);
        } else if (line.pattern != nullptr && line.process == mDaemon && line.thread == mThread) {
            // Not what is left of an item that ends in a line break.
            push();
        }
    }

    /** Nothing where the log does not go back to the start. */
    std::optional<Rules> finish() {
        push();
        return std::move(mRules);
    }

  private:
    /** The log does not tell where a record ends: but for odd ones, each begins with its tag. */
    void addItem(const LogLine& line) {
        const bool isFlag = line.pattern->format.starts_with("remoteConfig.flag");
        const std::string_view name = isFlag ? "flag" : line.fields[0];
        if (!mText.empty()) mText += name == "tag" ? '|' : ',';
        // Behind a second colon even an empty value is one.
        mText.append(name).append("::").append(line.fields[isFlag ? 0 : 1]);
    }

    void push() {
        if (mRules) mRules->update(mText);
        mText.clear();
    }

    const Rules& mAtStart;
    std::optional<Rules> mRules;
    int32_t mDaemon = 0;
    int32_t mThread = 0;
    /** What is being pushed. */
    std::string mText;
};

/** What the running daemon goes by, as far as can be known; else what the next start would. */
Rules rulesFor(Session& session, const Device& device) {
    if (device.store == nullptr) return {};
    const StartFiles files = readStartFiles(session, device.store.get());
    if (device.log) {
        Replay replay(files.tags);
        readEvents(
                session, device,
                {.event = [](Event&) {}, .line = [&](const LogLine& line) { replay.take(line); }});
        if (auto rules = replay.finish()) return std::move(*rules);
        session.remark("the log does not go back to the daemon's start");
    }
    session.remark(
            "of the stored text alone: entries of earlier ones, which a running daemon keeps, "
            "are known from its log");
    return files.rules();
}

/** What the daemon would do with the event. Unless it `knowsTags`, others than those in `rules` may be legal. */
Status match(Session& session, const Rules& rules, bool knowsTags) {
    const std::vector<std::string>& operands = session.options().operands;
    const std::string& tag = operands[0];
    const bool hasPackage = operands.size() > 1;
    const std::string package = hasPackage ? operands[1] : "";
    const bool isLegal = rules.legalTags.count(tag) > 0;
    const zul::ConfigEntry* const found = zul::findConfigEntry(rules.entries, tag);
    const zul::ConfigEntry entry = found != nullptr ? *found : zul::ConfigEntry();
    const bool isIllegal = knowsTags && !isLegal;
    const bool isOther = hasPackage && !zul::admitsPackage(entry, package);
    const std::string outcome = [&] {
        if (isIllegal) return "refused: no legal tag";
        if (tag == zul::kConfigUpdate) return "updates the configuration";
        if (isOther) return "refused: other package";
        if (found == nullptr) return "passes, and no entry counts for it";
        const bool isPart = hasPackage && !entry.pkgname.empty() && package != entry.pkgname;
        return isPart ? "passes: the package is a part of the pkgname" : "passes";
    }();
    const bool isRefused = isIllegal || isOther;
    const bool inDoubt = !isLegal && !isRefused;

    Output& out = session.out();
    if (!out.json()) {
        out.line(printable(tag) + ": " + outcome +
                 (inDoubt ? "; whether its tag is legal is not known here" : ""));
    }
    int64_t flag = 0;
    std::string text;
    zul::applyConfigEntry(entry, flag, text);
    const auto mask = static_cast<uint64_t>(flag);
    const auto orNull = [](bool known, const Value& value) { return known ? value : nullptr; };
    Facts facts(out, "  ", 11);
    facts.add(nullptr, "tag", tag);
    facts.add(nullptr, "outcome", outcome);
    facts.add(nullptr, "legal", {orNull(isLegal || knowsTags, isLegal), ""});
    facts.add(nullptr, "refused", {isRefused, ""});
    facts.add("entry", "entry", {orNull(found != nullptr, entry.tag), "tag " + entry.tag});
    facts.add(nullptr, "package", {orNull(hasPackage, package), ""});
    facts.add("pkgname", "pkgname", entry.pkgname);
    facts.add("mask +", "adds_flag", {hexMask(mask), maskText(mask, tag)});
    facts.add("text +", "adds_text", text);
    facts.finish();
    return found != nullptr && !isRefused ? Status::FINE : Status::NOTHING;
}

Status runMatch(Session& session) {
    const Options& options = session.options();
    std::optional<std::string> with;
    if (options.with && !(with = readText(session, *options.with))) return Status::PARTLY;
    Status status = Status::FINE;
    session.forEachDevice([&](const Device& device) {
        // Away from a device, a text to try is enough.
        if (device.store == nullptr && (!with || !options.roots.empty())) {
            if (options.roots.empty()) session.problem("no store, and no --with to try");
            status = Status::PARTLY;
            return;
        }
        Rules rules = rulesFor(session, device);
        if (with) rules.update(*with);
        status = std::max(status, match(session, rules, device.store != nullptr));
    });
    return status;
}

}  // namespace

const Command kConfigShowCommand = {"config show", "", 0, 0, kShowHelp, {}, true, runShow};

const Command kConfigCheckCommand = {"config check", "FILE|-",      1,     1,
                                     kCheckHelp,     kCheckOptions, false, runCheck};

const Command kConfigMatchCommand = {"config match", "TAG [PACKAGE]", 1,     2,
                                     kMatchHelp,     kMatchOptions,   false, runMatch};

}  // namespace zulctl
