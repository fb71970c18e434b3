// SPDX-License-Identifier: Apache-2.0
#include "sim/engine/CallbackList.h"

#include <stdio.h>

#include <algorithm>
#include <iterator>
#include <utility>

namespace sim {

void CallbackList::add(std::shared_ptr<EventSink> sink) {
    std::lock_guard lock(mLock);
    mSinks.push_back(std::move(sink));
    ++mRegistrations;
    // Under the lock: who reads the line finds the callback, who waited for it finds the line.
    printf("engine: callback registered, %zu in the list\n", mSinks.size());
    mAdded.notify_all();
}

CallbackList::Sinks CallbackList::all() const {
    std::lock_guard lock(mLock);
    return mSinks;
}

size_t CallbackList::dropDead() {
    const Sinks sinks = all();
    Sinks dead;
    std::copy_if(sinks.begin(), sinks.end(), std::back_inserter(dead),
                 [](const auto& sink) { return !sink->isAlive(); });

    std::lock_guard lock(mLock);
    std::erase_if(mSinks, [&](const auto& sink) {
        return std::find(dead.begin(), dead.end(), sink) != dead.end();
    });
    return mSinks.size();
}

size_t CallbackList::waitFor(size_t wanted, std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    std::unique_lock lock(mLock);
    for (;;) {
        const size_t seen = mRegistrations;
        lock.unlock();
        const size_t alive = dropDead();
        lock.lock();
        if (alive >= wanted ||
            !mAdded.wait_until(lock, deadline, [&] { return mRegistrations != seen; })) {
            return alive;
        }
    }
}

}  // namespace sim
