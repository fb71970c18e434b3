// SPDX-License-Identifier: Apache-2.0
#include <android/binder_manager.h>
#include <android/binder_process.h>
#include <android/log.h>
#include <binder/Binder.h>
#include <binder/IPCThreadState.h>
#include <binder/IServiceManager.h>
#include <binder/ProcessState.h>
#include <transport/Domain.h>

#include "Internal.h"

using ::android::defaultServiceManager;
using ::android::ProcessState;
using ::android::String16;

binder_exception_t AServiceManager_addService(AIBinder* binder, const char* instance) {
    if (binder == nullptr || instance == nullptr) return EX_ILLEGAL_ARGUMENT;
    // What is offered here has the stability of a vendor's interface.
    if (!transport::Domain::isDeclared(instance)) {
        __android_log_print(ANDROID_LOG_ERROR, "ServiceManager",
                            "Could not find %s in the VINTF manifest.", instance);
        return EX_ILLEGAL_ARGUMENT;
    }
    switch (defaultServiceManager()->addService(String16(instance), binder->binder())) {
        case STATUS_OK:
            return EX_NONE;
        case STATUS_BAD_VALUE:
            return EX_ILLEGAL_ARGUMENT;
        default:
            return EX_ILLEGAL_STATE;
    }
}

AIBinder* AServiceManager_checkService(const char* instance) {
    if (instance == nullptr) return nullptr;
    return AIBinder_fromPlatformBinder(defaultServiceManager()->checkService(String16(instance)));
}

AIBinder* AServiceManager_waitForService(const char* instance) {
    if (instance == nullptr) return nullptr;
    const auto warn = [instance] {
        __android_log_print(
                ANDROID_LOG_WARN, "ServiceManagerCppClient",
                "Waited one second for %s (is service started? Number of threads started "
                "in the threadpool: %zu. Are binder threads started and available?)",
                instance, ProcessState::self()->getThreadPoolMaxTotalThreadCount());
    };
    return AIBinder_fromPlatformBinder(
            android::fromTransport(transport::Domain::binder().waitFor(instance, warn)));
}

bool ABinderProcess_setThreadPoolMaxThreadCount(uint32_t numThreads) {
    return ProcessState::self()->setThreadPoolMaxThreadCount(numThreads) == android::OK;
}

void ABinderProcess_startThreadPool() {
    ProcessState::self()->startThreadPool();
}

void ABinderProcess_joinThreadPool() {
    android::IPCThreadState::self()->joinThreadPool();
}
