// SPDX-License-Identifier: Apache-2.0
#include <hidl/HidlTransportSupport.h>
#include <transport/Domain.h>

#include <atomic>

namespace android::hardware {

namespace {

std::atomic<bool> gConfigured{false};

}  // namespace

void configureRpcThreadpool(size_t maxThreads, bool callerWillJoin) {
    if (maxThreads == 0 && callerWillJoin) {
        details::logAlwaysFatal(
                "Binder threadpool must have a minimum of one thread if caller joins pool.");
    }
    gConfigured = true;
    transport::Domain::hwbinder().configureThreads(maxThreads, callerWillJoin);
}

void joinRpcThreadpool() {
    if (!gConfigured) details::logAlwaysFatal("joinRpcThreadpool without configureRpcThreadpool");
    transport::Domain::hwbinder().joinThreads();
}

}  // namespace android::hardware
