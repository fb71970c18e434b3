// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <transport/Message.h>
#include <transport/Object.h>

#include <memory>
#include <utility>

#include "FileDescriptor.h"
#include "Frame.h"
#include "ThreadPool.h"

namespace transport {

/** A socket over which an object of this process is reached. */
class ObjectSocket : public Endpoint {
  public:
    ObjectSocket(ThreadPool& pool, FileDescriptor socket, std::shared_ptr<Object> object)
          : mPool(pool), mSocket(std::move(socket)), mObject(std::move(object)) {}

    int descriptor() const override { return mSocket.get(); }

  protected:
    ThreadPool& mPool;
    const FileDescriptor mSocket;
    const std::shared_ptr<Object> mObject;
};

/**
 * Has the pool serve `object` to the process that holds the other end of `channel`. That process is
 * the object's holder: the reference ends with the channel, whoever closes it and why.
 */
void serve(ThreadPool& pool, FileDescriptor channel, std::shared_ptr<Object> object);

/**
 * Puts a message into a frame; an object goes as the end of a new channel. False, with an error line,
 * when the message is too large or has a proxy in it, which cannot be handed on.
 */
bool pack(ThreadPool& pool, const Message& message, Frame* frame);

/** Takes a message out of a frame; its objects are new proxies. */
Message unpack(ThreadPool& pool, Frame& frame);

/** Makes two connected sockets. False, with an error line, when the system refuses. */
bool connectPair(FileDescriptor* one, FileDescriptor* other);

}  // namespace transport
