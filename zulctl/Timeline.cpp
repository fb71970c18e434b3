// SPDX-License-Identifier: Apache-2.0

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "zulctl/Commands.h"
#include "zulctl/Session.h"
#include "zulctl/Story.h"
#include "zulctl/TraceWriter.h"
#include "zulctl/WrittenFile.h"

namespace zulctl {

namespace {

constexpr Option kOptions[] = {
        {'o', "output", "FILE.json", "the file to write; - is the standard output"},
};

/** The process of captures that no log tells of; no real one has this number. */
constexpr int32_t kStore = 0;

/** A phase of an event: from the first of these times that it has to the next one. */
struct Phase {
    const char* name;
    LogTime Event::*begin;
};
constexpr Phase kPhases[] = {
        {"preparation", &Event::preparationStart},
        {"history", &Event::historyStart},
        {"collector", &Event::collectorStart},
};

class Timeline {
  public:
    explicit Timeline(const Story& story) : mStory(story) {
        for (const CaptureStory& capture : mStory.captures) {
            if (capture.event) mCaptures[*capture.event] = &capture;
        }
    }

    std::string write() {
        for (size_t i = 0; i < mStory.events.size(); i++)
            addEvent(i);
        for (const Turn& turn : mStory.turns) {
            mProcesses.insert(turn.daemon);
            mTrace.addMoment({turn.daemon, turn.daemon}, true, nameOf(turn.kind), "turn", turn.time,
                             JsonObject::ofOtherFormat());
        }
        addCapturesWithoutLog();
        for (const int32_t process : mProcesses)
            mTrace.nameProcess(process, "zuld " + std::to_string(process));
        return mTrace.finish();
    }

  private:
    void addEvent(size_t number) {
        const Event& event = mStory.events[number];
        const TraceRow row = {event.daemon, event.thread};
        mProcesses.insert(event.daemon);
        const auto [last, isNew] = mEnds.try_emplace(row, INT64_MIN);
        if (isNew) mTrace.nameRow(row, "callback thread " + std::to_string(event.thread));

        const auto capture = mCaptures.find(number);
        const JsonObject details =
                detailsOf(event, capture != mCaptures.end() ? capture->second : nullptr);
        const char* const category = outcomeName(event.outcome);
        // The clock was set back: as a stretch it would lie across another one.
        if (event.start < last->second || event.end < event.start) {
            mTrace.addMoment(row, false, event.tag, category, event.start, details);
            return;
        }
        last->second = event.end;
        mTrace.addSlice(row, event.tag, category, {event.start, event.end}, details);
        addPhases(event, row);
    }

    void addPhases(const Event& event, TraceRow row) {
        LogTime end = event.end;
        std::vector<std::pair<const char*, TimeSpan>> phases;
        for (size_t i = std::size(kPhases); i-- > 0;) {
            const LogTime begin = event.*kPhases[i].begin;
            if (begin == Event::kNoTime || begin < event.start || begin > end) continue;
            phases.emplace_back(kPhases[i].name, TimeSpan{begin, end});
            end = begin;
        }
        for (auto phase = phases.rbegin(); phase != phases.rend(); ++phase) {
            mTrace.addSlice(row, phase->first, "phase", phase->second, JsonObject::ofOtherFormat());
        }
    }

    static JsonObject detailsOf(const Event& event, const CaptureStory* capture) {
        JsonObject details = JsonObject::ofOtherFormat();
        details.add("outcome", outcomeName(event.outcome));
        if (event.reason[0] != '\0') details.add("reason", event.reason);
        if (!event.detail.empty()) details.add("detail", event.detail);
        if (!event.mask.empty()) details.add("mask", "0x" + event.mask);
        if (!event.processes.empty()) details.add("processes", event.processes);
        if (!event.archive.empty()) details.add("archive", event.archive);
        if (capture != nullptr) addState(*capture, details);
        return details;
    }

    static void addState(const CaptureStory& capture, JsonObject& details) {
        details.add("state", nameOf(capture.state));
        if (capture.use.known) details.add("size", static_cast<int64_t>(capture.use.bytes));
    }

    /** Each in the first row that is free then. */
    void addCapturesWithoutLog() {
        std::vector<const CaptureStory*> rest;
        for (const CaptureStory& capture : mStory.captures)
            if (!capture.event) rest.push_back(&capture);
        std::stable_sort(rest.begin(), rest.end(),
                         [](const auto* a, const auto* b) { return a->start < b->start; });
        std::vector<LogTime> ends;
        for (const CaptureStory* capture : rest) {
            const auto free = std::find_if(ends.begin(), ends.end(), [capture](LogTime end) {
                return end <= capture->start;
            });
            const auto lane = static_cast<int32_t>(free - ends.begin());
            const LogTime end = capture->start + std::max<int64_t>(capture->took.milliseconds, 0);
            if (free == ends.end()) {
                ends.push_back(end);
            } else {
                *free = end;
            }
            JsonObject details = JsonObject::ofOtherFormat();
            addState(*capture, details);
            mTrace.addSlice({kStore, lane}, capture->tag, "capture", {capture->start, end},
                            details.add("name", capture->name));
        }
        if (!rest.empty()) mTrace.nameProcess(kStore, "store, without a log");
    }

    const Story& mStory;
    TraceWriter mTrace;
    std::map<size_t, const CaptureStory*> mCaptures;
    /** Where the last stretch of each row ends. */
    std::map<TraceRow, LogTime> mEnds;
    std::set<int32_t> mProcesses;
};

Status runTimeline(Session& session, const Arguments& arguments) {
    const std::string* name = arguments.value("output");
    if (name == nullptr) return session.wrongCall("needs -o FILE.json");
    const Store* store = session.store();
    if (store == nullptr) return Status::PARTLY;
    const Story story = tellStory(session, *store);
    return writeWhole(session, *name, Timeline(story).write()) ? Status::FINE : Status::PARTLY;
}

}  // namespace

const Command kTimelineCommand = {
        "timeline",
        "",
        0,
        0,
        "Writes the captures for a trace viewer",
        "The file is of the trace-event format: with --log a row for each thread that "
        "events came in on,\n"
        "with the phases of each capture; other captures stand in rows of the store.",
        kOptions,
        runTimeline};

}  // namespace zulctl
