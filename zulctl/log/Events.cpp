// SPDX-License-Identifier: Apache-2.0

#include "zulctl/log/Events.h"

#include <string.h>

#include <algorithm>
#include <charconv>
#include <iterator>

#include "base/Paths.h"
#include "base/Text.h"
#include "rules/HistoryRecord.h"
#include "rules/SceneTypes.h"

namespace zulctl {

namespace {

using Role = LineRole;

struct OutcomeName {
    Outcome outcome;
    const char* name;
    /** Why, where no line tells it. */
    const char* reason = "";
    bool dropped = false;
};

constexpr bool kDropped = true;

constexpr size_t kMostDetail = 200;

constexpr OutcomeName kOutcomes[] = {
        {Outcome::UNKNOWN, "unknown", "lines are missing"},
        {Outcome::CAPTURED, "captured"},
        {Outcome::COLLECTED, "collected"},
        {Outcome::FAILED, "failed", "collector made no archive", kDropped},
        {Outcome::PASSED, "passed", "no debug lines tell more"},
        {Outcome::UPDATED, "updated"},
        {Outcome::MARKED, "marked"},
        {Outcome::UNDER_WAY, "under-way"},
        {Outcome::REFUSED, "refused", "", kDropped},
        {Outcome::NO_FOLDER, "no-folder", "", kDropped},
        {Outcome::NO_COLLECTOR, "no-collector", "", kDropped},
        {Outcome::KILLED, "killed", "collector did not end by itself", kDropped},
        {Outcome::INTERRUPTED, "interrupted", "daemon started anew", kDropped},
};

const OutcomeName& nameOf(Outcome outcome) {
    return *std::find_if(std::begin(kOutcomes), std::end(kOutcomes),
                         [outcome](const OutcomeName& row) { return row.outcome == outcome; });
}

/** What a line says of an event that has gone wrong. */
struct Failure {
    Role role;
    /** UNKNOWN: another line decides it. */
    Outcome outcome;
    const char* reason;
    /** The field that tells more; -1 for none. */
    int detail;
    /** Nothing more comes of the event. */
    bool last;
};

constexpr Failure kFailures[] = {
        {Role::LIBRARY_MISSING, Outcome::UNKNOWN, "no tag library", -1, false},
        {Role::FUNCTION_MISSING, Outcome::UNKNOWN, "tag library without getRowByKey", -1, false},
        {Role::NOT_IN_LIBRARY, Outcome::UNKNOWN, "unknown to the tag library", -1, false},
        {Role::NOT_DESCRIBED, Outcome::REFUSED, "unknown to the tag library", -1, true},
        {Role::COPY_MISSING, Outcome::UNKNOWN, "vendor database not copied", 0, false},
        {Role::VENDOR_REFUSAL, Outcome::REFUSED, "vendor database not copied", 0, true},
        {Role::ILLEGAL_TAG, Outcome::REFUSED, "no legal tag", -1, true},
        {Role::OTHER_PACKAGE, Outcome::REFUSED, "other package", 0, true},
        {Role::UNKNOWN_SCENE, Outcome::REFUSED, "unknown trace scene", 0, true},
        {Role::CONFIG_NOT_STORED, Outcome::UPDATED, "until the next start: not stored", -1, false},
        {Role::NO_FOLDER_NAME, Outcome::UNKNOWN, "tag makes no folder name", -1, false},
        {Role::NAME_TOO_LONG, Outcome::UNKNOWN, "tag too long", -1, false},
        {Role::FOLDER_DENIED, Outcome::UNKNOWN, "folder cannot be made", 1, false},
        {Role::NO_FOLDER, Outcome::NO_FOLDER, "no folder", -1, false},
        {Role::NO_RECORD, Outcome::UNKNOWN, "no line in the history", -1, false},
        {Role::NO_CHILD, Outcome::NO_COLLECTOR, "no process for the collector", -1, true},
};

/** Of the digits at the start of `text`; 0 when they are none or do not fit. */
int64_t toNumber(std::string_view text, int base) {
    int64_t number = 0;
    uint64_t bits = 0;
    const char* const end = text.data() + text.size();
    if (base == 10) {
        std::from_chars(text.data(), end, number);
        return number;
    }
    std::from_chars(text.data(), end, bits, base);
    return static_cast<int64_t>(bits);
}

/** True when the collector that tells its mask and process may be this event's. */
bool fits(const LogLine& line, const Event& event) {
    const std::string_view process = line.fields[1];
    return toNumber(line.fields[0], 10) == toNumber(event.mask, 16) &&
           (process == "0" || process == event.processes);
}

bool isVendorLine(Role role) {
    return role == Role::COPY_MISSING || role == Role::VENDOR_REFUSAL;
}

/** The field that names the event's tag in lines which tell it; -1 for all others. */
int tagField(Role role) {
    switch (role) {
        case Role::LOOK_UP:
        case Role::DESCRIBED:
        case Role::BEGIN:
        case Role::PREPARE:
        case Role::ILLEGAL_TAG:
            return 0;
        case Role::NOT_DESCRIBED:
        case Role::DESCRIPTION:
            return 1;
        default:
            return -1;
    }
}

void note(const Failure& failure, const LogLine& line, Event& event) {
    // The first line goes into detail, those behind it say what comes of that.
    if (event.reason[0] == '\0') {
        event.reason = failure.reason;
        if (failure.detail >= 0) event.detail = line.fields[static_cast<size_t>(failure.detail)];
    }
    if (failure.outcome != Outcome::UNKNOWN) event.outcome = failure.outcome;
}

/** Takes what a line tells besides the outcome. */
void describe(const LogLine& line, Event& event) {
    const LineFields& fields = line.fields;
    switch (line.role()) {
        case Role::DESCRIPTION:
            event.mask = fields[2];
            event.text = fields[4];
            break;
        case Role::BEGIN:
            event.mask = fields[2];
            break;
        case Role::PREPARE:
            event.preparationStart = line.time;
            event.mask = fields[1];
            event.processes = fields[2];
            event.text = fields[4];
            break;
        case Role::FOLDER:
            event.folder = fields[1];
            event.archive = event.folder + zul::kArchiveSuffix;
            break;
        case Role::NO_FOLDER:
            event.folder.clear();
            event.archive.clear();
            break;
        case Role::RECORD:
            event.historyStart = line.time;
            event.archive = zul::parseRecord(fields[0]).archive;
            break;
        case Role::COLLECTOR:
            event.collectorStart = line.time;
            break;
        case Role::CONFIG_ITEM:
            // Which tags were pushed is all that fits a line.
            if (fields[0] == "tag" && event.detail.size() < kMostDetail) {
                event.detail.append(event.detail.empty() ? "" : ", ").append(fields[1]);
            }
            break;
        default:
            break;
    }
}

}  // namespace

const char* outcomeName(Outcome outcome) {
    return nameOf(outcome).name;
}

const char* reasonOf(Outcome outcome) {
    return nameOf(outcome).reason;
}

bool isDropped(Outcome outcome) {
    return nameOf(outcome).dropped;
}

std::vector<Event> Events::add(const LogLine& line) {
    std::vector<Event> ended;
    if (line.pattern != nullptr && line.pattern->dump && line.role() != Role::CHILD) {
        if (mDumping.size() >= kMostOpen) mDumping.clear();
        mDumping.insert(line.process);
    }
    switch (line.role()) {
        case Role::DAEMON_START:
            startDaemon(line, ended);
            break;
        case Role::CHILD:
        case Role::NOT_EXECUTED:
            addOfCollector(line);
            break;
        case Role::ERASED:
            addOfArchive(line);
            break;
        default:
            addOfDaemon(line, ended);
    }
    return ended;
}

std::vector<Event> Events::finish() {
    std::vector<Event> ended;
    while (!mOpen.empty())
        conclude(mOpen.begin(), Why::SILENCE, ended);
    return ended;
}

void Events::startDaemon(const LogLine& line, std::vector<Event>& ended) {
    // Anybody can write such a line: events of another process end only when they stay silent.
    for (auto open = mOpen.begin(); open != mOpen.end();) {
        const auto next = std::next(open);
        open->second.outlived = true;
        if (open->first.first == line.process) conclude(open, Why::SILENCE, ended);
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
    if (line.role() != Role::NOT_EXECUTED) return;
    if (event.outcome != Outcome::UNKNOWN) return;
    event.outcome = Outcome::NO_COLLECTOR;
    event.reason = "collector cannot be executed";
    event.detail = strerror(static_cast<int>(toNumber(line.fields[1], 10)));
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
    Open* first = nullptr;
    Open* fitting = nullptr;
    size_t count = 0;
    for (auto& [thread, open] : mOpen) {
        const Event& event = open.event;
        if (event.collector == line.process) return &open;
        // Without debug lines nothing tells how far an event is.
        const bool waits = event.collectorStart != Event::kNoTime ||
                           (open.described && mDumping.count(event.daemon) == 0);
        if (!waits || event.collector != 0) continue;
        count++;
        first = &open;
        if (line.role() != Role::CHILD || !fits(line, event)) continue;
        if (fitting == nullptr || event.collectorStart < fitting->event.collectorStart) {
            fitting = &open;
        }
    }
    if (fitting != nullptr) return fitting;
    return count == 1 ? first : nullptr;
}

bool Events::beginsAnother(const LogLine& line, const Open* open) {
    const Role role = line.role();
    if (role == Role::LOOK_UP || role == Role::BEGIN) return true;
    const bool prepared = open != nullptr && open->event.preparationStart != Event::kNoTime;
    // For events that the engine describes these lines come before the one that tells the tag.
    if (isVendorLine(role)) {
        if (open == nullptr || prepared) return true;
        return !open->nameless && !zul::contains(open->event.text, zul::kVendorDatabases);
    }
    if (open == nullptr) return tagField(role) >= 0;
    if (role != Role::ILLEGAL_TAG && role != Role::PREPARE) return false;
    return prepared || open->event.tag != line.fields[0];
}

void Events::addOfDaemon(const LogLine& line, std::vector<Event>& ended) {
    const std::pair key(line.process, line.thread);
    auto found = mOpen.find(key);
    if (beginsAnother(line, found != mOpen.end() ? &found->second : nullptr)) {
        if (found != mOpen.end()) conclude(found, Why::NEXT_EVENT, ended);
        if (mOpen.size() >= kMostOpen) giveUpSilent(ended);
        found = mOpen.try_emplace(key).first;
        found->second.begun = line.role() == Role::LOOK_UP || line.role() == Role::BEGIN;
        found->second.nameless = isVendorLine(line.role());
        found->second.event.daemon = line.process;
        found->second.event.thread = line.thread;
        found->second.event.start = line.time;
    }
    if (found == mOpen.end()) return;
    if (take(line, found->second)) conclude(found, Why::END, ended);
}

bool Events::take(const LogLine& line, Open& open) const {
    const Role role = line.role();
    Event& event = open.event;
    open.outlived = false;
    event.end = line.time;
    keep(line, event);
    describe(line, event);
    if (tagField(role) >= 0 && (event.tag.empty() || role == Role::DESCRIBED)) {
        event.tag = line.fields[static_cast<size_t>(tagField(role))];
    }
    open.described = open.described || role == Role::BEGIN || role == Role::DESCRIPTION;

    const auto failure = std::find_if(std::begin(kFailures), std::end(kFailures),
                                      [role](const Failure& row) { return row.role == role; });
    if (failure != std::end(kFailures)) note(*failure, line, event);
    return (failure != std::end(kFailures) && failure->last) ||
           (role == Role::END && event.collectorStart != Event::kNoTime);
}

void Events::conclude(OpenEvents::iterator open, Why why, std::vector<Event>& ended) {
    Event& event = open->second.event;
    // A clock that was set back meanwhile leaves no time that anything took.
    event.whole = open->second.begun && why == Why::END && event.end >= event.start;
    if (event.outcome == Outcome::UNKNOWN) {
        event.outcome = judge(open->second, why);
        if (event.reason[0] == '\0') event.reason = nameOf(event.outcome).reason;
    }
    ended.push_back(std::move(event));
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

void Events::giveUpSilent(std::vector<Event>& ended) {
    std::vector<std::pair<LogTime, OpenEvents::iterator>> byTime;
    for (auto open = mOpen.begin(); open != mOpen.end(); ++open)
        byTime.emplace_back(open->second.event.end, open);
    const auto last = byTime.begin() + kMostOpen / 4;
    std::nth_element(byTime.begin(), last, byTime.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    for (auto silent = byTime.begin(); silent != last; ++silent)
        conclude(silent->second, Why::SILENCE, ended);
}

void Events::keep(const LogLine& line, Event& event) const {
    if (mKeepLines && event.lines.size() < kMostLines) event.lines.emplace_back(line.raw);
}

}  // namespace zulctl
