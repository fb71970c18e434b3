// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdint.h>
#include <utils/Errors.h>
#include <utils/RefBase.h>
#include <utils/String16.h>

namespace android {

class BBinder;
class BpBinder;
class Parcel;

/** An object that can be called from any process: a `BBinder` of this one, or a proxy. */
class IBinder : public virtual RefBase {
  public:
    enum : uint32_t {
        FIRST_CALL_TRANSACTION = 0x00000001,
        LAST_CALL_TRANSACTION = 0x00ffffff,
        INTERFACE_TRANSACTION = 0x5f4e5446,
    };

    /** Name of the object's interface; empty when it has none or its process is gone. */
    virtual const String16& getInterfaceDescriptor() const = 0;

    /**
     * Calls the object and waits for its answer; `reply` may be null and is replaced. Only two-way
     * calls are offered: `flags` must be 0.
     *
     * @return what the object's `onTransact()` returned, or `DEAD_OBJECT` when its process is gone,
     *         or `FAILED_TRANSACTION` when a parcel holds more than 1 MiB.
     */
    virtual status_t transact(uint32_t code, const Parcel& data, Parcel* reply,
                              uint32_t flags = 0) = 0;

    /** The object itself when it lives in this process, else null. */
    virtual BBinder* localBinder() { return nullptr; }
    virtual BpBinder* remoteBinder() { return nullptr; }
    /** What `libbinder_ndk` made of its own objects; null for any other. */
    virtual void* ndkBinder() { return nullptr; }
};

}  // namespace android
