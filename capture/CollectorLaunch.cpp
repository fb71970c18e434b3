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
 * fork, so everything that allocates or formats was done before.
 */
[[noreturn]] void becomeCollector(char* const arguments[], const char* firstLine) {
    if (ZulService::mDebugLog) __android_log_write(ANDROID_LOG_DEBUG, kLogTag, firstLine);
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

    char firstLine[128] = {};
    snprintf(firstLine, sizeof(firstLine), "sceneFlag===%s, mPid===%s", flag, pid);

    const pid_t child = fork();
    if (child < 0) {
        LOGE("*** fork fail\n");
        return;
    }
    if (child == 0) becomeCollector(arguments, firstLine);

    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (WIFEXITED(status) && mDebugLog) LOGD("zuldump child normal exit...");
}

}  // namespace zul
