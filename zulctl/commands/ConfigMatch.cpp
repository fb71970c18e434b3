// SPDX-License-Identifier: Apache-2.0

#include <algorithm>

#include "rules/SceneTypes.h"
#include "zulctl/Session.h"
#include "zulctl/commands/Commands.h"
#include "zulctl/commands/Mask.h"
#include "zulctl/log/LogEvents.h"
#include "zulctl/store/Rules.h"

namespace zulctl {

namespace {

constexpr Option kOptions[] = {
        {0, "with", "FILE|-", "as if this text were pushed upon what is there", &Options::with},
};

constexpr char kHelp[] =
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

const Command kConfigMatchCommand = {"config match", "TAG [PACKAGE]", 1,     2,
                                     kHelp,          kOptions,        false, runMatch};

}  // namespace zulctl
