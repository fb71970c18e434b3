// SPDX-License-Identifier: Apache-2.0
#include <android/log.h>
#include <binder/IPCThreadState.h>
#include <binder/ProcessState.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <transport/Domain.h>
#include <unistd.h>

#include <string>

namespace android {

namespace {

/** Without what the start adds. */
constexpr size_t kFirstThread = 1;

}  // namespace

sp<ProcessState> ProcessState::self() {
    static const sp<ProcessState>& state = *new sp<ProcessState>(new ProcessState);
    return state;
}

void ProcessState::startThreadPool() {
    std::lock_guard lock(mLock);
    if (mStarted) return;
    mStarted = true;
    transport::Domain::binder().configureThreads(mMaxThreads + kFirstThread, false);
    transport::Domain::binder().startThreads();
    prctl(PR_SET_NAME, ("binder:" + std::to_string(getpid()) + "_1").c_str());
}

size_t ProcessState::getThreadPoolMaxTotalThreadCount() const {
    std::lock_guard lock(mLock);
    return mMaxThreads;
}

status_t ProcessState::setThreadPoolMaxThreadCount(size_t maxThreads) {
    std::lock_guard lock(mLock);
    if (mStarted && maxThreads < mMaxThreads) {
        __android_log_print(ANDROID_LOG_FATAL, "ProcessState",
                            "Binder threadpool cannot be shrunk after starting");
        abort();
    }
    mMaxThreads = maxThreads;
    const size_t first = mStarted ? kFirstThread : 0;
    transport::Domain::binder().configureThreads(mMaxThreads + first, false);
    return OK;
}

IPCThreadState* IPCThreadState::self() {
    // Threads differ in nothing that a user sees.
    static IPCThreadState state;
    return &state;
}

void IPCThreadState::joinThreadPool(bool) {
    transport::Domain::binder().joinThreads();
}

}  // namespace android
