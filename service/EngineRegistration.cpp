// SPDX-License-Identifier: Apache-2.0

#include <pthread.h>
#include <unistd.h>

#include <algorithm>

#include "base/Log.h"
#include "service/BinderMode.h"
#include "service/EngineLink.h"
#include "service/ZulService.h"

namespace zul {

namespace {

constexpr int kAttempts = 11;

/** Look-ups a second apart; false when the last one failed too. */
bool findEngine(EngineLink& link) {
    for (int attempt = 1; !link.find(); attempt++) {
        if (attempt == kAttempts) return false;
        sleep(1);
    }
    return true;
}

void* registerAgain(void* argument) {
    auto& link = *static_cast<EngineLink*>(argument);
    // Starting a pool renames the thread that does it, and this one is not the pool's.
    const auto takeName = [] { pthread_setname_np(pthread_self(), "zul_engine"); };
    takeName();
    LOGW("engine is gone");
    while (true) {
        while (!link.find() || link.registerCallbacks() != EngineLink::Answer::REGISTERED)
            sleep(1);
        takeName();
        LOGI("engine is back, thread number=%d", link.threadNumber());
        // From here on the link may be another thread's.
        if (link.linkToDeath()) return nullptr;
        LOGW("engine is gone");
        sleep(1);
    }
}

}  // namespace

void EngineLink::takeThreadNumber(int32_t threadNumber) {
    mThreadNumber = threadNumber;
    mPoolSize = std::max(mPoolSize, static_cast<uint32_t>(std::max(threadNumber, 0)) + 1);
}

void engineDied(EngineLink& link) {
    pthread_t thread;
    // Without a new thread, the one with the notice does it: there is no engine whose calls would need it.
    if (pthread_create(&thread, nullptr, registerAgain, &link) == 0) {
        pthread_detach(thread);
    } else {
        registerAgain(&link);
    }
}

int ZulService::zulRegisterCallback() {
    const bool aidlMode = readAidlMode();
    EngineLink& link = aidlMode ? aidlEngineLink() : hidlEngineLink();
    if (!findEngine(link)) {
        if (!aidlMode) LOGE("service is still nullptr after 10 attempts, return -1");
        return -1;
    }
    // Over AIDL an engine that does not answer counts as one that wants no callbacks.
    if (link.registerCallbacks() == EngineLink::Answer::NO_NUMBER && !aidlMode) return -1;
    if (!link.linkToDeath()) engineDied(link);
    return 0;
}

}  // namespace zul
