// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "sim/UniqueFd.h"
#include "sim/engine/Event.h"

namespace sim {

/** Where the engine listens for `fire`, and the name by which init passes the socket. */
inline constexpr char kControlName[] = "zul_engine_control";
inline constexpr char kControlSocket[] = "/dev/socket/zul_engine_control";

inline constexpr size_t kMaxTextBytes = 256 * 1024;
inline constexpr size_t kMaxFrameBytes = 3 * kMaxTextBytes + 1024;
inline constexpr uint32_t kMaxEvents = 100000;
inline constexpr uint32_t kMaxParallel = 64;

enum class Command : uint8_t { FIRE, WAIT, STATUS };

/** What `fire` asks; a command leaves the fields it does not use at their defaults. */
struct ControlRequest {
    Command command = Command::STATUS;
    uint32_t callbacks = 0;  ///< WAIT: how many must be registered
    uint32_t count = 1;      ///< FIRE: 1 to kMaxEvents
    uint32_t parallel = 1;   ///< FIRE: 1 to kMaxParallel
    Event event;
};

enum class ReplyKind : uint8_t {
    EVENT,    ///< one event of the series has ended
    DONE,     ///< the last reply of every request that was carried out
    REFUSED,  ///< the request was not understood; `status` says why
};

struct ControlReply {
    ReplyKind kind = ReplyKind::DONE;
    uint32_t number = 0;  ///< EVENT: the event's number; DONE: the registered callbacks
    bool answered = false;
    int64_t micros = 0;
    std::string status;
};

std::string encode(const ControlRequest& request);
std::string encode(const ControlReply& reply);

/**
 * Reads a frame's body. False when it is short, has bytes left over, a number out of its range, a
 * text over kMaxTextBytes, or a NUL in a text; the output is then unspecified.
 */
bool decode(std::string_view body, ControlRequest* request);
bool decode(std::string_view body, ControlReply* reply);

/**
 * Connects to the engine's control socket; a closed UniqueFd with errno set when none serves it.
 */
UniqueFd connectToControl();

/** Sends a body behind its length. False when the peer is gone or takes nothing any more. */
bool sendFrame(int fd, std::string_view body);

/**
 * Receives the body of one frame of at most kMaxFrameBytes. A negative limit waits for ever; a
 * peer that takes longer than the limit for the whole frame, or closes early, makes it false.
 */
bool receiveFrame(int fd, int limitMs, std::string* body);

}  // namespace sim
