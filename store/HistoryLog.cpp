// SPDX-License-Identifier: Apache-2.0

#include <cutils/properties.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <mutex>

#include "base/Files.h"
#include "base/LocalTime.h"
#include "base/Log.h"
#include "base/Paths.h"
#include "rules/HistoryRecord.h"
#include "service/ZulService.h"
#include "store/HistoryLog.h"

namespace zul {

namespace {

/** One line at a time in this process: a lock on the file orders other processes only. */
std::mutex gHistoryLock;

/** Locks the whole history for writing, however it grows, against other processes that do the same. */
class RecordLock {
  public:
    explicit RecordLock(int fd) : mFd(fd) {
        mLock.l_type = F_WRLCK;
        mLock.l_whence = SEEK_SET;
        mLock.l_pid = getpid();
        if (fcntl(mFd, F_SETLKW, &mLock) != 0) LOGW("fcntl F_SETLKW %s failure:", kHistoryFile);
    }
    ~RecordLock() {
        mLock.l_type = F_UNLCK;
        if (fcntl(mFd, F_SETLK, &mLock) != 0) LOGW("fcntl F_SETLK %s failure:", kHistoryFile);
    }
    RecordLock(const RecordLock&) = delete;
    RecordLock& operator=(const RecordLock&) = delete;

  private:
    const int mFd;
    struct flock mLock = {};
};

/** The record of one capture; empty when it would be too long. */
std::string makeRecord(const char* sceneType, const char* folderName) {
    const std::string when = formatTime(localTime(time(nullptr)), "%Y-%m-%d %H:%M:%S");
    char build[PROPERTY_VALUE_MAX] = {};
    property_get("ro.build.display.id", build, "system_version_is_empty");
    const std::string archive = std::string(folderName) + kArchiveSuffix;
    return formatRecord({sceneType, when, archive, build});
}

/** Takes back what a full disk let through of a line, unless another process has written behind it. */
void takeBack(int fd, ssize_t written) {
    const off_t end = lseek(fd, 0, SEEK_CUR);
    struct stat status = {};
    if (fstat(fd, &status) != 0 || status.st_size != end) return;
    (void)!ftruncate(fd, end - written);
}

}  // namespace

void ZulService::recordZulHistory(const char* sceneType, char* folderName) {
    const std::string record = makeRecord(sceneType, folderName);
    if (record.empty()) {
        LOGE("history record too long for archive %s.zul", folderName);
        return;
    }
    LOG_DUMP("recordZulHistory:allContent===%s", record.c_str());

    // O_NONBLOCK and O_NOFOLLOW: anyone may put a FIFO or a link there.
    const ScopedFd file(open(kHistoryFile,
                             O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK,
                             0666));
    if (!file.ok()) {
        LOGE("open %s failure:", kHistoryFile);
        return;
    }

    {
        const std::lock_guard<std::mutex> lock(gHistoryLock);
        const RecordLock recordLock(file.get());
        const std::string line = record + "\n";
        const ssize_t written = write(file.get(), line.data(), line.size());
        if (written > 0 && static_cast<size_t>(written) < line.size())
            takeBack(file.get(), written);
        LOG_DUMP("write content to file!");
    }
    fsync(file.get());
}

void endTornRecord() {
    const ScopedFd file(
            open(kHistoryFile, O_RDWR | O_APPEND | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    if (!file.ok()) return;
    const RecordLock lock(file.get());
    struct stat status = {};
    if (fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) return;
    char last = '\n';
    if (pread(file.get(), &last, 1, status.st_size - 1) != 1 || last == '\n') return;
    // Without it the next line is glued to the torn one, and nothing else is lost.
    (void)!write(file.get(), "\n", 1);
}

}  // namespace zul
