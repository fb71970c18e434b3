// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdint.h>

#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "zulctl/log/LogFile.h"

namespace zulctl {

/** The outcome in one word without blanks. */
const char* outcomeName(Outcome outcome);

/** Why, where no line tells it; empty for no reason. */
const char* reasonOf(Outcome outcome);

/** True when nothing was kept of the event although a capture, an update or a mark was asked for. */
bool isDropped(Outcome outcome);

/** The reason of what was captured and is not there any more. */
inline constexpr char kGone[] = "gone since: pruned, or removed";

/**
 * One event, from its first line in the log to its last. Texts hold the log's own bytes, whatever
 * they are. A time that the log does not tell is kNoTime.
 */
struct Event {
    static constexpr LogTime kNoTime = INT64_MIN;

    /** Empty where no line tells it. */
    std::string tag;
    /** The daemon, and the thread that the event came in on. */
    int32_t daemon = 0;
    int32_t thread = 0;
    LogTime start = 0;
    /** Of the last line; the event may have gone on without one. */
    LogTime end = 0;
    // Where its phases begin. Each ends where the next one does, the last one at `end`.
    LogTime preparationStart = kNoTime;
    LogTime historyStart = kNoTime;
    LogTime collectorStart = kNoTime;
    /** Both its first line and its last one were there. */
    bool whole = false;
    Outcome outcome = Outcome::UNKNOWN;
    /** Why, in words of ours, which are the same for all events of a kind; empty for no reason. */
    const char* reason = "";
    /** What the reason is about, in the log's words: a package, a path, an error. */
    std::string detail;
    /** The mask as the log has it, hexadecimal and without 0x. */
    std::string mask;
    /** The process that it is about, or several as the engine named them. */
    std::string processes;
    std::string text;
    /** The capture's folder, and its archive; empty without one. */
    std::string folder;
    std::string archive;
    /** Of events under way with one archive, the one that is recorded last stands for the captures of all. */
    int captures = 1;
    /** 0 where the log does not tell it. */
    int32_t collector = 0;
    /** As they stand in the log; only for those who ask. */
    std::vector<std::string> lines;

    /** How long it took; negative unless it is whole. */
    int64_t took() const { return whole ? end - start : -1; }
};

/**
 * Puts events together from the log's lines: one at a time on each thread. Memory is bounded by the
 * number of events that are under way at once.
 */
class Events {
  public:
    /** Takes an event that has ended. */
    using Taker = std::function<void(Event&)>;

    /** Of a log that names more threads than any daemon has, those longest silent are given up. */
    static constexpr size_t kMostOpen = 1024;
    /** Lines that are kept of one event. */
    static constexpr size_t kMostLines = 4096;

    explicit Events(Taker taker, bool keepLines = false)
          : mTaker(std::move(taker)), mKeepLines(keepLines) {}

    void add(const LogLine& line);
    /** At the log's end: gives those that are still open. */
    void finish();

  private:
    struct Open {
        Event event;
        /** Its first line was there. */
        bool begun = false;
        /** No line before the end tells its tag. */
        bool nameless = false;
        /** What is asked for is known; what is left is to do it. */
        bool described = false;
        /** A daemon has started since its last line. */
        bool outlived = false;
    };
    /** By daemon and thread. */
    using OpenEvents = std::map<std::pair<int32_t, int32_t>, Open>;
    enum class Why { END, NEXT_EVENT, SILENCE };

    void startDaemon(const LogLine& line);
    void addOfCollector(const LogLine& line);
    void addOfArchive(const LogLine& line);
    void addOfDaemon(const LogLine& line);
    static bool beginsAnother(const LogLine& line, const Open* open);
    /** The event whose collector has written a line; null when that cannot be told. */
    Open* findWaiting(const LogLine& line);
    void conclude(OpenEvents::iterator open, Why why);
    Outcome judge(const Open& open, Why why) const;
    void keep(const LogLine& line, Event& event) const;

    const Taker mTaker;
    const bool mKeepLines;
    OpenEvents mOpen;
    /** Daemons that have written a line which they write only while debug.zul.dump is on. */
    std::set<int32_t> mDumping;
};

}  // namespace zulctl
