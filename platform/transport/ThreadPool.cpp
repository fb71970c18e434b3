// SPDX-License-Identifier: Apache-2.0
#include "ThreadPool.h"

#include <android/log.h>
#include <errno.h>
#include <malloc.h>
#include <pthread.h>
#include <stdlib.h>
#include <string.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>

#include <utility>

#include "Log.h"

namespace transport {

namespace {

/** Is ready at once. */
class Task final : public Endpoint {
  public:
    explicit Task(std::function<void()> work) : mWork(std::move(work)) {}

    int descriptor() const override { return mEvent.get(); }

    bool handleReady() override {
        mWork();
        return false;
    }

  private:
    const FileDescriptor mEvent{eventfd(1, EFD_CLOEXEC)};
    const std::function<void()> mWork;
};

}  // namespace

ThreadPool::ThreadPool(size_t maxThreads)
      : mEpoll(epoll_create1(EPOLL_CLOEXEC)), mSpawnLimit(maxThreads) {
    if (!mEpoll.isValid()) {
        // As on a device where binder cannot be opened.
        __android_log_print(ANDROID_LOG_FATAL, kLogTag, "epoll_create1: %s", strerror(errno));
        abort();
    }
    // A heap for each thread would be copied for each child, and grow with the threads' turns.
    mallopt(M_ARENA_MAX, 1);
}

void ThreadPool::configure(size_t maxThreads, bool callerWillJoin) {
    std::lock_guard lock(mLock);
    mSpawnLimit = callerWillJoin ? maxThreads - 1 : maxThreads;
    spawnIfAllBusy();
}

void ThreadPool::start() {
    std::lock_guard lock(mLock);
    mStarted = true;
    spawnIfAllBusy();
}

void ThreadPool::join() {
    {
        std::lock_guard lock(mLock);
        mStarted = true;
        mIdle++;
    }
    serve();
}

void ThreadPool::spawnIfAllBusy() {
    if (!mStarted || mIdle > 0 || mSpawned >= mSpawnLimit) return;
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_t thread;
    const int error = pthread_create(&thread, &attributes, threadMain, this);
    pthread_attr_destroy(&attributes);
    if (error != 0) {
        __android_log_print(ANDROID_LOG_ERROR, kLogTag, "no thread for the pool: %s",
                            strerror(error));
        return;
    }
    mSpawned++;
    mIdle++;
}

void* ThreadPool::threadMain(void* pool) {
    static_cast<ThreadPool*>(pool)->serve();
    return nullptr;
}

void ThreadPool::serve() {
    while (true) {
        epoll_event event;
        const int count = epoll_wait(mEpoll.get(), &event, 1, -1);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) {
            __android_log_print(ANDROID_LOG_ERROR, kLogTag, "epoll_wait: %s", strerror(errno));
            return;
        }
        std::shared_ptr<Endpoint> endpoint = take(event.data.u64);
        if (endpoint != nullptr && !endpoint->handleReady()) remove(event.data.u64);
        // Before the thread counts as idle: the end of an endpoint may run anybody's code.
        endpoint.reset();
        putBack(event.data.u64);
    }
}

std::shared_ptr<Endpoint> ThreadPool::take(uint64_t key) {
    std::lock_guard lock(mLock);
    mIdle--;
    spawnIfAllBusy();
    auto found = mWatched.find(key);
    return found != mWatched.end() ? found->second : nullptr;
}

void ThreadPool::putBack(uint64_t key) {
    std::lock_guard lock(mLock);
    mIdle++;
    auto found = mWatched.find(key);
    if (found != mWatched.end()) control(EPOLL_CTL_MOD, key, *found->second);
}

int ThreadPool::control(int operation, uint64_t key, const Endpoint& endpoint) const {
    // One event wakes one thread, and nothing more comes until that thread is done with it.
    epoll_event event{EPOLLIN | EPOLLONESHOT, {.u64 = key}};
    return epoll_ctl(mEpoll.get(), operation, endpoint.descriptor(), &event);
}

uint64_t ThreadPool::add(std::shared_ptr<Endpoint> endpoint) {
    std::lock_guard lock(mLock);
    const uint64_t key = mNextKey++;
    if (control(EPOLL_CTL_ADD, key, *endpoint) != 0) {
        __android_log_print(ANDROID_LOG_ERROR, kLogTag, "epoll_ctl: %s", strerror(errno));
        return 0;
    }
    mWatched.emplace(key, std::move(endpoint));
    return key;
}

void ThreadPool::remove(uint64_t key) {
    // Ends after the lock is released: its end may run anybody's code.
    std::shared_ptr<Endpoint> dropped;
    std::lock_guard lock(mLock);
    auto found = mWatched.find(key);
    if (found == mWatched.end()) return;
    // By hand: while a forked child still holds the socket, closing it does not end the watch.
    control(EPOLL_CTL_DEL, key, *found->second);
    dropped = std::move(found->second);
    mWatched.erase(found);
}

bool ThreadPool::run(std::function<void()> task) {
    return add(std::make_shared<Task>(std::move(task))) != 0;
}

}  // namespace transport
