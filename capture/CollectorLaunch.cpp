// SPDX-License-Identifier: Apache-2.0

#include <errno.h>
#include <stdio.h>
#include <sys/wait.h>
#include <unistd.h>

#include "base/Log.h"
#include "service/ZulService.h"

namespace zul {

namespace {

constexpr char kCollector[] = "/system_ext/bin/zul_dumpstate";

/**
 * The child's part: becomes the collector or ends. Only this thread exists in the child, and others may
 * have held the allocator's lock at the fork: whatever allocates was done before. The logger does not.
 * _exit() runs none of the daemon's exit handlers.
 * `line` is its first one, ready: each page that a child touches is copied, and formatting touches many.
 */
[[noreturn]] void becomeCollector(char* const arguments[], const char* line) {
    if (ZulService::mDebugLog) __android_log_write(ANDROID_LOG_DEBUG, kLogTag, line);
    const int result = execv(kCollector, arguments);
    LOGE("ret==%d,excel errno=%d", result, errno);
    _exit(127);
}

}  // namespace

void ZulService::startWork() {
    LOG_DUMP("startWork....");

    char flag[64] = {};
    snprintf(flag, sizeof(flag), "%lld", static_cast<long long>(mFlag));
    char pid[16] = {};
    snprintf(pid, sizeof(pid), "%d", mPid);
    char noTime[] = "";
    // Texts of this object, which the request's lock keeps from changing; the child has its own copy.
    char* const arguments[] = {
            mDumpPath.data(),
            flag,
            pid,
            mExtraInfo.data(),
            mSceneType.data(),
            mEventType.data(),
            mEventSubType.data(),
            mZulCmd.data(),
            mCaptureTime != nullptr ? mCaptureTime.get() : noTime,
            mMultiPid.data(),
            nullptr,
    };

    char line[128];
    snprintf(line, sizeof(line), "sceneFlag===%s, mPid===%s", flag, pid);

    const pid_t child = fork();
    if (child < 0) {
        LOGE("*** fork fail\n");
        return;
    }
    if (child == 0) becomeCollector(arguments, line);

    // For this child alone, as other threads wait for theirs. Without a time limit: a collector that hangs
    // holds up this callback and no other. A wait that fails leaves 0, which counts as a normal exit.
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (WIFEXITED(status)) LOG_DUMP("zuldump child normal exit...");
}

}  // namespace zul
