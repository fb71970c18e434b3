// SPDX-License-Identifier: Apache-2.0

#include <algorithm>
#include <map>

#include "base/Text.h"
#include "zulctl/commands/Choice.h"
#include "zulctl/commands/Commands.h"
#include "zulctl/store/Captures.h"
#include "zulctl/store/Rules.h"
#include "zulctl/store/TagLibrary.h"

namespace zulctl {

namespace {

constexpr Option kOptions[] = {
        kSinceOption,
        kUntilOption,
        kNumberOption,
        kGrepOption,
        {0, "state", "S,..", "in one of these states", &Options::states},
        {0, "by-tag", nullptr, "a line for each tag, largest first", &Options::byTag},
};

constexpr char kDetails[] = R"(States:
  present      the archive is there
  missing      neither archive nor folder are: pruned, or never made
  running      a process has the folder as its argument 0; in a copy, it did by the log
  left         the folder is there: its collector has failed
  overwritten  what is there belongs to a later capture of the same name
  unrecorded   the archive is there, without a line of the history
  unlisted     the archive is there, and the daemon does not know it: at its start it
               forgets what type folders hold
What a capture took is what its event in the log did; otherwise (~) it is from its start to
its archive's last change, which a copy does not tell. In a copy, ages count back from the
newest record.)";

/** Archives of all tags that the daemon keeps at most, and on user builds. */
constexpr size_t kLimit = 400;
constexpr size_t kUserLimit = 200;

/** The states that are asked for; false, and told, where there is no such state. */
bool readStates(Session& session, std::vector<State>& states) {
    if (!session.options().states) return true;
    const std::vector<std::string> names = zul::split(*session.options().states, ",");
    for (const std::string& name : names) {
        const auto state = stateOf(name);
        if (state) states.push_back(*state);
    }
    if (!names.empty() && states.size() == names.size()) return true;
    session.wrongCall("no such state in --state=" + *session.options().states);
    return false;
}

struct TagSum {
    size_t captures = 0;
    size_t kept = 0;
    uint64_t bytes = 0;
    WallTime newest = 0;
};

/** Prints captures, or sums of them. */
class Lister {
  public:
    explicit Lister(Session& session)
          : mSession(session),
            mTable(session.out(), session.options().byTag ? tagColumns() : columns(), true) {}

    void list(const Device& device, const std::vector<State>& states);
    Status finish();

  private:
    static std::vector<Column> columns() {
        return {{"TIME", "time", 19},
                {"TAG", "tag", 10},
                {"STATE", "state", 11},
                {nullptr, "archive"},
                {"SIZE", "size", 5, true},
                {"TOOK", "took_ms", 8, true},
                {nullptr, "took_from"},
                {nullptr, "recorded"},
                {nullptr, "build"},
                {"NO", nullptr, 2, true},
                {"ABOUT"},
                {nullptr, "type"},
                {nullptr, "subtype"}};
    }
    static std::vector<Column> tagColumns() {
        return {{"TAG", "tag", 12},
                {"CAPTURES", "captures", 8, true},
                {"KEPT", "kept", 6, true},
                {"SIZE", "size", 6, true},
                {"NEWEST", "newest"}};
    }
    void print(const Capture& capture, std::optional<uint64_t> bytes, Captures& captures,
               const zul::RowData* row);
    void printTags(const std::map<std::string, TagSum>& tags);

    Session& mSession;
    Table mTable;
    size_t mCount = 0;
    uint64_t mBytes = 0;
    size_t mUnlisted = 0;
    size_t mLeft = 0;
    uint64_t mFree = 0;
    std::string mRemark;
};

void Lister::list(const Device& device, const std::vector<State>& states) {
    const Options& options = mSession.options();
    Captures captures(mSession, device);
    const Choice choice(options, captures.now());
    TagLibrary library(*device.store);
    std::map<std::string, TagSum> tags;
    size_t kept = 0;
    const size_t most = mCount + options.number.value_or(kAnyNumber - mCount);
    captures.visitAll([&](const Capture& capture) {
        if (mCount == most) return false;
        // Sizes of all of them take longer than a short list may.
        const bool isSurplus = capture.state == State::UNLISTED || capture.state == State::LEFT;
        const bool counts = isSurplus && !options.number;
        const zul::RowData* const row = library.find(std::string(capture.tag));
        const bool taken =
                choice.takes(capture.tag, capture.time) &&
                choice.takesText({capture.name(), capture.build, describe(row)}) &&
                (states.empty() || std::count(states.begin(), states.end(), capture.state));
        const bool isKept = capture.entry != nullptr && capture.entry->hasArchive;
        kept += isKept ? 1 : 0;
        if (!taken && !counts) return true;
        const std::optional<uint64_t> bytes = captures.bytesOf(capture);
        if (counts) (capture.state == State::LEFT ? mLeft : mUnlisted)++;
        if (counts) mFree += bytes.value_or(0);
        if (!taken) return true;
        mCount++;
        mBytes += bytes.value_or(0);
        if (!options.byTag) {
            print(capture, bytes, captures, row);
            return true;
        }
        TagSum& sum = tags[std::string(capture.tag)];
        sum.captures++;
        sum.kept += isKept ? 1 : 0;
        sum.bytes += bytes.value_or(0);
        sum.newest = std::max(sum.newest, capture.time);
        return true;
    });
    const size_t limit = isOfUserBuild(*device.store) ? kUserLimit : kLimit;
    if (options.byTag) printTags(tags);
    if (options.byTag && kept > limit) {
        mRemark += "; " + std::to_string(kept) + " archives are more than the " +
                   std::to_string(limit) + " that the daemon keeps";
    }
}

void Lister::print(const Capture& capture, std::optional<uint64_t> bytes, Captures& captures,
                   const zul::RowData* row) {
    const Took took = captures.tookOf(capture);
    const std::string_view name = capture.name();
    mTable.row({formatWallTime(capture.time), capture.tag, nameOf(capture.state), capture.archive,
                bytes ? Cell::size(*bytes) : Cell::none(), took.cell(), took.from(),
                Cell::yesNo(capture.recorded),
                capture.recorded ? Cell(capture.build) : Cell::none(),
                name.substr(name.rfind('_') + 1), describe(row),
                row != nullptr ? Cell(row->eventType) : Cell::none(),
                row != nullptr ? Cell(row->eventSubType) : Cell::none()});
}

void Lister::printTags(const std::map<std::string, TagSum>& tags) {
    std::vector<std::pair<std::string, TagSum>> rows(tags.begin(), tags.end());
    std::stable_sort(rows.begin(), rows.end(),
                     [](const auto& a, const auto& b) { return a.second.bytes > b.second.bytes; });
    for (const auto& [tag, sum] : rows) {
        mTable.row({tag, Cell::number(static_cast<int64_t>(sum.captures)),
                    Cell::number(static_cast<int64_t>(sum.kept)), Cell::size(sum.bytes),
                    formatWallTime(sum.newest)});
    }
}

Status Lister::finish() {
    mTable.finish();
    std::string total = counted(mCount, "capture") + ", " + humanSize(mBytes) + " on disk";
    if (mLeft + mUnlisted > 0) {
        total += "; clean could free " + counted(mUnlisted, "archive") + " and " +
                 counted(mLeft, "folder") + ", " + humanSize(mFree);
    }
    mSession.out().legend(total + mRemark);
    return mCount > 0 ? Status::FINE : Status::NOTHING;
}

Status runList(Session& session) {
    std::vector<State> states;
    const std::string wrong = Choice::complaintOn(session.options());
    if (!wrong.empty()) return session.wrongCall(wrong);
    if (!readStates(session, states)) return Status::WRONG_CALL;
    Lister lister(session);
    session.forEachDevice([&](const Device& device) { lister.list(device, states); });
    return lister.finish();
}

}  // namespace

const Command kListCommand = {"list",
                              "[TAG...]",
                              0,
                              kAnyNumber,
                              "Lists captures, newest first: history and disk together",
                              kDetails,
                              kOptions,
                              true,
                              runList};

}  // namespace zulctl
