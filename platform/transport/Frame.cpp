// SPDX-License-Identifier: Apache-2.0
#include "Frame.h"

#include <errno.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <transport/Message.h>

#include <algorithm>
#include <chrono>
#include <cstring>

namespace transport {

namespace {

// Enough for the usual call, so that one read takes the whole frame.
constexpr size_t kFirstRead = 1024;

// More descriptors than a frame may carry, so that surplus ones arrive and can be closed.
constexpr size_t kMaxDescriptors = 8;

using Clock = std::chrono::steady_clock;

/** False when `timeoutMs` after `start` there is no room. */
bool waitForRoom(int socket, Clock::time_point start, int timeoutMs) {
    pollfd writable{socket, POLLOUT, 0};
    if (timeoutMs < 0) return poll(&writable, 1, -1) != 0;
    const auto passed = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start);
    return passed.count() < timeoutMs &&
           poll(&writable, 1, timeoutMs - static_cast<int>(passed.count())) != 0;
}

}  // namespace

bool FrameReader::parseHeader(FrameKind expected) {
    memcpy(&mHeader, mBuffer.data(), sizeof(mHeader));
    if (mHeader.magic != kMagic || mHeader.kind != expected) return false;
    if (mHeader.size > kMaxMessageBytes || mHeader.objectCount > kMaxMessageObjects) return false;
    mTotal = sizeof(mHeader) + mHeader.size + mHeader.objectCount * sizeof(ObjectEntry);
    return true;
}

ReadResult FrameReader::readSome(int socket, FrameKind expected, int flags) {
    mBuffer.resize(mTotal == 0 ? kFirstRead : std::max(mTotal, mHave));
    ssize_t got;
    do {
        got = recv(socket, mBuffer.data() + mHave, mBuffer.size() - mHave, flags);
    } while (got < 0 && errno == EINTR);
    if (got == 0) return mHave == 0 ? ReadResult::Closed : ReadResult::Malformed;
    if (got < 0) return errno == EAGAIN ? ReadResult::Partial : ReadResult::Closed;

    mHave += static_cast<size_t>(got);
    if (mTotal == 0) {
        if (mHave < sizeof(mHeader)) return ReadResult::Partial;
        if (!parseHeader(expected)) return ReadResult::Malformed;
    }
    if (mHave < mTotal) return ReadResult::Partial;
    // A caller waits for its reply: what follows a whole frame cannot be another one.
    return mHave == mTotal ? ReadResult::Complete : ReadResult::Malformed;
}

std::vector<ObjectEntry> FrameReader::takeObjects() {
    std::vector<ObjectEntry> objects(mHeader.objectCount);
    if (!objects.empty()) {
        memcpy(objects.data(), mBuffer.data() + sizeof(mHeader) + mHeader.size,
               objects.size() * sizeof(ObjectEntry));
    }
    return objects;
}

std::vector<uint8_t> FrameReader::takeBytes() {
    mBuffer.resize(sizeof(mHeader) + mHeader.size);
    mHave = 0;
    mTotal = 0;
    return std::exchange(mBuffer, {});
}

bool sendFrame(int socket, const FrameHeader& header, const Message* message,
               const std::vector<ObjectEntry>& objects, int timeoutMs) {
    // sendmsg() only reads what the vector points to.
    auto* bytes = message != nullptr ? const_cast<uint8_t*>(message->data()) : nullptr;
    iovec parts[] = {
            {const_cast<FrameHeader*>(&header), sizeof(header)},
            {bytes, header.size},
            {const_cast<ObjectEntry*>(objects.data()), objects.size() * sizeof(ObjectEntry)},
    };
    msghdr unsent{};
    unsent.msg_iov = parts;
    unsent.msg_iovlen = std::size(parts);

    // Not with SO_SNDTIMEO: a reader that takes a little at a time starts it anew each time, and a
    // peer that kept a copy of a socket that it offered may change its options.
    const Clock::time_point start = Clock::now();
    while (unsent.msg_iovlen > 0) {
        ssize_t sent = sendmsg(socket, &unsent, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent < 0 && errno == EINTR) continue;
        if (sent < 0 && errno == EAGAIN && waitForRoom(socket, start, timeoutMs)) continue;
        if (sent < 0) return false;
        while (unsent.msg_iovlen > 0 && static_cast<size_t>(sent) >= unsent.msg_iov->iov_len) {
            sent -= static_cast<ssize_t>(unsent.msg_iov->iov_len);
            unsent.msg_iov++;
            unsent.msg_iovlen--;
        }
        if (unsent.msg_iovlen > 0) {
            unsent.msg_iov->iov_base = static_cast<uint8_t*>(unsent.msg_iov->iov_base) + sent;
            unsent.msg_iov->iov_len -= static_cast<size_t>(sent);
        }
    }
    return true;
}

SendResult sendControl(int socket, const FrameHeader& header, int descriptor) {
    iovec part{const_cast<FrameHeader*>(&header), sizeof(header)};
    alignas(cmsghdr) uint8_t ancillary[CMSG_SPACE(sizeof(int))] = {};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    if (descriptor >= 0) {
        message.msg_control = ancillary;
        message.msg_controllen = sizeof(ancillary);
        cmsghdr* first = CMSG_FIRSTHDR(&message);
        first->cmsg_level = SOL_SOCKET;
        first->cmsg_type = SCM_RIGHTS;
        first->cmsg_len = CMSG_LEN(sizeof(int));
        memcpy(CMSG_DATA(first), &descriptor, sizeof(int));
    }
    ssize_t sent;
    do {
        sent = sendmsg(socket, &message, MSG_NOSIGNAL | MSG_DONTWAIT);
    } while (sent < 0 && errno == EINTR);
    if (sent == sizeof(header)) return SendResult::Sent;
    return sent < 0 && errno == EAGAIN ? SendResult::WouldBlock : SendResult::Failed;
}

ReadResult receiveControl(int socket, FrameHeader* header, FileDescriptor* descriptor) {
    iovec part{header, sizeof(*header)};
    alignas(cmsghdr) uint8_t ancillary[CMSG_SPACE(kMaxDescriptors * sizeof(int))];
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = ancillary;
    message.msg_controllen = sizeof(ancillary);
    ssize_t got;
    do {
        got = recvmsg(socket, &message, MSG_DONTWAIT | MSG_CMSG_CLOEXEC);
    } while (got < 0 && errno == EINTR);
    if (got == 0) return ReadResult::Closed;
    if (got < 0) return errno == EAGAIN ? ReadResult::Partial : ReadResult::Closed;

    size_t descriptors = 0;
    for (cmsghdr* next = CMSG_FIRSTHDR(&message); next != nullptr;
         next = CMSG_NXTHDR(&message, next)) {
        if (next->cmsg_level != SOL_SOCKET || next->cmsg_type != SCM_RIGHTS) continue;
        for (size_t at = CMSG_LEN(0); at + sizeof(int) <= next->cmsg_len; at += sizeof(int)) {
            int received;
            memcpy(&received, reinterpret_cast<uint8_t*>(next) + at, sizeof(int));
            *descriptor = FileDescriptor(received);
            descriptors++;
        }
    }
    // A control frame is small enough that the kernel never splits it: a part of one is no frame.
    if (got != sizeof(*header) || header->magic != kMagic || header->size != 0 ||
        header->objectCount != 0) {
        return ReadResult::Malformed;
    }
    // Cut before the first one, it is this process that has no room for what was rightly sent.
    const bool isCut = (message.msg_flags & MSG_CTRUNC) != 0;
    const size_t expected = header->kind == FrameKind::OfferConnection && !isCut ? 1 : 0;
    return descriptors == expected ? ReadResult::Complete : ReadResult::Malformed;
}

}  // namespace transport
