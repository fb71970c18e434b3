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
 * The child's part: becomes the collector or ends. Other threads may have held any lock at the
 * fork, so everything that allocates was done before; the logger does not. `line` is its first one:
 * each page that a child touches is copied first, and formatting touches many.
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

    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (WIFEXITED(status)) LOG_DUMP("zuldump child normal exit...");
}

}  // namespace zul
