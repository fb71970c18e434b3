// SPDX-License-Identifier: Apache-2.0

#include "zulctl/log/LogEvents.h"
#include "zulctl/store/ArchiveName.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/Files.h"
#include "base/Paths.h"
#include "zulctl/Session.h"
#include "zulctl/WallTime.h"

namespace zulctl {

namespace {

constexpr int64_t kMillisecondsPerSecond = 1000;

/** A time that the log's first line is not behind: a log that is still written to is newer. */
LogTime newestOf(int fd) {
    struct stat status = {};
    const bool isFile = fstat(fd, &status) == 0 && S_ISREG(status.st_mode);
    const WallTime newest = isFile ? wallTime(status.st_mtime) : wallTimeNow();
    return newest * kMillisecondsPerSecond;
}

/** Longer than clocks of two time zones are apart, and than any capture takes. */
constexpr LogTime kOtherYear = LogTime{100} * 24 * 60 * 60 * kMillisecondsPerSecond;

}  // namespace

bool isInWrongYear(const Event& event) {
    std::string_view name = event.archive;
    if (!name.ends_with(zul::kArchiveSuffix)) return false;
    name.remove_suffix(sizeof(zul::kArchiveSuffix) - 1);
    name.remove_prefix(name.rfind('/') + 1);
    const auto parts = parseArchiveName(name);
    const auto time = parts ? parseNameTime(parts->time) : std::nullopt;
    return time && std::abs(event.start - *time * kMillisecondsPerSecond) > kOtherYear;
}

bool readEvents(Session& session, bool keepLines, const std::function<void(Event&)>& take,
                const std::function<void(const LogLine&)>& see) {
    const std::optional<std::string>& name = session.options().log;
    if (!name) return false;
    const bool standardInput = *name == "-";
    const zul::ScopedFd opened(standardInput ? -1 : open(name->c_str(), O_RDONLY | O_CLOEXEC));
    const int fd = standardInput ? STDIN_FILENO : opened.get();
    if (fd < 0) {
        session.problem(*name + ": " + strerror(errno));
        return false;
    }

    LogFile log(fd, newestOf(fd));
    Events events(keepLines);
    bool wrongYear = false;
    const auto takeAll = [&](std::vector<Event> ended) {
        for (Event& event : ended) {
            wrongYear = wrongYear || isInWrongYear(event);
            take(event);
        }
    };
    LogLine line;
    while (log.next(line)) {
        if (see) see(line);
        takeAll(events.add(line));
    }
    takeAll(events.finish());

    if (wrongYear) {
        session.remark(*name +
                       ": taken for a log of another year than its archives are of, by its file's "
                       "time (touch -d sets it)");
    }
    if (log.error() != 0) session.problem(*name + ": " + strerror(log.error()));
    if (log.unreadable() != 0) {
        session.problem("torn lines in the log: " + std::to_string(log.unreadable()));
    }
    return true;
}

Took tookOf(const Event& event) {
    return event.whole ? Took{event.end - event.start, true} : Took{};
}

}  // namespace zulctl
