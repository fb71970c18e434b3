// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/IBinder.h>

#include <memory>
#include <mutex>

namespace transport {
class Object;
}  // namespace transport

namespace android {

/** Base of the objects that this process offers. They are called from several threads at once. */
class BBinder : public IBinder {
  public:
    const String16& getInterfaceDescriptor() const override;
    status_t transact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags = 0) final;
    BBinder* localBinder() override { return this; }

  protected:
    ~BBinder() override = default;

    /** Serves one call; a code that is not known gets `UNKNOWN_TRANSACTION`. */
    virtual status_t onTransact(uint32_t code, const Parcel& data, Parcel* reply,
                                uint32_t flags = 0);
};

/** Proxy of an object in another process. */
class BpBinder final : public IBinder {
  public:
    explicit BpBinder(std::shared_ptr<transport::Object> object);

    const String16& getInterfaceDescriptor() const override;
    status_t transact(uint32_t code, const Parcel& data, Parcel* reply,
                      uint32_t flags = 0) override;
    BpBinder* remoteBinder() override { return this; }

  protected:
    ~BpBinder() override = default;

  private:
    friend std::shared_ptr<transport::Object> toTransport(const sp<IBinder>& binder);

    const std::shared_ptr<transport::Object> mObject;
    mutable std::mutex mDescriptorLock;
    mutable String16 mDescriptor;
};

/** What travels for an object, and back. Null stays null. */
std::shared_ptr<transport::Object> toTransport(const sp<IBinder>& binder);
sp<IBinder> fromTransport(const std::shared_ptr<transport::Object>& object);

}  // namespace android
