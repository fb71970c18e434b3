// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

namespace sim {

/** The four operations of the engine's client callback. */
enum class EventKind : uint8_t { SIMP, ZUL, SIMP_MULTI, MULTI };

/**
 * One event as the engine reports it; a kind leaves the fields it does not carry at their defaults.
 */
struct Event {
    EventKind kind = EventKind::SIMP;
    std::string sceneType;
    int64_t flag = 0;
    int32_t pid = 0;
    std::string multiPid;
    std::string extraInfo;
};

/** What became of one call to a client; the status text says why it was not answered. */
struct Delivery {
    bool answered = false;
    std::string status;
};

/**
 * One registered client callback, whichever binder it came over. Safe to use from several threads
 * at once.
 */
class EventSink {
  public:
    virtual ~EventSink() = default;

    /** Calls the client and returns when it has answered, which takes as long as its capture. */
    virtual Delivery deliver(const Event& event) = 0;
};

}  // namespace sim
