// SPDX-License-Identifier: Apache-2.0

// Input: in the first line how many bytes of the log are read at once (0 for all); then the log.

#include <stdlib.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>

#include "base/Files.h"
#include "fuzz/support/Zulctl.h"
#include "tests/support/LogText.h"
#include "zulctl/log/Events.h"

namespace zul::fuzz {

namespace {

using zulctl::Event;
using zulctl::test::TextFile;

struct ReadLog {
    size_t lines = 0;
    uint64_t unreadable = 0;
    std::vector<Event> events;
};

ReadLog readLog(int fd) {
    ReadLog result;
    zulctl::LogFile log(fd, gNow * 1000);
    zulctl::Events events(true);
    const auto take = [&result](std::vector<Event> ended) {
        std::move(ended.begin(), ended.end(), std::back_inserter(result.events));
    };
    zulctl::LogLine line;
    while (log.next(line)) {
        result.lines++;
        for (const std::string_view field : line.fields)
            require(field.data() == nullptr || line.pattern != nullptr,
                    "only known lines have fields");
        take(events.add(line));
    }
    take(events.finish());
    require(log.error() == 0, "all of it can be read");
    result.unreadable = log.unreadable();
    return result;
}

/** A descriptor that gives no more than `most` bytes at once; none where the text is too long for one. */
ScopedFd slowFileOf(std::string_view text, size_t most) {
    int ends[2];
    require(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends) == 0,
            "a pair");
    while (!text.empty()) {
        const ssize_t sent = write(ends[1], text.data(), std::min(most, text.size()));
        // What does not fit comes at once.
        if (sent < 0) break;
        text.remove_prefix(static_cast<size_t>(sent));
    }
    close(ends[1]);
    ScopedFd reader(ends[0]);
    return text.empty() ? std::move(reader) : ScopedFd(-1);
}

bool isSame(const Event& one, const Event& other) {
    return one.tag == other.tag && one.start == other.start && one.end == other.end &&
           one.outcome == other.outcome && one.reason == other.reason &&
           one.detail == other.detail && one.archive == other.archive && one.lines == other.lines;
}

void checkSame(const ReadLog& one, const ReadLog& other) {
    require(one.lines == other.lines && one.unreadable == other.unreadable &&
                    std::equal(one.events.begin(), one.events.end(), other.events.begin(),
                               other.events.end(), isSame),
            "how a log comes in does not count");
}

void checkEvents(const ReadLog& log) {
    size_t lines = 0;
    for (const Event& event : log.events) {
        require(!event.lines.empty(), "an event has a line");
        lines += event.lines.size();
        require(!zulctl::isDropped(event.outcome) || event.reason[0] != '\0',
                "what is dropped has a reason");
        require(event.outcome != zulctl::Outcome::COLLECTED ||
                        event.collectorStart != Event::kNoTime,
                "what was collected had a collector");
    }
    require(lines <= log.lines, "a line belongs to one event");
}

}  // namespace

void run(std::string_view input) {
    const size_t most = strtoul(take(input).c_str(), nullptr, 10);
    const TextFile whole{std::string(input)};
    const ReadLog log = readLog(whole.fd());
    checkEvents(log);
    const ScopedFd slow = slowFileOf(input, most != 0 ? most : input.size());
    if (slow.ok()) checkSame(readLog(slow.get()), log);
    const TextFile framed("--------- beginning of main\n" + std::string(input) +
                          "\n01-01 00:00:00.000 1 1 D App: x\n");
    require(readLog(framed.fd()).events.size() == log.events.size(),
            "lines of others do not count");
    for (const char* format : {"--json", "--no-legend"}) {
        lseek(whole.fd(), 0, SEEK_SET);
        callZulctl({"--log=/proc/self/fd/" + std::to_string(whole.fd()), format, "events"});
    }
}

}  // namespace zul::fuzz
