// SPDX-License-Identifier: Apache-2.0
#include "Frame.h"

#include <android/log.h>
#include <errno.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <transport/Message.h>

#include <cstring>

#include "Log.h"

namespace transport {

namespace {

constexpr size_t kAncillaryBytes = CMSG_SPACE(kMaxMessageObjects * sizeof(int));

bool sendAll(int socket, const uint8_t* bytes, size_t size) {
    while (size > 0) {
        const ssize_t sent = TEMP_FAILURE_RETRY(send(socket, bytes, size, MSG_NOSIGNAL));
        if (sent <= 0) return false;
        bytes += sent;
        size -= static_cast<size_t>(sent);
    }
    return true;
}

bool receiveAll(int socket, void* bytes, size_t size) {
    auto* next = static_cast<uint8_t*>(bytes);
    while (size > 0) {
        const ssize_t got = TEMP_FAILURE_RETRY(recv(socket, next, size, MSG_WAITALL));
        if (got <= 0) return false;
        next += got;
        size -= static_cast<size_t>(got);
    }
    return true;
}

/** The descriptors that came with a message. */
std::vector<FileDescriptor> takeDescriptors(const msghdr& message) {
    std::vector<FileDescriptor> descriptors;
    const cmsghdr* const first = CMSG_FIRSTHDR(&message);
    if (first == nullptr || first->cmsg_type != SCM_RIGHTS) return descriptors;
    for (size_t at = CMSG_LEN(0); at + sizeof(int) <= first->cmsg_len; at += sizeof(int)) {
        int descriptor;
        memcpy(&descriptor, reinterpret_cast<const uint8_t*>(first) + at, sizeof(int));
        descriptors.emplace_back(descriptor);
    }
    return descriptors;
}

bool isMalformed(const Frame& frame) {
    return frame.header.magic != FrameHeader::kMagic || frame.header.size > kMaxMessageBytes ||
           frame.header.descriptors != frame.descriptors.size();
}

}  // namespace

bool sendFrame(int socket, Frame& frame) {
    frame.header.size = static_cast<uint32_t>(frame.bytes.size());
    frame.header.descriptors = static_cast<uint32_t>(frame.descriptors.size());
    iovec parts[] = {{&frame.header, sizeof(frame.header)},
                     {frame.bytes.data(), frame.bytes.size()}};
    alignas(cmsghdr) uint8_t ancillary[kAncillaryBytes] = {};
    msghdr message{};
    message.msg_iov = parts;
    message.msg_iovlen = std::size(parts);
    if (!frame.descriptors.empty()) {
        message.msg_control = ancillary;
        message.msg_controllen = CMSG_SPACE(frame.descriptors.size() * sizeof(int));
        cmsghdr* const first = CMSG_FIRSTHDR(&message);
        first->cmsg_level = SOL_SOCKET;
        first->cmsg_type = SCM_RIGHTS;
        first->cmsg_len = CMSG_LEN(frame.descriptors.size() * sizeof(int));
        for (size_t i = 0; i < frame.descriptors.size(); i++) {
            const int descriptor = frame.descriptors[i].get();
            memcpy(CMSG_DATA(first) + i * sizeof(int), &descriptor, sizeof(int));
        }
    }
    // The first piece holds at least the header: no socket's buffer is smaller.
    const ssize_t sent = TEMP_FAILURE_RETRY(sendmsg(socket, &message, MSG_NOSIGNAL));
    if (sent < static_cast<ssize_t>(sizeof(frame.header))) return false;
    const size_t done = static_cast<size_t>(sent) - sizeof(frame.header);
    return sendAll(socket, frame.bytes.data() + done, frame.bytes.size() - done);
}

ReadResult readFrame(int socket, Frame* frame) {
    iovec part{&frame->header, sizeof(frame->header)};
    alignas(cmsghdr) uint8_t ancillary[kAncillaryBytes];
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = ancillary;
    message.msg_controllen = sizeof(ancillary);
    const ssize_t got =
            TEMP_FAILURE_RETRY(recvmsg(socket, &message, MSG_WAITALL | MSG_CMSG_CLOEXEC));
    if (got <= 0) return got == 0 || errno == ECONNRESET ? ReadResult::ENDED : ReadResult::FAILED;
    frame->descriptors = takeDescriptors(message);
    if ((message.msg_flags & MSG_CTRUNC) != 0) {
        __android_log_print(ANDROID_LOG_ERROR, kLogTag,
                            "no free descriptor for what a frame carries");
        return ReadResult::FAILED;
    }
    if (got != sizeof(frame->header) || isMalformed(*frame)) {
        __android_log_print(ANDROID_LOG_ERROR, kLogTag, "malformed frame, connection closed");
        return ReadResult::ENDED;
    }
    frame->bytes.resize(frame->header.size);
    const bool isWhole = receiveAll(socket, frame->bytes.data(), frame->bytes.size());
    return isWhole ? ReadResult::WHOLE : ReadResult::ENDED;
}

}  // namespace transport
