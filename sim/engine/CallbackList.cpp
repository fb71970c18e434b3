// SPDX-License-Identifier: Apache-2.0
#include "sim/engine/CallbackList.h"

#include <stdio.h>

#include <utility>

namespace sim {

uint64_t CallbackList::add(std::shared_ptr<EventSink> sink) {
    std::lock_guard lock(mLock);
    const uint64_t key = mNextKey++;
    mSinks.emplace(key, std::move(sink));
    // Under the lock: who reads the line finds the callback, who waited for it finds the line.
    printf("engine: callback registered, %zu in the list\n", mSinks.size());
    mAdded.notify_all();
    return key;
}

void CallbackList::remove(uint64_t key) {
    // Destroyed after the lock is released, since that notifies the other process.
    decltype(mSinks)::node_type removed;
    std::lock_guard lock(mLock);
    removed = mSinks.extract(key);
    if (!removed.empty()) printf("engine: client gone, %zu in the list\n", mSinks.size());
}

CallbackList::Sinks CallbackList::all() const {
    std::lock_guard lock(mLock);
    Sinks sinks;
    for (const auto& [key, sink] : mSinks)
        sinks.push_back(sink);
    return sinks;
}

size_t CallbackList::size() const {
    std::lock_guard lock(mLock);
    return mSinks.size();
}

size_t CallbackList::waitFor(size_t wanted, std::chrono::milliseconds limit) {
    std::unique_lock lock(mLock);
    mAdded.wait_for(lock, limit, [&] { return mSinks.size() >= wanted; });
    return mSinks.size();
}

}  // namespace sim
