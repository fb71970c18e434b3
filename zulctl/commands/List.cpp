// SPDX-License-Identifier: Apache-2.0

#include <algorithm>
#include <optional>
#include <unordered_map>

#include "base/Text.h"
#include "zulctl/commands/Commands.h"
#include "zulctl/log/LogEvents.h"
#include "zulctl/store/Captures.h"
#include "zulctl/store/TagLibrary.h"

namespace zulctl {

namespace {

constexpr Option kOptions[] = {
        {'S', "since", "SINCE", "not before this time: an age (90s 15m 12h 30d 2w) or a date"},
        {'U', "until", "UNTIL", "not after this time: 2025-03-04, '2025-03-04 05:06[:07]'"},
        {'n', "number", "N", "the newest N"},
        {0, "state", "S,..", "in one of these states"},
};

constexpr char kDetails[] =
        "States:\n"
        "  present      the archive is there\n"
        "  missing      neither archive nor folder are: pruned, or never made\n"
        "  running      a process has the folder as its argument 0\n"
        "  left         the folder is there without an archive: the collector has failed\n"
        "  overwritten  what is there belongs to a later capture of the same name\n"
        "  unrecorded   the archive is there, without a line of the history\n"
        "  unlisted     the archive is one of more than its tag may keep, so that the daemon "
        "cannot\n"
        "               have it on its list: it forgets what type folders hold when it starts\n"
        "What a capture took is what its event in the log of --log did; otherwise (~) it is from "
        "its\n"
        "start to its archive's last change.\n"
        "In a copy (--root), ages count back from the newest record. A date alone is its midnight.";

/** What was asked for. */
struct Filter {
    std::vector<std::string> tags;
    std::vector<State> states;
    std::optional<WallTime> since;
    std::optional<WallTime> until;
    size_t number = kAnyNumber;

    bool passes(const Capture& capture) const {
        return (tags.empty() || std::find(tags.begin(), tags.end(), capture.tag) != tags.end()) &&
               (states.empty() ||
                std::find(states.begin(), states.end(), capture.state) != states.end()) &&
               (!since || capture.time >= *since) && (!until || capture.time <= *until);
    }
};

std::optional<size_t> parseNumber(const std::string& text) {
    if (text.empty() || text.size() > 9) return std::nullopt;
    if (text.find_first_not_of("0123456789") != std::string::npos) return std::nullopt;
    return static_cast<size_t>(std::stoul(text));
}

/** Empty, or what is wrong with the options. */
std::string readFilter(const Arguments& arguments, Captures& captures, Filter& filter) {
    filter.tags = arguments.operands;
    for (auto [name, time] : {std::pair("since", &filter.since), {"until", &filter.until}}) {
        const std::string* text = arguments.value(name);
        if (text == nullptr) continue;
        *time = parseWhen(*text, captures.now());
        if (!*time) return std::string("no time for --") + name + ": " + *text;
    }
    if (const std::string* text = arguments.value("number")) {
        const auto number = parseNumber(*text);
        if (!number) return "no number for --number: " + *text;
        filter.number = *number;
    }
    if (const std::string* text = arguments.value("state")) {
        const std::vector<std::string> names = zul::split(*text, ",");
        if (names.empty()) return "no state: ";
        for (const std::string& name : names) {
            const auto state = stateOf(name);
            if (!state) return "no state: " + name;
            filter.states.push_back(*state);
        }
    }
    return "";
}

/** Prints captures, one a line. */
class Printer {
  public:
    Printer(Session& session, const Store& store, Captures& captures)
          : mSession(session), mStore(store), mCaptures(captures) {
        readEvents(session, false, [this](const Event& event) {
            if (event.whole && !event.archive.empty()) {
                mLogged[event.archive] = tookOf(event);
            }
        });
        if (session.out().json()) return;
        mTable.emplace(session.out(), std::initializer_list<Table::Column>{
                                              {"TIME", 19},
                                              {"TAG", 10},
                                              {"STATE", 11},
                                              {"SIZE", 5, true},
                                              {"TOOK", 8, true},
                                              {"ABOUT", 20},
                                              {"NAME", 0},
                                      });
    }

    void print(const Capture& capture) {
        const DiskUse use = mCaptures.useOf(capture.entry);
        const Took took = tookBy(capture, use);
        const zul::RowData* row =
                mStore.isCopy() ? nullptr : mLibrary.find(std::string(capture.tag));
        mCount++;
        mBytes += use.bytes;
        if (mTable) {
            mTable->row({formatWallTime(capture.time), std::string(capture.tag),
                         std::string(nameOf(capture.state)), use.known ? humanSize(use.bytes) : "-",
                         took.text(), row != nullptr ? describe(row) : "-",
                         std::string(capture.name())});
        } else {
            printJson(capture, use, took, row);
        }
    }

    size_t count() const { return mCount; }
    uint64_t bytes() const { return mBytes; }

  private:
    Took tookBy(const Capture& capture, const DiskUse& use) const {
        const auto logged = capture.state != State::OVERWRITTEN
                                    ? mLogged.find(std::string(capture.archive))
                                    : mLogged.end();
        return logged != mLogged.end() ? logged->second : use.took;
    }

    void printJson(const Capture& capture, const DiskUse& use, const Took& took,
                   const zul::RowData* row) {
        JsonObject object;
        object.add("time", formatWallTime(capture.time)).add("tag", capture.tag);
        object.add("state", nameOf(capture.state)).add("archive", capture.archive);
        use.known ? object.add("size", static_cast<int64_t>(use.bytes)) : object.addNull("size");
        if (took.isKnown()) {
            object.add("took_ms", took.milliseconds)
                    .add("took_from", took.fromLog ? "log" : "file");
        } else {
            object.addNull("took_ms").addNull("took_from");
        }
        object.add("recorded", capture.recorded);
        capture.recorded ? object.add("build", capture.build) : object.addNull("build");
        row != nullptr ? object.add("type", row->eventType) : object.addNull("type");
        row != nullptr ? object.add("subtype", row->eventSubType) : object.addNull("subtype");
        mSession.out().print(object);
    }

    Session& mSession;
    const Store& mStore;
    Captures& mCaptures;
    TagLibrary mLibrary;
    /** By archive. */
    std::unordered_map<std::string, Took> mLogged;
    std::optional<Table> mTable;
    size_t mCount = 0;
    uint64_t mBytes = 0;
};

Status runList(Session& session, const Arguments& arguments) {
    const Store* store = session.store();
    if (store == nullptr) return Status::PARTLY;
    Captures captures(session, *store);
    Filter filter;
    const std::string wrong = readFilter(arguments, captures, filter);
    if (!wrong.empty()) return session.wrongCall(wrong);

    Printer printer(session, *store, captures);
    captures.visitAll([&](const Capture& capture) {
        if (printer.count() < filter.number && filter.passes(capture)) printer.print(capture);
        return printer.count() < filter.number;
    });
    // Sizes of all of them take longer than a short list may.
    const Surplus surplus = captures.surplus(filter.number == kAnyNumber);
    std::string total = counted(printer.count(), "capture") + ", " + humanSize(printer.bytes()) +
                        " on disk; clean could free " + counted(surplus.archives, "archive") +
                        " and " + counted(surplus.folders, "folder");
    if (surplus.bytes) total += ", " + humanSize(*surplus.bytes);
    session.out().legend(total);
    return printer.count() > 0 ? Status::FINE : Status::NOTHING;
}

}  // namespace

const Command kListCommand = {"list",
                              "[TAG...]",
                              0,
                              kAnyNumber,
                              "Lists captures, newest first: history and disk together",
                              kDetails,
                              kOptions,
                              runList};

}  // namespace zulctl
