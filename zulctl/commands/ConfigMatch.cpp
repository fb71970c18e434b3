// SPDX-License-Identifier: Apache-2.0

#include <stdlib.h>

#include "rules/SceneTypes.h"
#include "zulctl/Session.h"
#include "zulctl/commands/Commands.h"
#include "zulctl/commands/Masks.h"
#include "zulctl/log/LogEvents.h"
#include "zulctl/store/Rules.h"

namespace zulctl {

namespace {

constexpr Option kOptions[] = {
        {0, "with", "FILE|-", "as if this text were pushed upon what is there", &Options::with},
};

constexpr char kDetails[] =
        R"(The entry that counts, and what it adds to the event's mask and text; with --log, as the
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
            mRecords.clear();
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
        const std::string name(isFlag ? "flag" : line.fields[0]);
        const std::string value(line.fields[isFlag ? 0 : 1]);
        if (mRecords.empty() || name == "tag") mRecords.emplace_back();
        for (const zul::ConfigKeyword& keyword : zul::kConfigKeywords) {
            if (!name.starts_with(keyword.text)) continue;
            if (const auto* text = std::get_if<std::string zul::ConfigEntry::*>(&keyword.field)) {
                mRecords.back().** text = value;
            } else {
                mRecords.back().flag = strtoll(value.c_str(), nullptr, 10);
            }
        }
    }

    void push() {
        if (mRules) mRules->update(mRecords);
        mRecords.clear();
    }

    const Rules& mAtStart;
    std::optional<Rules> mRules;
    int32_t mDaemon = 0;
    int32_t mThread = 0;
    std::vector<zul::ConfigEntry> mRecords;
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

/** What the daemon would do with an event. */
struct Match {
    std::string tag;
    std::optional<std::string> package;
    /** Nothing where the legal tags are not known. */
    std::optional<bool> legal;
    const zul::ConfigEntry* entry = nullptr;
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
    const bool hasEntry = match.entry != nullptr;
    const zul::ConfigEntry entry = hasEntry ? *match.entry : zul::ConfigEntry();
    int64_t flag = 0;
    std::string text;
    zul::applyConfigEntry(entry, flag, text);
    const auto mask = static_cast<uint64_t>(flag);
    const auto orNull = [](bool known, const Value& value) { return known ? value : nullptr; };
    Facts facts(out, "  ", 11);
    if (!out.json()) {
        const bool inDoubt = !match.legal && !match.isRefused();
        out.line(printable(match.tag) + ": " + match.outcome() +
                 (inDoubt ? "; whether its tag is legal is not known here" : ""));
    }
    facts.add(nullptr, "tag", match.tag);
    facts.add(nullptr, "outcome", match.outcome());
    facts.add(nullptr, "legal", {orNull(match.legal.has_value(), match.legal == true), ""});
    facts.add(nullptr, "refused", {match.isRefused(), ""});
    facts.add("entry", "entry", {orNull(hasEntry, entry.tag), "tag " + entry.tag});
    const std::string package = match.package.value_or("");
    facts.add(nullptr, "package", {orNull(match.package.has_value(), package), ""});
    facts.add("pkgname", "pkgname", entry.pkgname);
    facts.add("mask +", "adds_flag", {hexMask(mask), maskText(mask, match.tag)});
    facts.add("text +", "adds_text", text);
    facts.finish();
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

        Match match;
        match.tag = options.operands[0];
        if (options.operands.size() > 1) match.package = options.operands[1];
        const bool legal = rules.legalTags.count(match.tag) > 0;
        if (legal || device.store != nullptr) match.legal = legal;
        match.entry = zul::findConfigEntry(rules.entries, match.tag);
        match.packagePasses = match.entry == nullptr || !match.package ||
                              zul::admitsPackage(*match.entry, *match.package);
        printMatch(session.out(), match);
        if (match.entry == nullptr || match.isRefused()) status = Status::NOTHING;
    });
    return status;
}

}  // namespace

const Command kConfigMatchCommand = {"config match",
                                     "TAG [PACKAGE]",
                                     1,
                                     2,
                                     "What the configuration does with an event",
                                     kDetails,
                                     kOptions,
                                     false,
                                     runMatch};

}  // namespace zulctl
