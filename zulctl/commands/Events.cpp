// SPDX-License-Identifier: Apache-2.0

#include <charconv>
#include <deque>
#include <map>

#include "zulctl/commands/Choice.h"
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

constexpr char kDetails[] =
        R"(The log is the one that --log names, for instance that of logcat -d -v threadtime; on a device
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
struct Turn {
    LineRole role;
    const char* name;
};

constexpr Turn kTurns[] = {
        {LineRole::DAEMON_START, "daemon-start"},
        {LineRole::ENGINE_GONE, "engine-gone"},
        {LineRole::ENGINE_BACK, "engine-back"},
};

void printTurn(Output& out, const LogLine& line) {
    for (const Turn& turn : kTurns) {
        if (turn.role != line.role()) continue;
        JsonObject object;
        object.add("event", turn.name)
                .add("time", formatLogTime(line.time))
                .add("daemon", static_cast<int64_t>(line.process));
        if (turn.role == LineRole::ENGINE_BACK) {
            const std::string_view text = line.fields[0];
            int64_t number = 0;
            std::from_chars(text.data(), text.data() + text.size(), number);
            object.add("thread_number", number);
        }
        out.print(object);
    }
}

/** For instance: 4 events: 2 captured, 2 refused (1 no legal tag, 1 other package). */
class Totals {
  public:
    void add(const Event& event) {
        mCount++;
        Outcomes& outcome = mOutcomes[event.outcome];
        outcome.count++;
        if (isDropped(event.outcome)) outcome.reasons[event.reason]++;
    }
    size_t count() const { return mCount; }
    std::string text() const {
        std::string text = counted(mCount, "event");
        const char* separator = ": ";
        for (const auto& [outcome, found] : mOutcomes) {
            text += separator + std::to_string(found.count) + " " + outcomeName(outcome);
            separator = ", ";
            std::string reasons;
            for (const auto& [reason, count] : found.reasons)
                reasons += (reasons.empty() ? "" : ", ") + std::to_string(count) + " " + reason;
            if (!reasons.empty()) text += " (" + reasons + ")";
        }
        return text;
    }

  private:
    struct Outcomes {
        size_t count = 0;
        std::map<std::string, size_t> reasons;
    };
    size_t mCount = 0;
    std::map<Outcome, Outcomes> mOutcomes;
};

/** Prints events, the newest of each device where a number is asked for. */
class EventLister {
  public:
    explicit EventLister(Session& session)
          : mSession(session), mTable(session.out(), {{nullptr, "event"},
                                                      {"WHEN", nullptr, 19},
                                                      {nullptr, "time"},
                                                      {"TOOK", nullptr, 8, true},
                                                      {nullptr, "tag"},
                                                      {"OUTCOME", "outcome", 12},
                                                      {"TAG", nullptr, 10},
                                                      {nullptr, "dropped"},
                                                      {nullptr, "reason"},
                                                      {nullptr, "detail"},
                                                      {nullptr, "mask"},
                                                      {"PROCESS", "processes", 7},
                                                      {nullptr, "text"},
                                                      {nullptr, "archive"},
                                                      {nullptr, "took_ms"},
                                                      {nullptr, "preparation_ms"},
                                                      {nullptr, "history_ms"},
                                                      {nullptr, "collector_ms"},
                                                      {nullptr, "daemon"},
                                                      {nullptr, "thread"},
                                                      {"RESULT"}}) {}

    /** False where there is no log. */
    bool list(const Device& device);
    Status finish();

  private:
    void print(const Event& event);
    void printHeld();

    Session& mSession;
    Table mTable;
    Totals mTotals;
    std::deque<Event> mHeld;
};

bool EventLister::list(const Device& device) {
    const Options& options = mSession.options();
    std::optional<Captures> captures;
    if (device.store != nullptr) captures.emplace(mSession, device, LogStory());
    const Choice choice(options, captures ? captures->now() : wallTimeNow());
    bool holds = options.number.has_value();
    const auto take = [&](Event& event) {
        if (captures) captures->decide(event);
        if (options.dropped && !isDropped(event.outcome)) return;
        if (!choice.takes(event.tag, event.start / 1000)) return;
        if (!choice.takesText({event.tag, event.text, event.processes, event.archive, event.reason,
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
    mTotals.add(event);
    const int64_t took = tookOf(event);
    const LogTime end = event.whole ? event.end : Event::kNoTime;
    const bool records = event.historyStart != Event::kNoTime;
    mTable.row({"capture",
                formatLogSecond(event.start),
                formatLogTime(event.start),
                took < 0 ? "" : Took{took, true}.cell().shown,
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

Status EventLister::finish() {
    mSession.out().legend(mTotals.text());
    return mTotals.count() > 0 ? Status::FINE : Status::NOTHING;
}

Status runEvents(Session& session) {
    const Options& options = session.options();
    const std::string wrong = Choice::complaintOn(options);
    if (!wrong.empty()) return session.wrongCall(wrong);
    if (options.follow && options.roots.size() > 1) {
        return session.wrongCall("follows one log alone");
    }
    bool hasLog = false;
    std::optional<EventLister> lister;
    session.forEachDevice([&](const Device& device) {
        if (!lister) lister.emplace(session);
        const bool has = lister->list(device);
        if (!has && !device.name.empty()) session.remark(device.name + ": no log");
        hasLog = has || hasLog;
    });
    if (!hasLog) return session.wrongCall("events needs --log, one for each --root");
    return lister->finish();
}

}  // namespace

const Command kEventsCommand = {
        "events", "[TAG...]", 0,     kAnyNumber, "What became of each event of a log, and why",
        kDetails, kOptions,   false, runEvents};

}  // namespace zulctl
