// SPDX-License-Identifier: Apache-2.0

#include "zulctl/log/Events.h"

#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <iterator>

#include "base/Paths.h"
#include "base/Text.h"
#include "rules/HistoryRecord.h"
#include "rules/SceneTypes.h"

namespace zulctl {

namespace {

using Role = LineRole;

struct OutcomeRow {
    const char* name;
    /** Why, where no line tells it. */
    const char* reason = "";
    bool dropped = false;
};

constexpr bool kDropped = true;

constexpr size_t kMostDetail = 200;

/** In the order of Outcome. */
constexpr OutcomeRow kOutcomes[] = {
        {"unknown", "lines are missing"},
        {"captured"},
        {"collected"},
        {"failed", "collector made no archive", kDropped},
        {"passed", "no debug lines tell more"},
        {"updated"},
        {"marked"},
        {"under-way"},
        {"refused", "", kDropped},
        {"no-folder", "", kDropped},
        {"no-collector", "", kDropped},
        {"killed", "collector did not end by itself", kDropped},
        {"interrupted", "daemon started anew", kDropped},
};

const OutcomeRow& rowOf(Outcome outcome) {
    return kOutcomes[static_cast<size_t>(outcome)];
}

/** By the letters of a pattern's fields. */
constexpr std::pair<char, std::string Event::*> kTexts[] = {
        {'t', &Event::tag},  {'m', &Event::mask},   {'p', &Event::processes},
        {'x', &Event::text}, {'f', &Event::folder}, {'d', &Event::detail},
};

bool tellsTag(const LogLine& line) {
    return line.pattern != nullptr && zul::contains(line.pattern->fields, "t");
}

/** True when the collector that tells its mask and process may be this event's. */
bool fits(const LogLine& line, const Event& event) {
    const std::string mask(line.fields[0]);
    const std::string_view process = line.fields[1];
    return strtoull(mask.c_str(), nullptr, 10) == strtoull(event.mask.c_str(), nullptr, 16) &&
           (process == "0" || process == event.processes);
}

/** Takes what a line tells of an event. */
void describe(const LogLine& line, Event& event) {
    const LogPattern& pattern = *line.pattern;
    const LineFields& fields = line.fields;
    // The first line goes into detail, those behind it say what comes of that.
    const bool isReason = event.reason[0] == '\0' && pattern.reason[0] != '\0';
    if (isReason) event.reason = pattern.reason;
    if (pattern.outcome != Outcome::UNKNOWN) event.outcome = pattern.outcome;
    const Role role = pattern.role;
    // A line that tells a tag's length knows where it ends.
    const bool isTag = event.tag.empty() || role == Role::DESCRIBED;
    for (size_t i = 0; i < pattern.fields.size(); i++) {
        for (const auto& [letter, text] : kTexts) {
            const bool counts = letter == 'd' ? isReason : letter != 't' || isTag;
            if (letter == pattern.fields[i] && counts) event.*text = fields[i];
        }
    }
    if (role == Role::PREPARE) event.preparationStart = line.time;
    if (role == Role::RECORD) event.historyStart = line.time;
    if (role == Role::COLLECTOR) event.collectorStart = line.time;
    if (role == Role::FOLDER) event.archive = event.folder + zul::kArchiveSuffix;
    if (role == Role::RECORD) event.archive = zul::parseRecord(fields[0]).archive;
    if (role == Role::WITHOUT_FOLDER) event.folder = event.archive = "";
    // Which tags were pushed is all that fits a line.
    if (role == Role::CONFIG_ITEM && fields[0] == "tag" && event.detail.size() < kMostDetail) {
        event.detail.append(event.detail.empty() ? "" : ", ").append(fields[1]);
    }
}

}  // namespace

const char* outcomeName(Outcome outcome) {
    return rowOf(outcome).name;
}

const char* reasonOf(Outcome outcome) {
    return rowOf(outcome).reason;
}

bool isDropped(Outcome outcome) {
    return rowOf(outcome).dropped;
}

void Events::add(const LogLine& line) {
    const Role role = line.role();
    if (role == Role::DAEMON_START) return startDaemon(line);
    if (role == Role::CHILD || role == Role::NOT_EXECUTED) return addOfCollector(line);
    if (line.pattern != nullptr && line.pattern->isDump()) {
        if (mDumping.size() >= kMostOpen) mDumping.clear();
        mDumping.insert(line.process);
    }
    role == Role::ERASED ? addOfArchive(line) : addOfDaemon(line);
}

void Events::finish() {
    while (!mOpen.empty())
        conclude(mOpen.begin(), Why::SILENCE);
}

void Events::startDaemon(const LogLine& line) {
    // Anybody can write such a line: events of another process end only when they stay silent.
    for (auto open = mOpen.begin(); open != mOpen.end();) {
        const auto next = std::next(open);
        open->second.outlived = true;
        if (open->first.first == line.process) conclude(open, Why::SILENCE);
        open = next;
    }
    mDumping.erase(line.process);
}

void Events::addOfCollector(const LogLine& line) {
    Open* const open = findWaiting(line);
    if (open == nullptr) return;
    Event& event = open->event;
    event.collector = line.process;
    keep(line, event);
    if (line.role() != Role::NOT_EXECUTED || event.outcome != Outcome::UNKNOWN) return;
    event.outcome = line.pattern->outcome;
    event.reason = line.pattern->reason;
    event.detail = strerror(atoi(std::string(line.fields[1]).c_str()));
}

/** What can be pruned was there, whatever became of the daemon that waited for it. */
void Events::addOfArchive(const LogLine& line) {
    for (auto& [thread, open] : mOpen) {
        if (open.outlived && open.event.archive == line.fields[0]) {
            open.event.outcome = Outcome::CAPTURED;
            open.event.reason = kGone;
        }
    }
}

Events::Open* Events::findWaiting(const LogLine& line) {
    std::vector<Open*> waiting;
    Open* fitting = nullptr;
    for (auto& [thread, open] : mOpen) {
        const Event& event = open.event;
        if (event.collector == line.process) return &open;
        // Without debug lines nothing tells how far an event is.
        const bool waits = event.collectorStart != Event::kNoTime ||
                           (open.described && mDumping.count(event.daemon) == 0);
        if (!waits || event.collector != 0) continue;
        waiting.push_back(&open);
        const bool isEarlier =
                fitting == nullptr || event.collectorStart < fitting->event.collectorStart;
        if (line.role() == Role::CHILD && fits(line, event) && isEarlier) fitting = &open;
    }
    return fitting == nullptr && waiting.size() == 1 ? waiting[0] : fitting;
}

bool Events::beginsAnother(const LogLine& line, const Open* open) {
    const Role role = line.role();
    if (role == Role::LOOK_UP || role == Role::BEGIN) return true;
    const bool prepared = open != nullptr && open->event.preparationStart != Event::kNoTime;
    // For events that the engine describes these lines come before the one that tells the tag.
    if (role == Role::VENDOR_DATABASE) {
        if (open == nullptr || prepared) return true;
        return !open->nameless && !zul::contains(open->event.text, zul::kVendorDatabases);
    }
    if (open == nullptr) return tellsTag(line);
    if (role != Role::ILLEGAL_TAG && role != Role::PREPARE) return false;
    return prepared || open->event.tag != line.fields[0];
}

void Events::addOfDaemon(const LogLine& line) {
    const Role role = line.role();
    const std::pair key(line.process, line.thread);
    auto found = mOpen.find(key);
    if (beginsAnother(line, found != mOpen.end() ? &found->second : nullptr)) {
        if (found != mOpen.end()) conclude(found, Why::NEXT_EVENT);
        if (mOpen.size() >= kMostOpen) {
            const auto isEarlier = [](const auto& a, const auto& b) {
                return a.second.event.end < b.second.event.end;
            };
            conclude(std::min_element(mOpen.begin(), mOpen.end(), isEarlier), Why::SILENCE);
        }
        found = mOpen.try_emplace(key).first;
        found->second.begun = role == Role::LOOK_UP || role == Role::BEGIN;
        found->second.nameless = role == Role::VENDOR_DATABASE;
        found->second.event.daemon = line.process;
        found->second.event.thread = line.thread;
        found->second.event.start = line.time;
    }
    if (found == mOpen.end()) return;

    Open& open = found->second;
    Event& event = open.event;
    open.outlived = false;
    open.described = open.described || role == Role::BEGIN || role == Role::DESCRIPTION;
    event.end = line.time;
    keep(line, event);
    if (line.pattern == nullptr) return;
    describe(line, event);
    if (role == Role::RECORD) {
        // Which of those with one archive ends last tells nothing of what lies there.
        int captures = 0;
        for (auto& [thread, other] : mOpen) {
            const bool isRecorded = other.event.historyStart != Event::kNoTime;
            if (isRecorded && other.event.archive == event.archive) {
                captures += std::exchange(other.event.captures, 0);
            }
        }
        event.captures = captures;
    }
    const Outcome outcome = line.pattern->outcome;
    if (outcome == Outcome::REFUSED || outcome == Outcome::NO_COLLECTOR ||
        (role == Role::END && event.collectorStart != Event::kNoTime)) {
        conclude(found, Why::END);
    }
}

void Events::conclude(OpenEvents::iterator open, Why why) {
    Event& event = open->second.event;
    // A clock that was set back meanwhile leaves no time that anything took.
    event.whole = open->second.begun && why == Why::END && event.end >= event.start;
    if (event.outcome == Outcome::UNKNOWN) {
        event.outcome = judge(open->second, why);
        if (event.reason[0] == '\0') event.reason = reasonOf(event.outcome);
    }
    mTaker(event);
    mOpen.erase(open);
}

Outcome Events::judge(const Open& open, Why why) const {
    const Event& event = open.event;
    const bool captures = event.preparationStart != Event::kNoTime;
    const bool collects = event.collectorStart != Event::kNoTime;
    const bool marks = !captures && zul::isSpecialSceneType(event.tag);
    if (why == Why::END) return marks ? Outcome::MARKED : Outcome::COLLECTED;
    if (open.described && !captures && !collects) {
        if (event.tag == zul::kConfigUpdate) return Outcome::UPDATED;
        if (mDumping.count(event.daemon) == 0) return Outcome::PASSED;
        if (marks) return Outcome::MARKED;
    }
    if (open.outlived) return Outcome::INTERRUPTED;
    if (why == Why::SILENCE) return Outcome::UNDER_WAY;
    // Of a collector that was started there is a line, unless lines are missing.
    return collects && event.collector != 0 ? Outcome::KILLED : Outcome::UNKNOWN;
}

void Events::keep(const LogLine& line, Event& event) const {
    if (mKeepLines && event.lines.size() < kMostLines) event.lines.emplace_back(line.raw);
}

}  // namespace zulctl
