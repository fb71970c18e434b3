// SPDX-License-Identifier: Apache-2.0

#include "service/EngineWatch.h"

#include <pthread.h>
#include <string.h>
#include <unistd.h>

#include "base/Log.h"

namespace zul {

EngineWatch& EngineWatch::get() {
    static EngineWatch& watch = *new EngineWatch();
    return watch;
}

void EngineWatch::watch(EngineLink& link) {
    mLink = &link;
    if (!mRuns) {
        pthread_t thread;
        const int error = pthread_create(&thread, nullptr, run, this);
        if (error != 0) {
            LOGE("engine is not watched: %s", strerror(error));
            return;
        }
        pthread_detach(thread);
        mRuns = true;
    }
    if (!mLink->linkToDeath()) engineDied();
}

void EngineWatch::engineDied() {
    {
        const std::lock_guard<std::mutex> lock(mLock);
        mDied = true;
    }
    mChanged.notify_one();
}

void* EngineWatch::run(void* watch) {
    pthread_setname_np(pthread_self(), "zul_engine");
    auto& self = *static_cast<EngineWatch*>(watch);
    while (true) {
        self.waitForDeath();
        LOGW("engine is gone");
        self.registerAgain();
    }
    return nullptr;
}

void EngineWatch::waitForDeath() {
    std::unique_lock<std::mutex> lock(mLock);
    mChanged.wait(lock, [this] { return mDied; });
    mDied = false;
}

void EngineWatch::registerAgain() {
    while (true) {
        const EngineLink::Outcome outcome = mLink->registerCallbacks();
        if (outcome == EngineLink::Outcome::NOT_FOUND) {
            mLink->waitForEngine();
            continue;
        }
        // One that dies again and again, or is still listed after its death, is tried every second.
        if (outcome == EngineLink::Outcome::REGISTERED && mLink->linkToDeath()) break;
        sleep(1);
    }
    LOGI("engine is back, thread number=%d", mLink->threadNumber());
}

}  // namespace zul
