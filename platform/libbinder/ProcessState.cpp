// SPDX-License-Identifier: Apache-2.0
#include <binder/IPCThreadState.h>
#include <binder/ProcessState.h>
#include <transport/Domain.h>

namespace android {

sp<ProcessState> ProcessState::self() {
    static const sp<ProcessState>& state = *new sp<ProcessState>(new ProcessState);
    return state;
}

void ProcessState::startThreadPool() {
    transport::Domain::binder().startThreads();
}

status_t ProcessState::setThreadPoolMaxThreadCount(size_t maxThreads) {
    transport::Domain::binder().configureThreads(maxThreads, false);
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
