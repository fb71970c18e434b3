// SPDX-License-Identifier: Apache-2.0
#include "Session.h"

#include <android/log.h>
#include <errno.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>

#include "Fork.h"
#include "Log.h"

namespace transport {

namespace {

// Data connections kept for later calls, and how many calls a peer may have under way.
constexpr size_t kMaxIdle = 16;
constexpr size_t kMaxIncoming = 512;

// Control frames taken in one go: a peer that sends without end must not keep the last free thread.
constexpr int kControlBatch = 64;

// Control frames that wait because the peer does not read; a peer that lets more pile up is broken.
constexpr size_t kMaxPosted = 65536;

// A caller waits for its reply, so a reply that is not taken for so long has lost its reader.
constexpr int kReplyTimeoutMs = 5000;

void logMalformed() {
    __android_log_print(ANDROID_LOG_ERROR, kLogTag, "malformed frame, connection closed");
}

void logTooLarge(const Message& message) {
    __android_log_print(ANDROID_LOG_ERROR, kLogTag,
                        "message of %zu bytes and %zu objects is too large", message.size(),
                        message.objects().size());
}

bool isUnixStream(int descriptor) {
    int domain = 0;
    int type = 0;
    socklen_t length = sizeof(int);
    return getsockopt(descriptor, SOL_SOCKET, SO_DOMAIN, &domain, &length) == 0 &&
           getsockopt(descriptor, SOL_SOCKET, SO_TYPE, &type, &length) == 0 && domain == AF_UNIX &&
           type == SOCK_STREAM;
}

}  // namespace

Proxy::Proxy(std::shared_ptr<Session> session, uint64_t handle)
      : mSession(std::move(session)), mHandle(handle) {}

Proxy::~Proxy() {
    if (!isForkedChild()) mSession->proxyGone(mHandle, mReceived);
}

android::status_t Proxy::call(uint32_t code, const Message& request, Message& reply) {
    return mSession->call(mHandle, code, request, reply);
}

bool Proxy::isAlive() {
    return mSession->isAlive();
}

android::status_t Proxy::linkToDeath(const std::shared_ptr<DeathLink>& link) {
    {
        std::lock_guard lock(mLinkLock);
        mLinks.push_back(link);
    }
    // The session's end takes the links that it finds. One that came too late is taken back here.
    return mSession->hasEnded() && unlinkToDeath(link) ? android::DEAD_OBJECT : android::OK;
}

bool Proxy::unlinkToDeath(const std::shared_ptr<DeathLink>& link) {
    std::lock_guard lock(mLinkLock);
    return std::erase_if(mLinks, [&link](const auto& other) {
               return !other.owner_before(link) && !link.owner_before(other);
           }) > 0;
}

std::vector<std::weak_ptr<DeathLink>> Proxy::takeLinks() {
    std::lock_guard lock(mLinkLock);
    return std::exchange(mLinks, {});
}

/** A data connection that the peer made for its calls. */
class Session::Incoming final : public Endpoint {
  public:
    Incoming(std::shared_ptr<Session> session, FileDescriptor connection)
          : mSession(std::move(session)), mConnection(std::move(connection)) {}

    int descriptor() const { return mConnection.get(); }
    uint64_t key() const { return mKey; }
    void setKey(uint64_t key) { mKey = key; }

    bool handleReady() override {
        const ReadResult result =
                mFrame.readSome(mConnection.get(), FrameKind::Request, MSG_DONTWAIT);
        if (result == ReadResult::Partial) return true;
        if (result == ReadResult::Malformed) logMalformed();
        if (result == ReadResult::Complete && mSession->serve(mFrame, mConnection.get())) {
            return true;
        }
        // The peer may be waiting on the other end, and a child may hold this one open.
        shutdown(mConnection.get(), SHUT_RDWR);
        mSession->forget(this);
        return false;
    }

  private:
    const std::shared_ptr<Session> mSession;
    const FileDescriptor mConnection;
    FrameReader mFrame;
    uint64_t mKey = 0;  // guarded by the session's lock
};

std::shared_ptr<Session> Session::begin(ThreadPool& pool, FileDescriptor control,
                                        std::shared_ptr<Object> root) {
    auto session = std::make_shared<Session>(pool, std::move(control), std::move(root));
    std::lock_guard lock(session->mLock);
    session->mControlKey = pool.add(session, session->mControl->get());
    return session->mControlKey != 0 ? session : nullptr;
}

Session::Session(ThreadPool& pool, FileDescriptor control, std::shared_ptr<Object> root)
      : mPool(pool),
        mConnecting(root == nullptr),
        mObjects(std::move(root)),
        mControl(std::make_shared<FileDescriptor>(std::move(control))) {}

std::shared_ptr<Object> Session::rootProxy() {
    auto proxy = std::make_shared<Proxy>(shared_from_this(), kRootHandle);
    mObjects.addProxy(kRootHandle, proxy);
    return proxy;
}

// --- Calls of this side -------------------------------------------------------------------------

android::status_t Session::call(uint64_t handle, uint32_t code, const Message& request,
                                Message& reply) {
    abortInForkedChild();
    if (!request.fits()) {
        logTooLarge(request);
        return android::FAILED_TRANSACTION;
    }
    const SharedDescriptor connection = borrowConnection();
    if (connection == nullptr) {
        return isAlive() ? android::FAILED_TRANSACTION : android::DEAD_OBJECT;
    }

    FrameHeader header;
    header.kind = FrameKind::Request;
    header.code = code;
    header.handle = handle;
    FrameReader answer;
    const ReadResult result = exchange(connection->get(), header, request, answer);
    returnConnection(connection, result == ReadResult::Complete);
    if (result != ReadResult::Complete) {
        if (result == ReadResult::Malformed) logMalformed();
        drainControl();
        return android::DEAD_OBJECT;
    }

    std::vector<uint64_t> home;
    const android::status_t unpacked = unpack(answer, reply, &home);
    for (uint64_t received : home) {
        FrameHeader frame;
        frame.kind = FrameKind::HomeReceived;
        frame.handle = received;
        post(frame);
    }
    // Without a pool nobody else learns what the peer has given back, or sends what waits.
    if (!mPool.hasThreads()) handleReady();
    return answer.header().status != android::OK ? answer.header().status : unpacked;
}

ReadResult Session::exchange(int connection, FrameHeader header, const Message& request,
                             FrameReader& answer) {
    const std::vector<ObjectEntry> objects = mObjects.encode(request, this, false);
    header.size = static_cast<uint32_t>(request.size());
    header.objectCount = static_cast<uint16_t>(objects.size());
    if (!sendFrame(connection, header, &request, objects)) return ReadResult::Closed;
    ReadResult result;
    do {
        // Asleep in the read itself, this thread would also wake when the peer takes the request.
        pollfd readable{connection, POLLIN, 0};
        poll(&readable, 1, -1);
        result = answer.readSome(connection, FrameKind::Reply, 0);
    } while (result == ReadResult::Partial);
    return result;
}

Session::SharedDescriptor Session::borrowConnection() {
    {
        std::lock_guard lock(mLock);
        if (mControl == nullptr) return nullptr;
        if (!mIdle.empty()) {
            mBusy.push_back(std::move(mIdle.back()));
            mIdle.pop_back();
            return mBusy.back();
        }
    }
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
        __android_log_print(ANDROID_LOG_ERROR, kLogTag, "no connection for a call: errno %d",
                            errno);
        return nullptr;
    }
    auto ours = std::make_shared<FileDescriptor>(ends[0]);
    if (!offer(FileDescriptor(ends[1]))) {
        end();
        return nullptr;
    }
    std::lock_guard lock(mLock);
    if (mControl == nullptr) return nullptr;
    mBusy.push_back(ours);
    return ours;
}

void Session::returnConnection(const SharedDescriptor& connection, bool usable) {
    std::lock_guard lock(mLock);
    std::erase(mBusy, connection);
    if (usable && mControl != nullptr && mIdle.size() < kMaxIdle) mIdle.push_back(connection);
}

// --- Calls of the peer --------------------------------------------------------------------------

bool Session::serve(FrameReader& frame, int connection) {
    const FrameHeader header = frame.header();
    Message request;
    Message reply;
    std::vector<uint64_t> home;
    FrameHeader answer;
    answer.kind = FrameKind::Reply;
    answer.status = unpack(frame, request, &home);
    if (answer.status == android::OK) {
        const std::shared_ptr<Object> target = mObjects.find(header.handle);
        answer.status = target != nullptr ? target->deliver(header.code, std::move(request), reply)
                                          : android::BAD_TYPE;
    }
    if (answer.status == android::OK && !reply.fits()) {
        logTooLarge(reply);
        answer.status = android::FAILED_TRANSACTION;
    }
    if (answer.status != android::OK) reply = Message();

    const std::vector<ObjectEntry> objects = mObjects.encode(reply, this, true);
    answer.size = static_cast<uint32_t>(reply.size());
    answer.objectCount = static_cast<uint16_t>(objects.size());
    return sendFrame(connection, answer, &reply, objects, kReplyTimeoutMs);
}

android::status_t Session::unpack(FrameReader& frame, Message& message,
                                  std::vector<uint64_t>* home) {
    std::vector<std::shared_ptr<Object>> objects;
    const auto makeProxy = [this](uint64_t handle) {
        return std::make_shared<Proxy>(shared_from_this(), handle);
    };
    android::status_t status = android::OK;
    if (frame.header().objectCount > 0) {
        status = mObjects.decode(frame.takeObjects(), makeProxy, &objects, home);
    }
    message = Message(frame.takeBytes(), sizeof(FrameHeader), std::move(objects));
    return status;
}

bool Session::adopt(FileDescriptor connection) {
    if (!connection.isValid()) {
        __android_log_print(ANDROID_LOG_ERROR, kLogTag, "no descriptor for a peer's connection");
        return true;
    }
    if (!isUnixStream(connection.get())) return false;
    auto incoming = std::make_shared<Incoming>(shared_from_this(), std::move(connection));
    std::lock_guard lock(mLock);
    if (mControl == nullptr) return true;
    if (mIncoming.size() >= kMaxIncoming) {
        __android_log_print(ANDROID_LOG_ERROR, kLogTag, "too many connections of one peer");
        return true;
    }
    incoming->setKey(mPool.add(incoming, incoming->descriptor()));
    if (incoming->key() != 0) mIncoming.push_back(std::move(incoming));
    return true;
}

void Session::forget(const Incoming* connection) {
    std::lock_guard lock(mLock);
    std::erase_if(mIncoming, [connection](const auto& other) { return other.get() == connection; });
}

// --- Control connection -------------------------------------------------------------------------

uint64_t Session::controlKey() {
    std::lock_guard lock(mLock);
    return mControlKey;
}

Session::SharedDescriptor Session::control() {
    std::lock_guard lock(mLock);
    return mControl;
}

bool Session::isAlive() {
    if (!mPool.hasThreads()) drainControl();
    return control() != nullptr;
}

SendResult Session::sendPosted(int control) {
    SendResult result = SendResult::Sent;
    size_t sent = 0;
    while (sent < mPosted.size() && result == SendResult::Sent) {
        result = sendControl(control, mPosted[sent], -1);
        if (result == SendResult::Sent) sent++;
    }
    mPosted.erase(mPosted.begin(), mPosted.begin() + static_cast<ptrdiff_t>(sent));
    mHasPosted = !mPosted.empty();
    return result;
}

bool Session::offer(const FileDescriptor& theirs) {
    FrameHeader frame;
    frame.kind = FrameKind::OfferConnection;
    while (const SharedDescriptor control = this->control()) {
        SendResult result;
        {
            std::lock_guard lock(mSendLock);
            result = sendPosted(control->get());
            if (result == SendResult::Sent) {
                result = sendControl(control->get(), frame, theirs.get());
            }
        }
        if (result == SendResult::Sent) return true;
        if (result == SendResult::Failed) return false;
        pollfd writable{control->get(), POLLOUT, 0};
        poll(&writable, 1, -1);
    }
    return false;
}

void Session::post(const FrameHeader& frame) {
    const SharedDescriptor control = this->control();
    if (control == nullptr) return;
    SendResult result;
    bool broken;
    {
        std::lock_guard lock(mSendLock);
        mPosted.push_back(frame);
        result = sendPosted(control->get());
        broken = result == SendResult::Failed || mPosted.size() > kMaxPosted;
    }
    if (broken) {
        end();
    } else if (result == SendResult::WouldBlock) {
        // Nobody waits for these frames here: a pool thread sends them when there is room.
        mPool.rearm(controlKey());
    }
}

void Session::flushPosted() {
    const SharedDescriptor control = this->control();
    if (control == nullptr || !mHasPosted) return;
    std::lock_guard lock(mSendLock);
    sendPosted(control->get());
}

bool Session::handleReady() {
    flushPosted();
    return drainControl();
}

bool Session::drainControl() {
    std::vector<std::shared_ptr<Object>> dropped;
    bool alive = true;
    {
        std::lock_guard lock(mReceiveLock);
        const SharedDescriptor control = this->control();
        if (control == nullptr) return false;
        for (int i = 0; i < kControlBatch && alive; i++) {
            FrameHeader frame;
            FileDescriptor descriptor;
            const ReadResult result = receiveControl(control->get(), &frame, &descriptor);
            if (result == ReadResult::Partial) break;
            const bool understood = result == ReadResult::Complete &&
                                    handleControl(frame, std::move(descriptor), &dropped);
            if (!understood && result != ReadResult::Closed) logMalformed();
            alive = understood;
        }
    }
    if (alive) {
        closeIfUnused();
    } else {
        end();
    }
    return alive;
}

bool Session::handleControl(const FrameHeader& frame, FileDescriptor descriptor,
                            std::vector<std::shared_ptr<Object>>* dropped) {
    switch (frame.kind) {
        case FrameKind::OfferConnection:
            return adopt(std::move(descriptor));
        case FrameKind::Release:
            dropped->push_back(mObjects.release(frame.handle, frame.count));
            return true;
        case FrameKind::HomeReceived:
            dropped->push_back(mObjects.homeReceived(frame.handle));
            return true;
        default:
            return false;
    }
}

void Session::proxyGone(uint64_t handle, uint32_t references) {
    mObjects.proxyGone(handle);
    if (references > 0) {
        FrameHeader frame;
        frame.kind = FrameKind::Release;
        frame.handle = handle;
        frame.count = references;
        post(frame);
    }
    closeIfUnused();
}

void Session::closeIfUnused() {
    if (mConnecting && mObjects.isUnused()) end();
}

void Session::end() {
    SharedDescriptor control;
    std::vector<SharedDescriptor> connections;
    std::vector<std::shared_ptr<Incoming>> incoming;
    {
        std::lock_guard lock(mLock);
        if (mControl == nullptr) return;
        control.swap(mControl);
        connections.swap(mBusy);
        connections.insert(connections.end(), mIdle.begin(), mIdle.end());
        mIdle.clear();
        incoming.swap(mIncoming);
        mPool.remove(mControlKey);
        for (const auto& connection : incoming)
            mPool.remove(connection->key());
    }
    // Shut down before they are closed: that also wakes a caller, and a forked child that still
    // holds a copy cannot keep the peer waiting.
    shutdown(control->get(), SHUT_RDWR);
    for (const SharedDescriptor& connection : connections) {
        shutdown(connection->get(), SHUT_RDWR);
    }
    for (const auto& connection : incoming)
        shutdown(connection->descriptor(), SHUT_RDWR);
    for (const std::shared_ptr<Proxy>& proxy : mObjects.proxies()) {
        for (const std::weak_ptr<DeathLink>& link : proxy->takeLinks()) {
            mPool.run([link] {
                if (const std::shared_ptr<DeathLink> linked = link.lock()) linked->onDeath();
            });
        }
    }
    mObjects.clear();
}

}  // namespace transport
