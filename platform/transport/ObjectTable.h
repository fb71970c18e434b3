// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <transport/Object.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Frame.h"

namespace transport {

class Proxy;

/**
 * The objects that go over one session, in both directions: those of this side that the peer holds
 * (counted once per send) and the proxies of the peer's. Locked inside; no object ends while the
 * lock is held, because its end may run anybody's code.
 */
class ObjectTable {
  public:
    using MakeProxy = std::function<std::shared_ptr<Proxy>(uint64_t handle)>;

    /** `root`, if any, is what the peer calls by `kRootHandle`, for as long as the table lives. */
    explicit ObjectTable(std::shared_ptr<Object> root);

    /**
     * Counts the message's objects as sent to the peer and names them. A peer's own object that
     * goes home in a reply is kept until `homeReceived()`: the proxy's release takes another way
     * and could overtake the reply.
     */
    std::vector<ObjectEntry> encode(const Message& message, const void* session, bool isReply);

    /**
     * Turns names into objects; those of this side are added to `home`. `BAD_TYPE` when one names
     * what the peer does not hold.
     */
    android::status_t decode(const std::vector<ObjectEntry>& entries, const MakeProxy& makeProxy,
                             std::vector<std::shared_ptr<Object>>* objects,
                             std::vector<uint64_t>* home);

    /** An object of this side that the peer holds, or null. */
    std::shared_ptr<Object> find(uint64_t handle);

    /** The peer gives references back. Returns the object if those were the last. */
    std::shared_ptr<Object> release(uint64_t handle, uint32_t count);

    /** The peer has its own object again. Returns what was kept for that. */
    std::shared_ptr<Object> homeReceived(uint64_t handle);

    /** A proxy came to its end. */
    void proxyGone(uint64_t handle);
    /** Counts a proxy that came by another way than a message. */
    void addProxy(uint64_t handle, const std::shared_ptr<Proxy>& proxy);

    /** The proxies that are in use. */
    std::vector<std::shared_ptr<Proxy>> proxies();

    /** True when neither side holds anything of the other, but for the root. */
    bool isUnused();

    /** Takes everything that the peer held; nothing is counted as held any more. */
    std::vector<std::shared_ptr<Object>> clear();

  private:
    struct Exported {
        std::shared_ptr<Object> object;
        uint64_t count;
    };

    std::mutex mLock;
    std::shared_ptr<Object> mRoot;
    std::unordered_map<uint64_t, Exported> mExported;
    std::unordered_map<const Object*, uint64_t> mHandles;
    uint64_t mNextHandle = kRootHandle + 1;
    std::unordered_map<uint64_t, std::weak_ptr<Proxy>> mProxies;
    size_t mLiveProxies = 0;
    bool mCleared = false;
    std::vector<std::pair<uint64_t, std::shared_ptr<Object>>> mGoingHome;
};

}  // namespace transport
