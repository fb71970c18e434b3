// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <transport/Message.h>
#include <utils/Errors.h>

#include <cstdint>

namespace transport {

class Remote;

/** Something that can be called: an object of this process, or the proxy of one elsewhere. */
class Object {
  public:
    virtual ~Object() = default;

    /**
     * Runs one call to its end. Takes the request over; `reply` starts empty. May be called from
     * several threads at once. The result travels to the caller; a failed call has no reply.
     */
    virtual android::status_t deliver(uint32_t code, Message&& request, Message& reply) = 0;

    /** The object itself when it is a proxy, else null. */
    virtual Remote* asRemote() { return nullptr; }

    /** What a library keeps behind an object of this process (its own type); null for proxies. */
    virtual void* local() { return nullptr; }
};

/** What wants to know that the process of an object is gone. Its owner keeps it. */
class DeathLink {
  public:
    virtual ~DeathLink() = default;
    /** Called at most once, by a thread of the domain's pool and with no lock held. */
    virtual void onDeath() = 0;
};

/** Proxy of an object in another process; its end gives the object back and unlinks in silence. */
class Remote : public Object {
  public:
    /**
     * Calls the object and waits for the reply. Fails with `DEAD_OBJECT` when its process is gone
     * or goes meanwhile, and with `FAILED_TRANSACTION` when a message is too large.
     */
    virtual android::status_t call(uint32_t code, const Message& request, Message& reply) = 0;

    /** False once the process of the object is known to be gone. */
    virtual bool isAlive() = 0;

    /** Asks for a notice, and keeps `link` weakly. `DEAD_OBJECT` when the process is known to be gone. */
    virtual android::status_t linkToDeath(const std::shared_ptr<DeathLink>& link) = 0;
    /** False when `link` is not known, or when its notice is under way. */
    virtual bool unlinkToDeath(const std::shared_ptr<DeathLink>& link) = 0;

    android::status_t deliver(uint32_t code, Message&& request, Message& reply) final {
        return call(code, request, reply);
    }
    Remote* asRemote() final { return this; }
};

}  // namespace transport
