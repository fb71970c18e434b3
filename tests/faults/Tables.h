// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "tests/faults/Device.h"

namespace zul::test {

/** What a failed call may cost. */
enum class Harm {
    NOTHING,
    /** A line of the log or the history, a mark, an update, an old file. */
    FILES,
    /** The capture. */
    CAPTURE,
};

/** The errors that a call is tried with. */
struct Errors {
    sim::Call call;
    Harm harm;
    std::vector<int32_t> errors;
    /** Those that nobody must notice. */
    std::vector<int32_t> harmless = {};
};

extern const std::vector<Errors> kErrors;

/** What an event leads to when nothing fails. */
enum class Effect { CAPTURE, UPDATE, MARK, MARK_AND_COLLECT };

/** What the device is like when the event comes. */
struct Setting {
    /** Archives that the start finds, all in the history. */
    int archives = 0;
    /** How many the whole store may hold. */
    int limit = 400;
    const char* config = "tag:0xfeed,enable:1";
    bool findsLeftover = false;
    /** The daemon's start is part of it. */
    bool withStart = false;
    /** The engine dies just before, and the event is the first of the next one. */
    bool engineReturns = false;

    bool prunesStore() const { return archives > limit; }
};

/** One kind of event. */
struct Kind {
    const char* name;
    Effect effect;
    Event event;
    /** What the collector gets but for folder, tag and time: arguments 1, 2, 3, 5, 6, 7 and 9. */
    std::vector<std::string> collected = {};
    Setting setting = {};

    const std::string& tag() const { return event[1]; }
    const std::string& text() const { return event.back(); }
};

/** The kinds that are tried over this binder. Each that differs in the store alone has one. */
std::vector<Kind> kindsOf(const std::string& mode);

}  // namespace zul::test
