// SPDX-License-Identifier: Apache-2.0

#include "zulctl/TraceWriter.h"

namespace zulctl {

namespace {

constexpr int64_t kMicroseconds = 1000;

JsonObject nameOnly(const std::string& name) {
    return JsonObject::ofOtherFormat().add("name", printable(name));
}

}  // namespace

void TraceWriter::addSlice(TraceRow row, std::string_view name, const char* category, TimeSpan time,
                           const JsonObject& details) {
    add(start("X", row, name)
                .add("cat", category)
                .add("ts", time.begin * kMicroseconds)
                .add("dur", (time.end - time.begin) * kMicroseconds)
                .add("args", details));
}

void TraceWriter::addMoment(TraceRow row, bool allRows, std::string_view name, const char* category,
                            LogTime time, const JsonObject& details) {
    add(start("i", row, name)
                .add("cat", category)
                .add("ts", time * kMicroseconds)
                .add("s", allRows ? "g" : "t")
                .add("args", details));
}

void TraceWriter::nameProcess(int32_t process, const std::string& name) {
    add(start("M", {process, process}, "process_name").add("args", nameOnly(name)));
}

void TraceWriter::nameRow(TraceRow row, const std::string& name) {
    add(start("M", row, "thread_name").add("args", nameOnly(name)));
}

std::string TraceWriter::finish() const {
    return "{\"displayTimeUnit\":\"ms\",\"traceEvents\":[\n" + mEvents + "\n]}\n";
}

JsonObject TraceWriter::start(const char* phase, TraceRow row, std::string_view name) {
    return JsonObject::ofOtherFormat()
            .add("ph", phase)
            .add("pid", int64_t{row.process})
            .add("tid", int64_t{row.thread})
            .add("name", printable(name));
}

void TraceWriter::add(const JsonObject& event) {
    if (!mEvents.empty()) mEvents += ",\n";
    mEvents += event.text();
}

}  // namespace zulctl
