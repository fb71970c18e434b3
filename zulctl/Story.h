// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "zulctl/Captures.h"
#include "zulctl/Events.h"

namespace zulctl {

/** A capture, with what store and log together tell of it. */
struct CaptureStory {
    std::string tag;
    /** Of its folder. */
    std::string name;
    State state = State::PRESENT;
    DiskUse use;
    /** To the millisecond where the log has its event, else to the second. */
    LogTime start = 0;
    Took took;
    /** Its number in Story::events; nothing without one. */
    std::optional<size_t> event;
};

/** What happened to daemon or engine. */
struct Turn {
    enum class Kind { DAEMON_START, ENGINE_GONE, ENGINE_BACK };

    Kind kind;
    LogTime time;
    int32_t daemon;
};

/** A few words for a turn. */
const char* nameOf(Turn::Kind kind);

/** All that is to be had on what a store went through. */
struct Story {
    /** The newest, in their order: newest first. */
    std::vector<CaptureStory> captures;
    /** Older ones, which are not told. */
    size_t moreCaptures = 0;
    /** Of the log, in its order, without their texts and lines. */
    std::vector<Event> events;
    std::vector<Turn> turns;
    /** How many events were dropped, by their reasons. */
    std::map<std::string_view, size_t> drops;
    /** False where no log could be read: nothing is known of dropped events and of turns. */
    bool hasLog = false;
    Surplus surplus;
    /** The time that it is, or was when the copy was made. */
    WallTime now = 0;
};

/** How many captures are told: some hundred bytes of memory for each. */
inline constexpr size_t kMostCaptures = 100000;

/** Reads the store, and the log where the call names one; tells what cannot be read. */
Story tellStory(Session& session, const Store& store);

/** What became of an event in one word, and why. */
std::string reasonOf(const Event& event);
/** The same for a capture that its event says something bad of; else empty. */
std::string reasonOf(const Story& story, const CaptureStory& capture);

/** The middle of at least one, of an even number between the two there; their order changes. */
int64_t medianOf(std::vector<int64_t>& times);

}  // namespace zulctl
