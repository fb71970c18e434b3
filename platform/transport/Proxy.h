// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <transport/Object.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "FileDescriptor.h"
#include "ThreadPool.h"

namespace transport {

/**
 * An object of another process: this side's end of the channel that the object is served on. A call
 * takes a new connection, which the channel carries over; the caller reads its reply itself.
 */
class Proxy final : public Remote, public std::enable_shared_from_this<Proxy> {
  public:
    /** Null, with an error line, when the system does not let the channel be watched. */
    static std::shared_ptr<Proxy> make(ThreadPool& pool, FileDescriptor channel);

    /** For `make()` alone. */
    Proxy(ThreadPool& pool, FileDescriptor channel);
    ~Proxy() override;

    android::status_t call(uint32_t code, const Message& request, Message& reply) override;
    android::status_t linkToDeath(std::function<void()> onDeath) override;

  private:
    class Watch;

    android::status_t borrowConnection(FileDescriptor* connection);
    void returnConnection(FileDescriptor connection);
    void tellDeath();

    ThreadPool& mPool;

    std::mutex mLock;         // guards what follows
    FileDescriptor mChannel;  // invalid once its end has been seen
    FileDescriptor mIdle;     // for the next call
    std::vector<std::function<void()>> mLinks;
    bool mTold = false;  // somebody was notified of the end
    uint64_t mWatchKey = 0;
};

}  // namespace transport
