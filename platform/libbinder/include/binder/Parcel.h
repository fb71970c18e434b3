// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/IBinder.h>
#include <stddef.h>
#include <stdint.h>
#include <transport/Message.h>
#include <utils/Errors.h>
#include <utils/String16.h>

namespace android {

/**
 * Content of a call or of its answer. Writes go to the end. Reads go through a position that starts
 * at the front and, when too little is left, give `NOT_ENOUGH_DATA`, or zero, empty or null in the
 * forms without a status. Nothing in a received parcel makes a read go out of bounds. Not locked.
 */
class Parcel {
  public:
    Parcel() = default;
    Parcel(const Parcel&) = delete;
    Parcel& operator=(const Parcel&) = delete;

    /** Names the interface that the call is meant for; goes first. */
    status_t writeInterfaceToken(const String16& interface);
    /** Reads the token; false, with an error line, when the call is meant for another interface. */
    bool enforceInterface(const String16& interface) const;

    status_t writeInt32(int32_t value);
    status_t writeInt64(int64_t value);
    status_t writeString16(const String16& text);
    status_t writeStrongBinder(const sp<IBinder>& binder);

    int32_t readInt32() const;
    status_t readInt32(int32_t* value) const;
    status_t readInt64(int64_t* value) const;
    String16 readString16() const;
    status_t readString16(String16* text) const;
    status_t readNullableStrongBinder(sp<IBinder>* binder) const;

    /** What travels; for the libraries of this layer only. */
    transport::Message& message() { return mMessage; }
    const transport::Message& message() const { return mMessage; }

  private:
    transport::Message mMessage;
};

}  // namespace android
