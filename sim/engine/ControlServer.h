// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <condition_variable>
#include <mutex>
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
     * Listens on the control socket that init has passed. Returns an empty text, or why that is not
     * possible.
     */
    std::string open();

    /** Serves connections until the process ends. */
    [[noreturn]] void serve();

  private:
    static constexpr int kMaxClients = 16;

    /** Waits until fewer than kMaxClients are served, and counts one more. */
    void enter();
    void leave();
    void serveClient(int client);
    void fire(int client, const ControlRequest& request);

    CallbackList& mCallbacks;
    UniqueFd mListener;
    // A client over the limit waits in the socket's own queue.
    std::mutex mClientLock;  // guards mClients
    std::condition_variable mClientLeft;
    int mClients = 0;
};

}  // namespace sim
