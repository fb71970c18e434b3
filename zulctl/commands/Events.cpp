// SPDX-License-Identifier: Apache-2.0

#include <charconv>
#include <map>

#include "zulctl/Session.h"
#include "zulctl/commands/Commands.h"
#include "zulctl/log/LogEvents.h"

namespace zulctl {

namespace {

constexpr Option kOptions[] = {
        {0, "dropped", nullptr, "only those of which nothing was kept"},
};

/** The milliseconds between two points of an event; nothing unless it got that far, by its clock. */
void addSpan(JsonObject& object, const char* name, LogTime start, LogTime end) {
    if (start == Event::kNoTime || end < start) {
        object.addNull(name);
    } else {
        object.add(name, static_cast<int64_t>(end - start));
    }
}

JsonObject toJson(const Event& event) {
    JsonObject object;
    object.add("event", "capture")
            .add("time", formatLogTime(event.start))
            .add("tag", event.tag)
            .add("outcome", outcomeName(event.outcome))
            .add("dropped", isDropped(event.outcome))
            .add("reason", event.reason)
            .add("detail", event.detail)
            .add("mask", event.mask.empty() ? "" : "0x" + event.mask)
            .add("processes", event.processes)
            .add("text", event.text)
            .add("archive", event.archive);
    const bool records = event.historyStart != Event::kNoTime;
    addSpan(object, "took_ms", event.whole ? event.start : Event::kNoTime, event.end);
    addSpan(object, "preparation_ms", event.preparationStart,
            records ? event.historyStart : event.collectorStart);
    addSpan(object, "history_ms", event.historyStart, event.collectorStart);
    addSpan(object, "collector_ms", event.whole ? event.collectorStart : Event::kNoTime, event.end);
    object.add("daemon", static_cast<int64_t>(event.daemon))
            .add("thread", static_cast<int64_t>(event.thread));
    return object;
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

/** Why, or what was made of it. */
std::string resultOf(const Event& event) {
    std::string text = event.reason;
    if (!event.detail.empty()) text += ": " + event.detail;
    if (text.empty()) text = event.archive.substr(event.archive.rfind('/') + 1);
    return text;
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
        std::string text = std::to_string(mCount) + (mCount == 1 ? " event" : " events");
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

Status runEvents(Session& session, const Arguments& arguments) {
    if (!session.options().log) return session.wrongCall("needs --log");
    Output& out = session.out();
    const bool onlyDropped = arguments.has("dropped");
    Table table(out, {{"WHEN", 19},
                      {"TOOK", 8, true},
                      {"OUTCOME", 12},
                      {"TAG", 10},
                      {"PROCESS", 7},
                      {"RESULT", 0}});
    Totals totals;
    const bool all = !onlyDropped && arguments.operands.empty();
    const auto takeLine = [&](const LogLine& line) {
        if (out.json() && all) printTurn(out, line);
    };
    const auto takeEvent = [&](const Event& event) {
        if (onlyDropped && !isDropped(event.outcome)) return;
        if (!arguments.operands.empty() && event.tag != arguments.operands[0]) return;
        totals.add(event);
        if (out.json()) {
            out.print(toJson(event));
        } else {
            table.row({formatLogSecond(event.start), event.whole ? tookOf(event).text() : "",
                       outcomeName(event.outcome), event.tag, event.processes, resultOf(event)});
        }
    };
    readEvents(session, false, takeEvent, takeLine);
    out.legend(totals.text());
    return totals.count() > 0 ? Status::FINE : Status::NOTHING;
}

}  // namespace

const Command kEventsCommand = {
        "events",
        "[TAG]",
        0,
        1,
        "What became of each event of a log, and why",
        "The log is the one that --log names, for instance that of logcat -d -v threadtime.\n"
        "Events come in the order in which they end. A time counts from an event's first line to "
        "its\n"
        "last one.",
        kOptions,
        runEvents};

}  // namespace zulctl
