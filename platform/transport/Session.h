// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <transport/Object.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "FileDescriptor.h"
#include "Frame.h"
#include "ObjectTable.h"
#include "ThreadPool.h"

namespace transport {

class Session;

/** Proxy of an object of a session's peer. */
class Proxy final : public Remote {
  public:
    Proxy(std::shared_ptr<Session> session, uint64_t handle);
    ~Proxy() override;

    android::status_t call(uint32_t code, const Message& request, Message& reply) override;
    bool isAlive() override;
    android::status_t linkToDeath(const std::shared_ptr<DeathLink>& link) override;
    bool unlinkToDeath(const std::shared_ptr<DeathLink>& link) override;

    /** What is to be told of the session's end; later links fail. */
    std::vector<std::weak_ptr<DeathLink>> takeLinks();

    bool belongsTo(const void* session) const { return mSession.get() == session; }
    uint64_t handle() const { return mHandle; }
    /** One more reference received; guarded by the object table. */
    void countReceived() { mReceived++; }

  private:
    const std::shared_ptr<Session> mSession;
    const uint64_t mHandle;
    uint32_t mReceived = 0;

    std::mutex mLinkLock;  // guards what follows
    std::vector<std::weak_ptr<DeathLink>> mLinks;
};

/**
 * What joins this process to one other: a control connection, and data connections made as they are
 * needed, each of which carries one call at a time in the direction of the side that made it.
 *
 * The pool's threads read the control connection and wait for requests on the peer's data
 * connections; a caller reads its reply itself. The session ends for both sides when its control
 * connection does. The connecting side closes it once neither side holds anything of the other.
 */
class Session final : public Endpoint, public std::enable_shared_from_this<Session> {
  public:
    /** Begins a session on a connected socket; `root` is null on the connecting side. */
    static std::shared_ptr<Session> begin(ThreadPool& pool, FileDescriptor control,
                                          std::shared_ptr<Object> root);

    /** The object behind the address that was connected to. */
    std::shared_ptr<Object> rootProxy();

    android::status_t call(uint64_t handle, uint32_t code, const Message& request, Message& reply);
    bool isAlive();
    bool hasEnded() { return control() == nullptr; }
    void proxyGone(uint64_t handle, uint32_t references);

    bool handleReady() override;
    bool wantsToWrite() const override { return mHasPosted; }

    Session(ThreadPool& pool, FileDescriptor control, std::shared_ptr<Object> root);

  private:
    class Incoming;
    using SharedDescriptor = std::shared_ptr<const FileDescriptor>;

    SharedDescriptor control();
    uint64_t controlKey();
    SharedDescriptor borrowConnection();
    void returnConnection(const SharedDescriptor& connection, bool usable);
    bool offer(const FileDescriptor& theirs);
    void post(const FrameHeader& frame);
    void flushPosted();
    SendResult sendPosted(int control);

    ReadResult exchange(int connection, FrameHeader header, const Message& request,
                        FrameReader& answer);
    android::status_t unpack(FrameReader& frame, Message& message, std::vector<uint64_t>* home);

    bool drainControl();
    bool handleControl(const FrameHeader& frame, FileDescriptor descriptor,
                       std::vector<std::shared_ptr<Object>>* dropped);
    bool adopt(FileDescriptor connection);
    bool serve(FrameReader& request, int connection);
    void forget(const Incoming* connection);
    void closeIfUnused();
    void end();

    ThreadPool& mPool;
    const bool mConnecting;
    ObjectTable mObjects;

    std::mutex mReceiveLock;  // held while control frames are taken, so that they keep their order

    std::mutex mSendLock;  // guards mPosted and the order of control frames
    std::vector<FrameHeader> mPosted;
    std::atomic<bool> mHasPosted{false};  // changed under the lock

    std::mutex mLock;           // guards everything below; never held with one of the others inside
    SharedDescriptor mControl;  // null once the session has ended
    uint64_t mControlKey = 0;
    std::vector<SharedDescriptor> mIdle;
    std::vector<SharedDescriptor> mBusy;
    std::vector<std::shared_ptr<Incoming>> mIncoming;
};

}  // namespace transport
