// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdint.h>

#include <string>
#include <string_view>

#include "zulctl/Output.h"
#include "zulctl/TimeAxis.h"

namespace zulctl {

/** A row of a trace: a thread of a process. */
struct TraceRow {
    int32_t process;
    int32_t thread;
    bool operator<(const TraceRow& other) const {
        return process != other.process ? process < other.process : thread < other.thread;
    }
};

/** Writes the trace-event format, which trace viewers open: an object with all events, times in microseconds. */
class TraceWriter {
  public:
    /** A stretch of time. Those of one row must lie in each other or beside each other. */
    void addSlice(TraceRow row, std::string_view name, const char* category, TimeSpan time,
                  const JsonObject& details);
    /** A moment, through all rows or in its own one. */
    void addMoment(TraceRow row, bool allRows, std::string_view name, const char* category,
                   LogTime time, const JsonObject& details);
    /** Names a process, or a row of it. */
    void nameProcess(int32_t process, const std::string& name);
    void nameRow(TraceRow row, const std::string& name);

    /** The whole text. */
    std::string finish() const;

  private:
    static JsonObject start(const char* phase, TraceRow row, std::string_view name);
    void add(const JsonObject& event);

    std::string mEvents;
};

}  // namespace zulctl
