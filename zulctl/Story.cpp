// SPDX-License-Identifier: Apache-2.0

#include "zulctl/Story.h"

#include <algorithm>
#include <iterator>
#include <numeric>
#include <unordered_map>

#include "zulctl/LogEvents.h"

namespace zulctl {

namespace {

constexpr int64_t kMillisecondsPerSecond = 1000;

struct TurnRow {
    LineRole role;
    Turn::Kind kind;
    const char* name;
};

constexpr TurnRow kTurns[] = {
        {LineRole::DAEMON_START, Turn::Kind::DAEMON_START, "daemon starts"},
        {LineRole::ENGINE_GONE, Turn::Kind::ENGINE_GONE, "engine is gone"},
        {LineRole::ENGINE_BACK, Turn::Kind::ENGINE_BACK, "engine is back"},
};

/** Numbers of events by the archives that they made. */
using EventsByArchive = std::unordered_map<std::string, std::vector<size_t>>;

EventsByArchive readLog(Session& session, Story& story) {
    EventsByArchive byArchive;
    const auto takeEvent = [&](Event& event) {
        event.text = {};
        if (isDropped(event.outcome)) story.drops[event.reason]++;
        if (!event.archive.empty()) byArchive[event.archive].push_back(story.events.size());
        story.events.push_back(std::move(event));
    };
    const auto takeLine = [&story](const LogLine& line) {
        for (const TurnRow& row : kTurns) {
            if (row.role != line.role()) continue;
            story.turns.push_back({row.kind, line.time, line.process});
        }
    };
    story.hasLog = readEvents(session, false, takeEvent, takeLine);
    return byArchive;
}

/** Joins a capture with its event: of several with one name, the last one not taken yet. */
void addEvent(const Story& story, std::vector<size_t>& numbers, CaptureStory& capture) {
    const Event& event = story.events[numbers.back()];
    capture.event = numbers.back();
    numbers.pop_back();
    if (!isInWrongYear(event)) capture.start = event.start;
    if (event.whole) capture.took = tookOf(event);
}

}  // namespace

const char* nameOf(Turn::Kind kind) {
    return kTurns[static_cast<size_t>(kind)].name;
}

Story tellStory(Session& session, const Store& store) {
    Story story;
    EventsByArchive events = readLog(session, story);
    Captures captures(session, store);
    captures.visitAll([&](const Capture& capture) {
        if (story.captures.size() == kMostCaptures) {
            story.moreCaptures++;
            return true;
        }
        const DiskUse use = captures.useOf(capture.entry);
        CaptureStory told = {.tag = std::string(capture.tag),
                             .name = std::string(capture.name()),
                             .state = capture.state,
                             .use = use,
                             .start = capture.time * kMillisecondsPerSecond,
                             .took = use.took,
                             .event = {}};
        const auto found = events.find(std::string(capture.archive));
        if (found != events.end() && !found->second.empty()) addEvent(story, found->second, told);
        story.captures.push_back(std::move(told));
        return true;
    });
    story.surplus = captures.surplus(true);
    story.now = captures.now();
    return story;
}

std::string reasonOf(const Event& event) {
    std::string text = outcomeName(event.outcome);
    if (event.reason[0] != '\0') text.append(": ").append(event.reason);
    if (!event.detail.empty()) text.append(": ").append(event.detail);
    return text;
}

std::string reasonOf(const Story& story, const CaptureStory& capture) {
    if (!capture.event) return "";
    const Event& event = story.events[*capture.event];
    return isDropped(event.outcome) ? reasonOf(event) : "";
}

int64_t medianOf(std::vector<int64_t>& times) {
    const auto middle = times.begin() + static_cast<ptrdiff_t>(times.size() / 2);
    std::nth_element(times.begin(), middle, times.end());
    if (times.size() % 2 == 1) return *middle;
    return std::midpoint(*std::max_element(times.begin(), middle), *middle);
}

}  // namespace zulctl
