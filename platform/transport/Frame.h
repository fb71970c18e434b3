// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <type_traits>
#include <vector>

#include "FileDescriptor.h"

namespace transport {

/** Starts every frame; the bytes follow, and the descriptors go along with it. */
struct FrameHeader {
    static constexpr uint32_t kMagic = 0x4c555a54;

    uint32_t magic = kMagic;
    uint32_t size = 0;         // of the bytes
    uint32_t descriptors = 0;  // how many
    uint32_t code = 0;         // of a request
    int32_t status = 0;        // of a reply
};
static_assert(std::is_trivially_copyable_v<FrameHeader>);

/** What one side of a connection sends in one go. */
struct Frame {
    FrameHeader header;
    std::vector<uint8_t> bytes;
    std::vector<FileDescriptor> descriptors;
};

/** Fills in the header's sizes and sends it all. False when the connection is of no use any more. */
bool sendFrame(int socket, Frame& frame);

enum class ReadResult {
    WHOLE,
    /** The connection has ended, or what came is not a frame or too large for one. */
    ENDED,
    /** The system had no room for it. The connection lives. */
    FAILED,
};

/** Waits for a frame. Anything else gets an error line. */
ReadResult readFrame(int socket, Frame* frame);

}  // namespace transport
