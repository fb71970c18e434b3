// SPDX-License-Identifier: Apache-2.0
#include "ThreadPool.h"

#include <android/log.h>
#include <errno.h>
#include <malloc.h>
#include <poll.h>
#include <pthread.h>
#include <string.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>

#include <utility>

#include "Log.h"

namespace transport {

/** What comes from within the process: the event counts the tasks that wait. */
class ThreadPool::Tasks final : public Endpoint {
  public:
    explicit Tasks(ThreadPool& pool) : mPool(pool) {}

    int descriptor() const { return mEvent.get(); }
    void setKey(uint64_t key) { mKey = key; }

    void add(std::function<void()> task) {
        {
            std::lock_guard lock(mLock);
            mWaiting.push_back(std::move(task));
        }
        eventfd_write(mEvent.get(), 1);
    }

    bool handleReady() override {
        eventfd_t one;
        if (eventfd_read(mEvent.get(), &one) != 0) return true;
        std::function<void()> task;
        {
            std::lock_guard lock(mLock);
            task = std::move(mWaiting.front());
            mWaiting.pop_front();
        }
        // The next task need not wait for the end of this one.
        mPool.rearm(mKey);
        task();
        return true;
    }

  private:
    ThreadPool& mPool;
    uint64_t mKey = 0;
    const FileDescriptor mEvent{eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK | EFD_SEMAPHORE)};

    std::mutex mLock;  // guards what follows
    std::deque<std::function<void()>> mWaiting;
};

ThreadPool::ThreadPool(size_t maxThreads)
      : mEpoll(epoll_create1(EPOLL_CLOEXEC)),
        mTasks(std::make_shared<Tasks>(*this)),
        mSpawnLimit(maxThreads) {
    if (!mEpoll.isValid())
        __android_log_print(ANDROID_LOG_ERROR, kLogTag, "epoll_create1: %s", strerror(errno));
    mTasks->setKey(add(mTasks, mTasks->descriptor()));
    // A heap for each thread would be copied for each child, and grow with the threads' turns.
    mallopt(M_ARENA_MAX, 1);
}

void ThreadPool::configure(size_t maxThreads, bool callerWillJoin) {
    std::lock_guard lock(mLock);
    mSpawnLimit = maxThreads > 0 && callerWillJoin ? maxThreads - 1 : maxThreads;
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
        mThreads++;
    }
    serve();
    std::lock_guard lock(mLock);
    mThreads--;
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
    mThreads++;
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
        const uint64_t key = event.data.u64;
        // Dropped before the thread waits again: a removed endpoint must not outlive its use.
        std::shared_ptr<Endpoint> endpoint = take(key);
        bool keep = endpoint != nullptr && endpoint->handleReady();
        // What has come meanwhile stays with this thread: watched again, it would wake another one for
        // nothing. Only while one is free, or this endpoint could hold up all others.
        while (keep && hasReadyForFreeThread(key))
            keep = endpoint->handleReady();
        putBack(key, keep);
    }
}

std::shared_ptr<Endpoint> ThreadPool::take(uint64_t key) {
    std::lock_guard lock(mLock);
    mIdle--;
    spawnIfAllBusy();
    auto found = mWatched.find(key);
    return found != mWatched.end() ? found->second.endpoint : nullptr;
}

bool ThreadPool::hasReadyForFreeThread(uint64_t key) {
    std::lock_guard lock(mLock);
    auto found = mWatched.find(key);
    if (found == mWatched.end() || mIdle == 0) return false;
    pollfd readable{found->second.descriptor, POLLIN, 0};
    return poll(&readable, 1, 0) == 1;
}

void ThreadPool::putBack(uint64_t key, bool keep) {
    std::shared_ptr<Endpoint> dropped;
    std::lock_guard lock(mLock);
    mIdle++;
    auto found = mWatched.find(key);
    if (found == mWatched.end()) return;
    if (keep) {
        control(EPOLL_CTL_MOD, key, found->second);
        return;
    }
    epoll_ctl(mEpoll.get(), EPOLL_CTL_DEL, found->second.descriptor, nullptr);
    dropped = std::move(found->second.endpoint);
    mWatched.erase(found);
}

int ThreadPool::control(int operation, uint64_t key, const Watched& watched) const {
    // One event wakes one thread, and nothing more comes until that thread is done with it.
    epoll_event event{EPOLLIN | EPOLLONESHOT, {.u64 = key}};
    if (watched.endpoint->wantsToWrite()) event.events |= EPOLLOUT;
    return epoll_ctl(mEpoll.get(), operation, watched.descriptor, &event);
}

void ThreadPool::rearm(uint64_t key) {
    std::lock_guard lock(mLock);
    auto found = mWatched.find(key);
    if (found != mWatched.end()) control(EPOLL_CTL_MOD, key, found->second);
}

uint64_t ThreadPool::add(std::shared_ptr<Endpoint> endpoint, int descriptor) {
    std::lock_guard lock(mLock);
    const uint64_t key = mNextKey++;
    const Watched watched{std::move(endpoint), descriptor};
    if (control(EPOLL_CTL_ADD, key, watched) != 0) {
        __android_log_print(ANDROID_LOG_ERROR, kLogTag, "epoll_ctl: %s", strerror(errno));
        return 0;
    }
    mWatched.emplace(key, watched);
    return key;
}

void ThreadPool::run(std::function<void()> task) {
    mTasks->add(std::move(task));
}

void ThreadPool::remove(uint64_t key) {
    std::shared_ptr<Endpoint> dropped;
    std::lock_guard lock(mLock);
    auto found = mWatched.find(key);
    if (found == mWatched.end()) return;
    // By hand: while a forked child still holds the socket, closing it does not end the watch.
    epoll_ctl(mEpoll.get(), EPOLL_CTL_DEL, found->second.descriptor, nullptr);
    dropped = std::move(found->second.endpoint);
    mWatched.erase(found);
}

}  // namespace transport
