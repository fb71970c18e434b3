// SPDX-License-Identifier: Apache-2.0

#include <algorithm>
#include <map>

#include "base/Text.h"
#include "zulctl/commands/Commands.h"
#include "zulctl/store/Captures.h"
#include "zulctl/store/Rules.h"

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

constexpr char kHelp[] =
        R"(Lists captures, newest first: history and disk together
States:
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

struct Sum {
    size_t captures = 0;
    size_t kept = 0;
    uint64_t bytes = 0;
    WallTime newest = 0;

    void add(const Capture& capture, uint64_t size) {
        captures++;
        kept += isKept(capture) ? 1 : 0;
        bytes += size;
        newest = std::max(newest, capture.time);
    }
    static bool isKept(const Capture& capture) {
        return capture.entry != nullptr && capture.entry->hasArchive;
    }
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
    void printTags(const std::map<std::string, Sum>& tags);

    Session& mSession;
    Table mTable;
    Sum mTotal;
    Sum mUnlisted;
    Sum mLeft;
    std::string mRemark;
};

void Lister::list(const Device& device, const std::vector<State>& states) {
    const Options& options = mSession.options();
    Captures captures(mSession, device, readStory(mSession, device));
    const Choice choice(options, captures.now());
    TagLibrary library(*device.store);
    std::map<std::string, Sum> tags;
    size_t kept = 0;
    const size_t most = mTotal.captures + options.number.value_or(kAnyNumber - mTotal.captures);
    captures.visitAll([&](const Capture& capture) {
        if (mTotal.captures == most) return false;
        // Sizes of all of them take longer than a short list may.
        const bool isSurplus = capture.state == State::UNLISTED || capture.state == State::LEFT;
        const bool counts = isSurplus && !options.number;
        const zul::RowData* const row = library.find(capture.tag);
        const bool taken =
                choice.takes(capture.tag, capture.time,
                             {capture.name(), capture.build, describe(row)}) &&
                (states.empty() || std::count(states.begin(), states.end(), capture.state));
        kept += Sum::isKept(capture) ? 1 : 0;
        if (!taken && !counts) return true;
        const std::optional<uint64_t> bytes = captures.bytesOf(capture);
        const uint64_t size = bytes.value_or(0);
        if (counts) (capture.state == State::LEFT ? mLeft : mUnlisted).add(capture, size);
        if (!taken) return true;
        mTotal.add(capture, size);
        if (options.byTag) {
            tags[capture.tag].add(capture, size);
        } else {
            print(capture, bytes, captures, row);
        }
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
                bytes ? Cell::size(*bytes) : Cell::none(), took.time, took.from,
                Cell::yesNo(capture.recorded),
                capture.recorded ? Cell(capture.build) : Cell::none(),
                name.substr(name.rfind('_') + 1), describe(row),
                row != nullptr ? Cell(row->eventType) : Cell::none(),
                row != nullptr ? Cell(row->eventSubType) : Cell::none()});
}

void Lister::printTags(const std::map<std::string, Sum>& tags) {
    std::vector<std::pair<std::string, Sum>> rows(tags.begin(), tags.end());
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
    std::string total =
            counted(mTotal.captures, "capture") + ", " + humanSize(mTotal.bytes) + " on disk";
    if (mLeft.captures + mUnlisted.captures > 0) {
        total += "; clean could free " + counted(mUnlisted.captures, "archive") + " and " +
                 counted(mLeft.captures, "folder") + ", " +
                 humanSize(mLeft.bytes + mUnlisted.bytes);
    }
    mSession.out().legend(total + mRemark);
    return mTotal.captures > 0 ? Status::FINE : Status::NOTHING;
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

const Command kListCommand = {"list", "[TAG...]", 0, kAnyNumber, kHelp, kOptions, true, runList};

}  // namespace zulctl
