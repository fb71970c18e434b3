// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <transport/Object.h>
#include <utils/Errors.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

namespace transport {

/**
 * A family of services with the threads that serve them. Each process has two, as on a device, and
 * keeps them to its end.
 *
 * Like on a device, a child made by `fork()` after the first use of a domain must not call into it
 * and is aborted when it does; dropping proxies there is harmless and reaches nobody.
 */
class Domain {
  public:
    /** The framework's services (`libbinder`, `libbinder_ndk`). Serves with up to 15 threads. */
    static Domain& binder();
    /** The hardware services (`libhidlbase`). Serves with one thread. */
    static Domain& hwbinder();

    Domain(const Domain&) = delete;
    Domain& operator=(const Domain&) = delete;

    /**
     * Offers `object` under `name` until the process ends, or another one is offered under it.
     * `BAD_VALUE`, with an error line, when the name makes no valid address.
     */
    android::status_t publish(const std::string& name, std::shared_ptr<Object> object);

    /** The object of this process, a proxy of another's, or null. Waits for nothing. */
    std::shared_ptr<Object> lookup(const std::string& name);

    /**
     * Calls `listener` each time that a process offers `name`, and once with true when one does
     * already; on threads of the pool, with no lock held, until the process ends. False when the
     * system refused.
     */
    bool notify(const std::string& name, std::function<void(bool preexisting)> listener);

    /** Whether the device's manifests name a service; here, whether a line of one file does. */
    static bool isDeclared(const std::string& name);

    /** As `lookup()`, but waits for the service, however long that takes; calls `warn` each second. */
    std::shared_ptr<Object> waitFor(const std::string& name, const std::function<void()>& warn);

    /**
     * Sets how many threads serve calls. With `callerWillJoin` the thread that calls
     * `joinThreads()` is one of them, else it comes on top. Threads that run already stay.
     */
    void configureThreads(size_t maxThreads, bool callerWillJoin);

    /**
     * Lets calls be served: a first thread now, each further one when all others are busy. A call
     * that finds the maximum busy waits. Has no effect on threads that run already.
     */
    void startThreads();

    /** Serves on the calling thread; returns only when the system gives no events any more. */
    void joinThreads();

  private:
    Domain(const char* prefix, size_t maxThreads);
    ~Domain() = delete;

    struct State;
    State* const mState;
};

}  // namespace transport
