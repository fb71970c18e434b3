// SPDX-License-Identifier: Apache-2.0

#include "zulctl/log/LogEvents.h"

#include <errno.h>
#include <fcntl.h>
#include <spawn.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "base/Files.h"
#include "zulctl/Session.h"

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

/** logcat of this device, which ends when nobody reads it any more. */
class Logcat {
  public:
    explicit Logcat(bool follow) {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) return;
        mOutput = zul::ScopedFd(ends[0]);
        const zul::ScopedFd input(ends[1]);
        std::string words[] = {"logcat", "-v", "threadtime", "-v", "year", "-s", "ZUL_DEBUG", "-d"};
        std::vector<char*> arguments;
        for (std::string& word : words)
            arguments.push_back(word.data());
        if (follow) arguments.pop_back();
        arguments.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, input.get(), STDOUT_FILENO);
        if (posix_spawnp(&mProcess, arguments[0], &actions, nullptr, arguments.data(), environ) !=
            0) {
            mOutput = zul::ScopedFd(-1);
        }
        posix_spawn_file_actions_destroy(&actions);
    }
    ~Logcat() {
        mOutput = zul::ScopedFd(-1);
        if (mProcess > 0) waitpid(mProcess, nullptr, 0);
    }
    Logcat(const Logcat&) = delete;
    Logcat& operator=(const Logcat&) = delete;

    int fd() const { return mOutput.get(); }

  private:
    zul::ScopedFd mOutput{-1};
    pid_t mProcess = 0;
};

void readLog(Session& session, const std::string& name, int fd, const LogTaker& taker) {
    LogFile log(fd, newestOf(fd), taker.idle);
    Events events(taker.keepLines);
    const auto takeAll = [&](std::vector<Event> ended) {
        for (Event& event : ended)
            taker.event(event);
    };
    LogLine line;
    while (log.next(line)) {
        if (taker.line) taker.line(line);
        takeAll(events.add(line));
    }
    takeAll(events.finish());

    if (log.error() != 0) session.problem(name + ": " + strerror(log.error()));
    if (const std::string format = log.otherFormat(); !format.empty()) {
        session.problem(name + ": looks like " + format +
                        "; a log as it is needed comes from logcat -d -v threadtime -s ZUL_DEBUG");
    } else if (log.unreadable() != 0) {
        session.problem("torn lines in the log: " + std::to_string(log.unreadable()));
    }
}

}  // namespace

bool readEvents(Session& session, const Device& device, const LogTaker& taker) {
    if (!device.log) {
        if (!session.options().roots.empty()) return false;
        const Logcat logcat(taker.idle != nullptr);
        if (logcat.fd() >= 0) readLog(session, "logcat", logcat.fd(), taker);
        return logcat.fd() >= 0;
    }
    const std::string& name = *device.log;
    const bool standardInput = name == "-";
    const zul::ScopedFd opened(standardInput ? -1 : open(name.c_str(), O_RDONLY | O_CLOEXEC));
    const int fd = standardInput ? STDIN_FILENO : opened.get();
    if (fd < 0) {
        session.problem(name + ": " + strerror(errno));
    } else {
        readLog(session, name, fd, taker);
    }
    return true;
}

void keepLog(Session& session, Device& device) {
    if (device.log != "-") return;
    device.kept = zul::ScopedFd(memfd_create("log", MFD_CLOEXEC));
    char block[1 << 16];
    ssize_t count;
    while ((count = ::read(STDIN_FILENO, block, sizeof(block))) > 0 ||
           (count < 0 && errno == EINTR)) {
        if (count > 0 && write(device.kept.get(), block, static_cast<size_t>(count)) == count)
            continue;
        if (count > 0) break;
    }
    if (count != 0) session.problem(std::string("-: ") + strerror(errno));
    device.log = "/proc/self/fd/" + std::to_string(device.kept.get());
}

int64_t tookOf(const Event& event) {
    return event.whole ? event.end - event.start : -1;
}

const LogStory::Capture* LogStory::find(std::string_view archive) const {
    const auto found = captures.find(std::string(archive));
    return found != captures.end() ? &found->second : nullptr;
}

LogStory readStory(Session& session, const Device& device) {
    LogStory story;
    if (!device.log) return story;
    readEvents(session, device,
               {.event =
                        [&story](const Event& event) {
                            if (event.archive.empty()) return;
                            story.captures[event.archive] = {event.outcome, tookOf(event),
                                                             event.daemon};
                        },
                .line =
                        [&story](const LogLine& line) {
                            if (line.role() != LineRole::DAEMON_START) return;
                            story.daemonStart = line.time / kMillisecondsPerSecond;
                            story.daemon = line.process;
                        }});
    return story;
}

}  // namespace zulctl
