// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utils/Errors.h>

#include <cstdint>
#include <type_traits>
#include <vector>

#include "FileDescriptor.h"

namespace transport {

class Message;

inline constexpr uint32_t kMagic = 0x4c555a54;
inline constexpr uint64_t kRootHandle = 0;

enum class FrameKind : uint16_t {
    // On a data connection: a request one way, its reply the other.
    Request = 1,
    Reply = 2,
    // On the control connection, bytes and objects none.
    OfferConnection = 3,  // carries one end of a new data connection
    Release = 4,          // `count` references of the sender's proxy are given back
    HomeReceived = 5,     // the receiver's object `handle` has arrived in a reply
};

/** Starts every frame; the bytes and then the object table follow. */
struct FrameHeader {
    uint32_t magic = kMagic;
    FrameKind kind{};
    uint16_t objectCount = 0;
    uint32_t size = 0;   // of the bytes
    uint32_t code = 0;   // of a request
    int32_t status = 0;  // of a reply
    uint32_t count = 0;
    uint64_t handle = 0;
};
static_assert(sizeof(FrameHeader) == 32 && std::is_trivially_copyable_v<FrameHeader>);

/** One entry of the object table. */
struct ObjectEntry {
    enum : uint64_t { SendersOwn = 1, ReceiversOwn = 2 };
    uint64_t owner = 0;
    uint64_t handle = 0;
};

enum class ReadResult { Complete, Partial, Closed, Malformed };

/** Collects one frame of a data connection, over as many reads as its sender likes to take. */
class FrameReader {
  public:
    /**
     * Reads once. `flags` are those of `recv()`; `Partial` means that more is to come, now or
     * later. `Malformed` covers every frame that the protocol does not allow.
     */
    ReadResult readSome(int socket, FrameKind expected, int flags);

    const FrameHeader& header() const { return mHeader; }
    std::vector<ObjectEntry> takeObjects();
    /** The frame's header and bytes without the object table; the reader is ready for the next. */
    std::vector<uint8_t> takeBytes();

  private:
    bool parseHeader(FrameKind expected);

    FrameHeader mHeader;
    std::vector<uint8_t> mBuffer;
    size_t mHave = 0;
    size_t mTotal = 0;  // 0 until the header is there
};

/**
 * Sends a whole frame; the header's sizes must fit. False when the connection is of no use, or when
 * the peer has not made room for all of it within `timeoutMs`; -1 waits for ever.
 */
bool sendFrame(int socket, const FrameHeader& header, const Message* message,
               const std::vector<ObjectEntry>& objects, int timeoutMs = -1);

/** Outcome of sending a control frame without waiting. */
enum class SendResult { Sent, WouldBlock, Failed };

/** Sends a control frame, with `descriptor` unless it is -1. Never waits. */
SendResult sendControl(int socket, const FrameHeader& header, int descriptor);

/**
 * Takes one control frame, with the descriptor that belongs to an offered connection; that one is
 * invalid when this process has no descriptor left. Never waits: `Partial` when nothing is there.
 */
ReadResult receiveControl(int socket, FrameHeader* header, FileDescriptor* descriptor);

}  // namespace transport
