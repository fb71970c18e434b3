// SPDX-License-Identifier: Apache-2.0

#include "zulctl/log/LogEvents.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "zulctl/Session.h"

namespace zulctl {

namespace {

constexpr int64_t kMillisecondsPerSecond = 1000;

/** For a shell, which tells by 127 that there is none. */
constexpr char kLogcat[] =
        "command -v logcat >/dev/null || exit 127; "
        "exec logcat -v threadtime -v year -s ZUL_DEBUG";

/** A time that the log's first line is not behind: a log that is still written to is newer. */
LogTime newestOf(int fd) {
    struct stat status = {};
    const bool isFile = fstat(fd, &status) == 0 && S_ISREG(status.st_mode);
    const WallTime newest = isFile ? wallTime(status.st_mtime) : wallTime(time(nullptr));
    return newest * kMillisecondsPerSecond;
}

void readLog(Session& session, const std::string& name, int fd, const LogTaker& taker) {
    LogFile log(fd, newestOf(fd), taker.idle);
    Events events(taker.event, taker.keepLines);
    LogLine line;
    while (log.next(line)) {
        if (taker.line) taker.line(line);
        events.add(line);
    }
    events.finish();

    if (log.continued() != 0) {
        session.remark("lines in the log that continue a text: " + std::to_string(log.continued()) +
                       "; what looks like the daemon's own in such a text counts as that");
    }
    if (log.error() != 0) session.problem(name + ": " + strerror(log.error()));
    if (const std::string format = log.otherFormat(); !format.empty()) {
        session.problem(name + ": looks like " + format +
                        "; a log as it is needed comes from logcat -d -v threadtime -s ZUL_DEBUG");
    } else if (log.unreadable() != 0) {
        session.problem("torn lines in the log: " + std::to_string(log.unreadable()));
    }
}

/** False where there is no logcat. It ends when nobody reads it any more. */
bool readLogcat(Session& session, const LogTaker& taker) {
    const std::string command = std::string(kLogcat) + (taker.idle == nullptr ? " -d" : "");
    FILE* const log = popen(command.c_str(), "re");
    if (log == nullptr) return false;
    readLog(session, "logcat", fileno(log), taker);
    const int status = pclose(log);
    return !WIFEXITED(status) || WEXITSTATUS(status) != 127;
}

}  // namespace

bool readEvents(Session& session, const Device& device, const LogTaker& taker) {
    if (!device.log) return session.options().roots.empty() && readLogcat(session, taker);
    const std::string& name = *device.log;
    const zul::ScopedFd log = openNamed(name);
    if (log.ok()) {
        readLog(session, name, log.get(), taker);
    } else {
        session.problem(name + ": " + strerror(errno));
    }
    return true;
}

void keepLog(Session& session, Device& device) {
    if (device.log != "-") return;
    device.kept = zul::ScopedFd(memfd_create("log", MFD_CLOEXEC));
    char block[1 << 16];
    ssize_t count;
    do {
        count = TEMP_FAILURE_RETRY(read(STDIN_FILENO, block, sizeof(block)));
    } while (count > 0 && write(device.kept.get(), block, static_cast<size_t>(count)) == count);
    if (count != 0) session.problem(std::string("-: ") + strerror(errno));
    device.log = "/proc/self/fd/" + std::to_string(device.kept.get());
}

const LogStory::Capture* LogStory::find(std::string_view archive) const {
    const auto found = captures.find(std::string(archive));
    return found != captures.end() ? &found->second : nullptr;
}

LogStory readStory(Session& session, const Device& device) {
    LogStory story;
    if (!device.log) return story;
    const auto takeEvent = [&](const Event& event) {
        // Whatever has come of a later one, its folder is worked on.
        const bool counts = event.captures > 0 || event.outcome == Outcome::UNDER_WAY;
        if (event.archive.empty() || !counts) return;
        story.captures[event.archive] = {event.outcome, event.took(), event.daemon};
    };
    const auto takeLine = [&](const LogLine& line) {
        if (line.role() != LineRole::DAEMON_START) return;
        story.daemonStart = line.time / kMillisecondsPerSecond;
        story.daemon = line.process;
    };
    readEvents(session, device, {.event = takeEvent, .line = takeLine});
    return story;
}

}  // namespace zulctl
