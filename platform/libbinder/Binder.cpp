// SPDX-License-Identifier: Apache-2.0
#include <binder/Binder.h>
#include <binder/Parcel.h>
#include <transport/Object.h>

namespace android {

namespace {

/** Holds a local object for the processes that have it. */
class LocalNode final : public transport::Object {
  public:
    explicit LocalNode(BBinder* binder) : mBinder(binder) {}

    status_t deliver(uint32_t code, transport::Message&& request,
                     transport::Message& reply) override {
        Parcel data;
        Parcel answer;
        data.message() = std::move(request);
        const status_t status = mBinder->transact(code, data, &answer);
        reply = std::move(answer.message());
        return status;
    }
    void* local() override { return mBinder.get(); }

  private:
    const sp<BBinder> mBinder;
};

}  // namespace

const String16& BBinder::getInterfaceDescriptor() const {
    static const String16& none = *new String16();
    return none;
}

status_t BBinder::transact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags) {
    if (flags != 0) return INVALID_OPERATION;
    data.message().rewind();
    Parcel unwanted;
    Parcel& answer = reply != nullptr ? *reply : unwanted;
    answer.message() = transport::Message();
    if (code == INTERFACE_TRANSACTION) return answer.writeString16(getInterfaceDescriptor());
    return onTransact(code, data, &answer, flags);
}

status_t BBinder::onTransact(uint32_t, const Parcel&, Parcel*, uint32_t) {
    return UNKNOWN_TRANSACTION;
}

BpBinder::BpBinder(std::shared_ptr<transport::Object> object) : mObject(std::move(object)) {}

const String16& BpBinder::getInterfaceDescriptor() const {
    std::lock_guard lock(mDescriptorLock);
    if (mDescriptor.size() == 0) {
        const transport::Message request;
        Parcel reply;
        const status_t status =
                mObject->asRemote()->call(INTERFACE_TRANSACTION, request, reply.message());
        if (status == OK) mDescriptor = reply.readString16();
    }
    return mDescriptor;
}

status_t BpBinder::transact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags) {
    if (flags != 0) return INVALID_OPERATION;
    transport::Message answer;
    const status_t status = mObject->asRemote()->call(code, data.message(), answer);
    if (reply != nullptr) reply->message() = std::move(answer);
    return status;
}

std::shared_ptr<transport::Object> toTransport(const sp<IBinder>& binder) {
    if (binder == nullptr) return nullptr;
    if (BpBinder* proxy = binder->remoteBinder()) return proxy->mObject;
    return std::make_shared<LocalNode>(binder->localBinder());
}

sp<IBinder> fromTransport(const std::shared_ptr<transport::Object>& object) {
    if (object == nullptr) return nullptr;
    if (object->asRemote() != nullptr) return sp<IBinder>(new BpBinder(object));
    return sp<IBinder>(static_cast<BBinder*>(object->local()));
}

}  // namespace android
