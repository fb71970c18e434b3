// SPDX-License-Identifier: Apache-2.0
#include "Proxy.h"

#include <utility>

#include "Fork.h"
#include "Frame.h"
#include "Serving.h"

namespace transport {

/** Waits for the end of the channel, which carries nothing to this side; does not hold the proxy. */
class Proxy::Watch final : public Endpoint {
  public:
    Watch(std::weak_ptr<Proxy> proxy, int channel) : mProxy(std::move(proxy)), mChannel(channel) {}

    int descriptor() const override { return mChannel; }
    bool handleReady() override {
        if (const std::shared_ptr<Proxy> proxy = mProxy.lock()) proxy->tellDeath();
        return false;
    }

  private:
    const std::weak_ptr<Proxy> mProxy;
    const int mChannel;
};

std::shared_ptr<Proxy> Proxy::make(ThreadPool& pool, FileDescriptor channel) {
    const int descriptor = channel.get();
    auto proxy = std::make_shared<Proxy>(pool, std::move(channel));
    std::lock_guard lock(proxy->mLock);
    proxy->mWatchKey = pool.add(std::make_shared<Watch>(proxy, descriptor));
    return proxy->mWatchKey != 0 ? proxy : nullptr;
}

Proxy::Proxy(ThreadPool& pool, FileDescriptor channel)
      : mPool(pool), mChannel(std::move(channel)) {}

Proxy::~Proxy() {
    // A child shares the set of what is watched with its parent.
    if (!isForkedChild()) mPool.remove(mWatchKey);
}

android::status_t Proxy::call(uint32_t code, const Message& request, Message& reply) {
    abortInForkedChild();
    Frame frame;
    frame.header.code = code;
    if (!pack(mPool, request, &frame)) return android::FAILED_TRANSACTION;
    FileDescriptor connection;
    const android::status_t borrowed = borrowConnection(&connection);
    if (borrowed != android::OK) return borrowed;
    Frame answer;
    if (!sendFrame(connection.get(), frame) ||
        readFrame(connection.get(), &answer) != ReadResult::WHOLE) {
        return android::DEAD_OBJECT;
    }
    returnConnection(std::move(connection));
    reply = unpack(mPool, answer);
    return answer.header.status;
}

android::status_t Proxy::borrowConnection(FileDescriptor* connection) {
    std::lock_guard lock(mLock);
    if (!mChannel.isValid()) return android::DEAD_OBJECT;
    if (mIdle.isValid()) {
        *connection = std::move(mIdle);
        return android::OK;
    }
    Frame offer;
    if (!connectPair(connection, &offer.descriptors.emplace_back())) {
        return android::FAILED_TRANSACTION;
    }
    // When it fails, so does the call on the new connection.
    sendFrame(mChannel.get(), offer);
    return android::OK;
}

void Proxy::returnConnection(FileDescriptor connection) {
    std::lock_guard lock(mLock);
    if (mChannel.isValid()) mIdle = std::move(connection);
}

android::status_t Proxy::linkToDeath(std::function<void()> onDeath) {
    std::lock_guard lock(mLock);
    if (mTold) return android::DEAD_OBJECT;
    // As on a device, where only those who ask are notified: what a failed call has seen does not count.
    const auto tell = [self = weak_from_this()] {
        if (const std::shared_ptr<Proxy> proxy = self.lock()) proxy->tellDeath();
    };
    if (!mChannel.isValid() && !mPool.run(tell)) return android::UNKNOWN_ERROR;
    mLinks.push_back(std::move(onDeath));
    return android::OK;
}

void Proxy::tellDeath() {
    std::vector<std::function<void()>> links;
    {
        std::lock_guard lock(mLock);
        mTold = mTold || !mLinks.empty();
        mPool.remove(mWatchKey);
        mChannel = FileDescriptor();
        mIdle = FileDescriptor();
        links.swap(mLinks);
    }
    for (const std::function<void()>& onDeath : links)
        onDeath();
}

}  // namespace transport
