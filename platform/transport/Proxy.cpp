// SPDX-License-Identifier: Apache-2.0
#include "Proxy.h"

#include <errno.h>
#include <poll.h>

#include <utility>

#include "Fork.h"
#include "Frame.h"
#include "Serving.h"

namespace transport {

namespace {

/** A process that ends closes one socket after the other: the channel may be the last. */
constexpr int kEndMilliseconds = 100;

}  // namespace

/** Waits for the end of the channel, which carries nothing to this side; does not hold the proxy. */
class Proxy::Watch final : public Endpoint {
  public:
    explicit Watch(std::weak_ptr<Proxy> proxy) : mProxy(std::move(proxy)) {}

    bool handleReady() override {
        if (const std::shared_ptr<Proxy> proxy = mProxy.lock()) proxy->tellDeath();
        return false;
    }

  private:
    const std::weak_ptr<Proxy> mProxy;
};

std::shared_ptr<Proxy> Proxy::make(ThreadPool& pool, FileDescriptor channel) {
    const int descriptor = channel.get();
    auto proxy = std::make_shared<Proxy>(pool, std::move(channel));
    std::lock_guard lock(proxy->mLock);
    proxy->mWatchKey = pool.add(std::make_shared<Watch>(proxy), descriptor);
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
        noteEnd();
        return android::DEAD_OBJECT;
    }
    returnConnection(std::move(connection));
    reply = unpack(mPool, answer);
    return answer.header.status;
}

android::status_t Proxy::borrowConnection(FileDescriptor* connection) {
    std::lock_guard lock(mLock);
    if (!mChannel.isValid()) {
        mDead = true;
        return android::DEAD_OBJECT;
    }
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

void Proxy::noteEnd() {
    std::lock_guard lock(mLock);
    pollfd ended{mChannel.get(), POLLIN, 0};
    if (!mChannel.isValid() || TEMP_FAILURE_RETRY(poll(&ended, 1, kEndMilliseconds)) > 0)
        mDead = true;
}

android::status_t Proxy::linkToDeath(const std::shared_ptr<DeathLink>& link) {
    std::lock_guard lock(mLock);
    if (mDead || !mChannel.isValid()) {
        mDead = true;
        return android::DEAD_OBJECT;
    }
    mLinks.push_back(link);
    return android::OK;
}

bool Proxy::unlinkToDeath(const std::shared_ptr<DeathLink>& link) {
    std::lock_guard lock(mLock);
    return std::erase_if(mLinks, [&link](const auto& other) {
               return !other.owner_before(link) && !link.owner_before(other);
           }) > 0;
}

void Proxy::tellDeath() {
    std::vector<std::weak_ptr<DeathLink>> links;
    {
        std::lock_guard lock(mLock);
        // As on a device, nobody else has asked.
        if (!mLinks.empty()) mDead = true;
        mPool.remove(mWatchKey);
        mChannel = FileDescriptor();
        mIdle = FileDescriptor();
        links.swap(mLinks);
    }
    for (const std::weak_ptr<DeathLink>& link : links) {
        if (const std::shared_ptr<DeathLink> linked = link.lock()) linked->onDeath();
    }
}

}  // namespace transport
