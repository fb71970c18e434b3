// SPDX-License-Identifier: Apache-2.0

// Input: a letter for what is hostile, a letter for whom it meets, then bytes.
//   p CALLBACK CODE BYTES  a parcel that comes to the callback, h over HIDL or a over AIDL; its
//                          interface token is put before the bytes
//   s OBJECT STEPS         a client's connections; OBJECT is h or a, or k, which keeps what it gets
//   a ASKER STEPS          a service's answers; ASKER is h or a, who asks an engine, or p, who asks
//                          for a package
// Each step is a letter, the number of its bytes in one byte, and these. Bytes of a frame are named:
//   d c           bytes on the data connection, or the control connection, as they are
//   n f           a new data connection is offered, or something that is none
//   r h           references are given back: handle, count; an object's arrival is told: handle
//   q             a request or an answer: handle (or status), code, number of objects, two bytes for
//                 each of these (owner, handle), and the content

#include <aidl/vendor/morvantic/hardware/zul/zulengine/IZul.h>
#include <android/binder_manager.h>
#include <android/binder_process.h>
#include <binder/Binder.h>
#include <binder/IServiceManager.h>
#include <binder/Parcel.h>
#include <poll.h>
#include <string.h>
#include <sys/socket.h>
#include <transport/Domain.h>
#include <utils/String8.h>
#include <vendor/morvantic/hardware/zul/zulengine/1.0/IZul.h>

#include <array>
#include <atomic>
#include <chrono>
#include <thread>

#include "callbacks/ZulAidlCallBack.h"
#include "callbacks/ZulCallBack.h"
#include "fuzz/support/Fuzz.h"
#include "platform/libbinder_ndk/Internal.h"
#include "platform/transport/Rendezvous.h"
#include "platform/transport/Session.h"

namespace zul::fuzz {

namespace {

namespace hidl = ::vendor::morvantic::hardware::zul::zulengine::V1_0;
namespace aidl = ::aidl::vendor::morvantic::hardware::zul::zulengine;
using android::hardware::Return;
using transport::FileDescriptor;
using transport::FrameHeader;
using transport::FrameKind;
using transport::Message;
using transport::Object;
using transport::ReadResult;

// --- The objects that are called ----------------------------------------------------------------

struct Given : Object {
    android::status_t deliver(uint32_t, Message&&, Message&) override { return android::OK; }
};

/** Keeps the objects of all calls, gives one, and calls the first that comes with code 2. */
class Keeper : public Object {
  public:
    android::status_t deliver(uint32_t code, Message&& request, Message& reply) override {
        if (code == 0) return android::UNKNOWN_TRANSACTION;
        {
            const std::lock_guard lock(mLock);
            mKept.insert(mKept.end(), request.objects().begin(), request.objects().end());
        }
        if (code == 2 && !request.objects().empty())
            return request.objects()[0]->deliver(1, Message(), reply);
        if (code == 3) reply.writeObject(std::make_shared<Given>());
        if (code == 4) reply = std::move(request);
        return android::OK;
    }
    void drop() {
        std::vector<std::shared_ptr<Object>> dropped;
        const std::lock_guard lock(mLock);
        dropped.swap(mKept);
    }

  private:
    std::mutex mLock;
    std::vector<std::shared_ptr<Object>> mKept;
};

struct Objects {
    const android::sp<hidl::IZulClientCallback> callback = new ZulCallBack(new ZulService());
    const std::shared_ptr<aidl::IZulClientCallback> aidlCallback =
            ndk::SharedRefBase::make<ZulAidlCallBack>(new ZulService());
    const std::shared_ptr<Keeper> keeper = std::make_shared<Keeper>();

    std::shared_ptr<Object> of(char letter) const {
        if (letter == 'h') return callback->_hidl_object();
        if (letter == 'a') return toTransport(aidlCallback->asBinder().get()->binder());
        return keeper;
    }
};

// --- What is hostile ----------------------------------------------------------------------------

uint8_t takeByte(std::string_view& rest) {
    if (rest.empty()) return 0;
    const char byte = rest[0];
    rest.remove_prefix(1);
    return static_cast<uint8_t>(byte);
}

struct Step {
    char kind;
    std::string bytes;
};

Step takeStep(std::string_view& rest) {
    Step step{static_cast<char>(takeByte(rest)), ""};
    const size_t size = takeByte(rest);
    step.bytes = rest.substr(0, size);
    rest.remove_prefix(step.bytes.size());
    return step;
}

void callWithParcel(char letter, std::string_view bytes) {
    const Objects objects;
    const uint32_t code = takeByte(bytes);
    android::Parcel request;
    const std::string token = hidl::IZulClientCallback::descriptor;
    if (letter == 'h') {
        request.write(token.c_str(), token.size() + 1);
    } else {
        request.writeInterfaceToken(android::String16(aidl::IZulClientCallback::descriptor));
    }
    request.write(bytes.data(), bytes.size());
    Message reply;
    objects.of(letter)->deliver(code, std::move(request.message()), reply);
    require(reply.fits() && reply.objects().empty(), "a reply is small and holds no object");

    // The readers that no call of the engine's uses.
    const uint8_t* const start = reinterpret_cast<const uint8_t*>(bytes.data());
    android::Parcel parcel;
    parcel.message() = Message({start, start + bytes.size()}, 0, {objects.of('h')});
    const android::String8 text(parcel.readString16());
    require(android::String8(android::String16(text.c_str(), text.size())).size() == text.size(),
            "text that was converted once stays as it is");
    parcel.readInt64();
    std::shared_ptr<Object> object;
    parcel.message().readObject(&object);
    require(parcel.dataPosition() <= parcel.dataSize(), "reads stay inside of the parcel");
}

/** A frame that is well formed at the outside; "q" of the comment above says what is in it. */
std::string frameOf(FrameKind kind, std::string_view bytes) {
    FrameHeader header;
    header.kind = kind;
    header.handle = takeByte(bytes);
    if (kind == FrameKind::Release) header.count = takeByte(bytes);
    std::string objects;
    if (kind == FrameKind::Request || kind == FrameKind::Reply) {
        header.status = kind == FrameKind::Reply ? -static_cast<int32_t>(header.handle) : 0;
        header.code = takeByte(bytes);
        header.objectCount = takeByte(bytes) % 8;
        for (int i = 0; i < header.objectCount; i++) {
            const transport::ObjectEntry entry{takeByte(bytes), takeByte(bytes)};
            objects.append(reinterpret_cast<const char*>(&entry), sizeof(entry));
        }
        header.size = static_cast<uint32_t>(bytes.size());
    } else {
        bytes = {};
    }
    return std::string(reinterpret_cast<const char*>(&header), sizeof(header)).append(bytes) +
           objects;
}

void sendStep(const Step& step, const FileDescriptor& control, const FileDescriptor& data,
              FrameKind call) {
    const bool isForData = step.kind == 'd' || step.kind == 'q';
    std::string bytes = step.bytes;
    if (step.kind == 'r') bytes = frameOf(FrameKind::Release, step.bytes);
    if (step.kind == 'h') bytes = frameOf(FrameKind::HomeReceived, step.bytes);
    if (step.kind == 'q') bytes = frameOf(call, step.bytes);
    (void)!send(isForData ? data.get() : control.get(), bytes.data(), bytes.size(),
                MSG_NOSIGNAL | MSG_DONTWAIT);
}

/** Waits for an answer or the end of the connection. */
void expectAnswer(const FileDescriptor& socket) {
    pollfd readable{socket.get(), POLLIN, 0};
    require(poll(&readable, 1, 10000) == 1, "a whole request is answered, or the connection ends");
    char bytes[4096];
    while (recv(socket.get(), bytes, sizeof(bytes), MSG_DONTWAIT) > 0) {
    }
}

std::array<FileDescriptor, 2> connectedPair() {
    int ends[2];
    require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0, "sockets are there");
    return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

void offer(const FileDescriptor& control, int descriptor) {
    FrameHeader header;
    header.kind = FrameKind::OfferConnection;
    transport::sendControl(control.get(), header, descriptor);
}

FileDescriptor offerConnection(const FileDescriptor& control) {
    auto [ours, theirs] = connectedPair();
    offer(control, theirs.get());
    return std::move(ours);
}

transport::ThreadPool& pool() {
    static transport::ThreadPool& threads = *[] {
        auto* const fresh = new transport::ThreadPool(3);
        fresh->start();
        return fresh;
    }();
    return threads;
}

void beHostileClient(char letter, std::string_view steps) {
    const Objects objects;
    auto [theirs, control] = connectedPair();
    const std::weak_ptr<transport::Session> session =
            transport::Session::begin(pool(), std::move(theirs), objects.of(letter));
    FileDescriptor data = offerConnection(control);
    // What calls back, or is in the middle of a frame, is not answered.
    bool answers = letter == 'k';
    while (!steps.empty()) {
        const Step step = takeStep(steps);
        if (step.kind == 'n') data = offerConnection(control);
        if (step.kind == 'f') offer(control, STDIN_FILENO);
        if (std::string_view("cdrhq").find(step.kind) == std::string_view::npos) continue;
        sendStep(step, control, data, FrameKind::Request);
        const bool callsBack = step.kind == 'q' && step.bytes.size() > 1 && step.bytes[1] == 2;
        if (callsBack || step.kind == 'd' || step.kind == 'c') answers = false;
        if (step.kind == 'q' && answers) expectAnswer(data);
    }
    control = FileDescriptor();
    data = FileDescriptor();
    using Clock = std::chrono::steady_clock;
    const Clock::time_point patience = Clock::now() + std::chrono::seconds(10);
    while (!session.expired() && Clock::now() < patience) {
        objects.keeper->drop();
        std::this_thread::sleep_for(std::chrono::microseconds(20));
    }
    objects.keeper->drop();
    require(session.expired(), "a session ends with its peer");
}

/** Waits until `socket` can be read; false when `isOver` first. */
bool awaitBytes(int socket, const std::atomic<bool>& isOver) {
    pollfd waiting{socket, POLLIN, 0};
    while (poll(&waiting, 1, 2) == 0) {
        if (isOver) return false;
    }
    return true;
}

/** Takes the requests of one client and answers with the steps. */
void answer(int listener, std::string_view steps, const std::atomic<bool>& isOver) {
    if (!awaitBytes(listener, isOver)) return;
    const FileDescriptor control(accept4(listener, nullptr, nullptr, SOCK_CLOEXEC));
    FrameHeader offered;
    FileDescriptor data;
    if (!awaitBytes(control.get(), isOver)) return;
    transport::receiveControl(control.get(), &offered, &data);
    while (!steps.empty() && data.isValid()) {
        const Step step = takeStep(steps);
        transport::FrameReader request;
        do {
            if (step.kind == 'q' && !awaitBytes(data.get(), isOver)) return;
        } while (step.kind == 'q' &&
                 request.readSome(data.get(), FrameKind::Request, 0) == ReadResult::Partial);
        sendStep(step, control, data, FrameKind::Reply);
    }
}

transport::Claim claimName(const char* domain, const std::string& name) {
    transport::Claim claim;
    require(transport::claimAddress(domain, name, &claim) == android::OK, "a name can be taken");
    return claim;
}

void askHostileService(char letter, std::string_view steps) {
    static const transport::Claim hidlName =
            claimName("hwbinder", std::string(hidl::IZul::descriptor) + "/default");
    static const std::string aidlName = std::string(aidl::IZul::descriptor) + "/default";
    static const transport::Claim aidlClaim = claimName("binder", aidlName);
    static const transport::Claim activityName = claimName("binder", "activity");

    const transport::Claim& name = letter == 'h'   ? hidlName
                                   : letter == 'a' ? aidlClaim
                                                   : activityName;
    std::atomic<bool> isOver = false;
    std::thread service(answer, name.socket.get(), steps, std::cref(isOver));
    if (letter == 'h') {
        const android::sp<hidl::IZul> engine = hidl::IZul::getService();
        require(engine != nullptr, "the engine is found");
        const Return<int32_t> number = engine->getThreadNumber();
        (void)number.isOk();
        (void)engine->registerClientCallback(new ZulCallBack(new ZulService())).isOk();
    } else if (letter == 'a') {
        // Somebody has to notice that the engine is gone while it still holds the callback.
        ABinderProcess_startThreadPool();
        const auto engine = aidl::IZul::fromBinder(
                ndk::SpAIBinder(AServiceManager_waitForService(aidlName.c_str())));
        int32_t number = 0;
        std::string hash;
        if (engine != nullptr) {
            engine->getThreadNumber(&number);
            engine->getInterfaceHash(&hash);
            engine->registerClientCallback(
                    ndk::SharedRefBase::make<ZulAidlCallBack>(new ZulService()));
        }
    } else {
        char package[ZulService::kNameSize + 1] = {};
        package[ZulService::kNameSize] = '#';
        ZulService::getNameByPid(1, package);
        require(strlen(package) < ZulService::kNameSize, "a package name fits its buffer");
    }
    isOver = true;
    service.join();
}

}  // namespace

void run(std::string_view input) {
    const char kind = static_cast<char>(takeByte(input));
    const char letter = static_cast<char>(takeByte(input));
    if (kind == 'p' && (letter == 'h' || letter == 'a')) callWithParcel(letter, input);
    if (kind == 's') beHostileClient(letter, input);
    if (kind == 'a') askHostileService(letter, input);
}

}  // namespace zul::fuzz
