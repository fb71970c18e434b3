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

namespace zul {

namespace {

/**
 * One line at a time in this process. A lock on the file only orders other processes, and is lost
 * when any thread closes a descriptor of the file.
 */
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

/** The history, for appending to its end and reading it; -1 inside when it is not a regular file. */
ScopedFd openHistory() {
    // O_NONBLOCK and O_NOFOLLOW: anyone may put a FIFO or a link there.
    ScopedFd file(open(kHistoryFile,
                       O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0666));
    struct stat status = {};
    if (fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode)) return file;
    return ScopedFd(-1);
}

/** A full disk, or a kill during the write, may have left a part of a line. */
bool endsInsideLine(int file) {
    struct stat status = {};
    char last = '\n';
    return fstat(file, &status) == 0 && pread(file, &last, 1, status.st_size - 1) == 1 &&
           last != '\n';
}

}  // namespace

void ZulService::recordZulHistory(const char* sceneType, char* folderName) {
    const std::string record = makeRecord(sceneType, folderName);
    if (record.empty()) {
        LOGE("history record too long for archive %s.zul", folderName);
        return;
    }
    LOG_DUMP("recordZulHistory:allContent===%s", record.c_str());

    const std::lock_guard<std::mutex> lock(gHistoryLock);
    const ScopedFd file = openHistory();
    if (!file.ok()) {
        LOGE("open %s failure:", kHistoryFile);
        return;
    }
    {
        const RecordLock recordLock(file.get());
        const std::string line = (endsInsideLine(file.get()) ? "\n" : "") + record + "\n";
        // What does not fit on a full disk is lost; the next line first ends what did.
        (void)!write(file.get(), line.data(), line.size());
        LOG_DUMP("write content to file!");
    }
    fsync(file.get());
}

}  // namespace zul
