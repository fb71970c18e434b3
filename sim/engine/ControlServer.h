// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <semaphore>
#include <string>

#include "sim/UniqueFd.h"
#include "sim/engine/CallbackList.h"

namespace sim {

struct ControlRequest;

/** Serves `fire`: each connection carries one request and is served on a thread of its own. */
class ControlServer {
  public:
    /** The list must outlive the server. */
    explicit ControlServer(CallbackList& callbacks) : mCallbacks(callbacks) {}
    ControlServer(const ControlServer&) = delete;
    ControlServer& operator=(const ControlServer&) = delete;

    /**
     * Takes the control socket, also over from an engine that is gone. Returns an empty text, or
     * why the socket cannot be had, for instance because another engine serves it.
     */
    std::string open();

    /** Serves connections until the process ends. */
    [[noreturn]] void serve();

  private:
    static constexpr int kMaxClients = 16;

    void serveClient(int client);
    void fire(int client, const ControlRequest& request);

    CallbackList& mCallbacks;
    UniqueFd mListener;
    // A client over the limit waits in the socket's own queue.
    std::counting_semaphore<kMaxClients> mSlots{kMaxClients};
};

}  // namespace sim
