// SPDX-License-Identifier: Apache-2.0
#include "Serving.h"

#include <android/log.h>
#include <errno.h>
#include <string.h>
#include <sys/socket.h>

#include <utility>

#include "Log.h"
#include "Proxy.h"

namespace transport {

namespace {

/** Carries the calls of one thread at a time. */
class Connection final : public ObjectSocket {
  public:
    using ObjectSocket::ObjectSocket;

    bool handleReady() override {
        Frame request;
        if (readFrame(mSocket.get(), &request) != ReadResult::WHOLE) return false;
        Message reply;
        Frame answer;
        answer.header.status = mObject->deliver(request.header.code, unpack(mPool, request), reply);
        if (answer.header.status == android::OK && !pack(mPool, reply, &answer)) {
            answer = Frame();
            answer.header.status = android::FAILED_TRANSACTION;
        }
        return sendFrame(mSocket.get(), answer);
    }
};

/** The object's end of a channel: takes the connections that the holder makes for its calls. */
class Channel final : public ObjectSocket {
  public:
    using ObjectSocket::ObjectSocket;

    bool handleReady() override {
        Frame offer;
        if (readFrame(mSocket.get(), &offer) == ReadResult::ENDED) return false;
        for (FileDescriptor& socket : offer.descriptors) {
            mPool.add(std::make_shared<Connection>(mPool, std::move(socket), mObject));
        }
        return true;
    }
};

}  // namespace

void serve(ThreadPool& pool, FileDescriptor channel, std::shared_ptr<Object> object) {
    pool.add(std::make_shared<Channel>(pool, std::move(channel), std::move(object)));
}

bool pack(ThreadPool& pool, const Message& message, Frame* frame) {
    if (!message.fits()) {
        __android_log_print(ANDROID_LOG_ERROR, kLogTag,
                            "message of %zu bytes and %zu objects is too large", message.size(),
                            message.objects().size());
        return false;
    }
    for (const std::shared_ptr<Object>& object : message.objects()) {
        if (object->asRemote() != nullptr) {
            __android_log_print(ANDROID_LOG_ERROR, kLogTag, "a proxy cannot be passed on");
            return false;
        }
        FileDescriptor ours;
        if (!connectPair(&ours, &frame->descriptors.emplace_back())) return false;
        serve(pool, std::move(ours), object);
    }
    frame->bytes.assign(message.data(), message.data() + message.size());
    return true;
}

Message unpack(ThreadPool& pool, Frame& frame) {
    std::vector<std::shared_ptr<Object>> objects;
    for (FileDescriptor& channel : frame.descriptors)
        objects.push_back(Proxy::make(pool, std::move(channel)));
    return Message(std::move(frame.bytes), std::move(objects));
}

bool connectPair(FileDescriptor* one, FileDescriptor* other) {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
        __android_log_print(ANDROID_LOG_ERROR, kLogTag, "socketpair: %s", strerror(errno));
        return false;
    }
    *one = FileDescriptor(ends[0]);
    *other = FileDescriptor(ends[1]);
    return true;
}

}  // namespace transport
