// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <pthread.h>

// Clang checks these at compile time (-Wthread-safety); other compilers see nothing.
#if defined(__clang__)
#define ZUL_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define ZUL_THREAD_ANNOTATION(x)
#endif

#define ZUL_CAPABILITY(name) ZUL_THREAD_ANNOTATION(capability(name))
#define ZUL_SCOPED_CAPABILITY ZUL_THREAD_ANNOTATION(scoped_lockable)
#define ZUL_GUARDED_BY(lock) ZUL_THREAD_ANNOTATION(guarded_by(lock))
#define ZUL_REQUIRES(lock) ZUL_THREAD_ANNOTATION(requires_capability(lock))
#define ZUL_EXCLUDES(lock) ZUL_THREAD_ANNOTATION(locks_excluded(lock))
#define ZUL_ACQUIRE(...) ZUL_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define ZUL_RELEASE(...) ZUL_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define ZUL_NO_THREAD_SAFETY_ANALYSIS ZUL_THREAD_ANNOTATION(no_thread_safety_analysis)

namespace zul {

/**
 * A plain, non-recursive mutex without a constructor that has to run, and never destroyed: it can be used
 * before main, and while other threads still run at process exit.
 */
class ZUL_CAPABILITY("mutex") ServiceLock {
  public:
    constexpr ServiceLock() = default;
    ServiceLock(const ServiceLock&) = delete;
    ServiceLock& operator=(const ServiceLock&) = delete;

    void lock() ZUL_ACQUIRE() { pthread_mutex_lock(&mMutex); }
    void unlock() ZUL_RELEASE() { pthread_mutex_unlock(&mMutex); }

  private:
    pthread_mutex_t mMutex = PTHREAD_MUTEX_INITIALIZER;
};

/** Holds a ServiceLock for the length of a scope. */
class ZUL_SCOPED_CAPABILITY ScopedServiceLock {
  public:
    explicit ScopedServiceLock(ServiceLock& lock) ZUL_ACQUIRE(lock) : mLock(lock) { mLock.lock(); }
    ~ScopedServiceLock() ZUL_RELEASE() { mLock.unlock(); }
    ScopedServiceLock(const ScopedServiceLock&) = delete;
    ScopedServiceLock& operator=(const ScopedServiceLock&) = delete;

  private:
    ServiceLock& mLock;
};

}  // namespace zul
