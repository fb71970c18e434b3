// SPDX-License-Identifier: Apache-2.0

#include <stdlib.h>

#include <deque>
#include <map>

#include "zulctl/commands/Commands.h"
#include "zulctl/store/Captures.h"

namespace zulctl {

namespace {

constexpr Option kOptions[] = {
        kSinceOption,
        kUntilOption,
        kNumberOption,
        kGrepOption,
        {0, "dropped", nullptr, "only those of which nothing was kept", &Options::dropped},
        {'f', "follow", nullptr, "go on with what comes", &Options::follow},
};

constexpr char kHelp[] =
        R"(What became of each event of a log, and why
The log is the one that --log names, for instance that of logcat -d -v threadtime; on a device
it is asked of logcat where none is named. Where the store is at hand, what lies in it tells
whether an event was captured. Events come in the order in which they end. A time counts from
an event's first line to its last one.)";

/** The milliseconds between two points of an event; nothing unless it got that far, by its clock. */
Cell spanOf(LogTime start, LogTime end) {
    return start == Event::kNoTime || end < start ? Cell::none() : Cell::number(end - start);
}

/** Why, or what was made of it. */
std::string resultOf(const Event& event) {
    std::string text = event.reason;
    if (!event.detail.empty()) text += (text.empty() ? "" : ": ") + event.detail;
    if (text.empty()) text = event.archive.substr(event.archive.rfind('/') + 1);
    return text;
}

/** What --json tells besides events of the engine's. */
constexpr std::pair<LineRole, const char*> kTurns[] = {
        {LineRole::DAEMON_START, "daemon-start"},
        {LineRole::ENGINE_GONE, "engine-gone"},
        {LineRole::ENGINE_BACK, "engine-back"},
};

void printTurn(Output& out, const LogLine& line) {
    for (const auto& [role, name] : kTurns) {
        if (role != line.role()) continue;
        JsonObject object;
        object.add("event", name)
                .add("time", formatLogTime(line.time))
                .add("daemon", int64_t{line.process});
        if (role == LineRole::ENGINE_BACK) {
            const int64_t number = strtoll(std::string(line.fields[0]).c_str(), nullptr, 10);
            object.add("thread_number", number);
        }
        out.print(object);
    }
}

/** Prints events, the newest of each device where a number is asked for. */
class EventLister {
  public:
    explicit EventLister(Session& session)
          : mSession(session),
            mTable(session.out(), {{nullptr, "event"},          {"WHEN", "time", 19},
                                   {"TOOK", nullptr, 8, true},  {nullptr, "tag"},
                                   {"OUTCOME", "outcome", 12},  {"TAG", nullptr, 10},
                                   {nullptr, "dropped"},        {nullptr, "reason"},
                                   {nullptr, "detail"},         {nullptr, "mask"},
                                   {"PROCESS", "processes", 7}, {nullptr, "text"},
                                   {nullptr, "archive"},        {nullptr, "took_ms"},
                                   {nullptr, "preparation_ms"}, {nullptr, "history_ms"},
                                   {nullptr, "collector_ms"},   {nullptr, "daemon"},
                                   {nullptr, "thread"},         {"RESULT"}}) {}

    /** False where there is no log. */
    bool list(const Device& device);
    Status finish();

  private:
    void print(const Event& event);
    void printHeld();

    Session& mSession;
    Table mTable;
    /** How often each outcome was there, for each of its reasons where something was dropped. */
    std::map<Outcome, std::map<std::string, size_t>> mCounts;
    std::deque<Event> mHeld;
};

bool EventLister::list(const Device& device) {
    const Options& options = mSession.options();
    std::optional<Captures> captures;
    if (device.store != nullptr) captures.emplace(mSession, device, LogStory());
    const Choice choice(options, captures ? captures->now() : wallTime(time(nullptr)));
    bool holds = options.number.has_value();
    const auto take = [&](Event& event) {
        if (captures) captures->decide(event);
        if (options.dropped && !isDropped(event.outcome)) return;
        if (!choice.takes(event.tag, event.start / 1000,
                          {event.tag, event.text, event.processes, event.archive, event.reason,
                           event.detail})) {
            return;
        }
        if (!holds) return print(event);
        mHeld.push_back(std::move(event));
        if (mHeld.size() > *options.number) mHeld.pop_front();
    };
    LogTaker taker = {.event = take};
    if (mSession.out().json() && choice.takesAll() && !options.dropped && !holds) {
        taker.line = [this](const LogLine& line) { printTurn(mSession.out(), line); };
    }
    if (options.follow) {
        taker.idle = [&] {
            printHeld();
            holds = false;
            return mSession.out().flush();
        };
    }
    const bool hasLog = readEvents(mSession, device, taker);
    printHeld();
    return hasLog;
}

void EventLister::printHeld() {
    for (const Event& event : mHeld)
        print(event);
    mHeld.clear();
}

void EventLister::print(const Event& event) {
    mCounts[event.outcome][isDropped(event.outcome) ? event.reason : ""]++;
    const std::string start = formatLogTime(event.start);
    const int64_t took = event.took();
    const LogTime end = event.whole ? event.end : Event::kNoTime;
    const bool records = event.historyStart != Event::kNoTime;
    mTable.row({"capture",
                {start, start.substr(0, start.find('.'))},
                took < 0 ? "" : formatTook(took),
                event.tag,
                outcomeName(event.outcome),
                event.tag,
                Cell::yesNo(isDropped(event.outcome)),
                event.reason,
                event.detail,
                event.mask.empty() ? "" : "0x" + event.mask,
                event.processes,
                event.text,
                event.archive,
                spanOf(event.start, end),
                spanOf(event.preparationStart, records ? event.historyStart : event.collectorStart),
                spanOf(event.historyStart, event.collectorStart),
                spanOf(event.collectorStart, end),
                Cell::number(event.daemon),
                Cell::number(event.thread),
                resultOf(event)});
}

/** For instance: 4 events: 2 captured, 2 refused (1 no legal tag, 1 other package). */
Status EventLister::finish() {
    size_t total = 0;
    std::string outcomes;
    for (const auto& [outcome, reasons] : mCounts) {
        size_t count = 0;
        std::string told;
        for (const auto& [reason, times] : reasons) {
            count += times;
            told += (told.empty() ? "" : ", ") + std::to_string(times) + " " + reason;
        }
        total += count;
        outcomes += (outcomes.empty() ? ": " : ", ") + std::to_string(count) + " " +
                    outcomeName(outcome) + (isDropped(outcome) ? " (" + told + ")" : "");
    }
    mSession.out().legend(counted(total, "event") + outcomes);
    return total > 0 ? Status::FINE : Status::NOTHING;
}

Status runEvents(Session& session) {
    const Options& options = session.options();
    const std::string wrong = Choice::complaintOn(options);
    if (!wrong.empty()) return session.wrongCall(wrong);
    if (options.follow && options.roots.size() > 1) {
        return session.wrongCall("follows one log alone");
    }
    bool hasLog = false;
    EventLister lister(session);
    session.forEachDevice([&](const Device& device) {
        const bool has = lister.list(device);
        if (!has && !device.name.empty()) session.remark(device.name + ": no log");
        hasLog = has || hasLog;
    });
    if (!hasLog) return session.wrongCall("events needs --log, one for each --root");
    return lister.finish();
}

}  // namespace

const Command kEventsCommand = {"events", "[TAG...]", 0,     kAnyNumber,
                                kHelp,    kOptions,   false, runEvents};

}  // namespace zulctl
