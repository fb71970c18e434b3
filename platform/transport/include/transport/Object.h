// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <transport/Message.h>
#include <utils/Errors.h>

#include <cstdint>
#include <functional>

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

/** Proxy of an object in another process; its end gives the object back and unlinks in silence. */
class Remote : public Object {
  public:
    /**
     * Calls the object and waits for the reply. Fails with `DEAD_OBJECT` when its process is gone
     * or goes meanwhile, and with `FAILED_TRANSACTION` when a message is too large.
     */
    virtual android::status_t call(uint32_t code, const Message& request, Message& reply) = 0;

    /**
     * Has `onDeath` called once when the process is gone, by a thread of the domain's pool and with no
     * lock held; at once when it is gone already. `DEAD_OBJECT` when others were notified of that.
     */
    virtual android::status_t linkToDeath(std::function<void()> onDeath) = 0;

    android::status_t deliver(uint32_t code, Message&& request, Message& reply) final {
        return call(code, request, reply);
    }
    Remote* asRemote() final { return this; }
};

}  // namespace transport
