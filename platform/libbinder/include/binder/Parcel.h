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

    size_t dataSize() const { return mMessage.size(); }
    size_t dataPosition() const { return mMessage.position(); }
    size_t dataAvail() const { return dataSize() - dataPosition(); }
    void setDataPosition(size_t position) const { mMessage.setPosition(position); }

    /** Names the interface that the call is meant for; goes first. */
    status_t writeInterfaceToken(const String16& interface);
    /** Reads the token; false, with an error line, when the call is meant for another interface. */
    bool enforceInterface(const String16& interface) const;
    bool checkInterface(IBinder* binder) const;

    status_t write(const void* data, size_t size);
    status_t writeInt32(int32_t value);
    status_t writeUint32(uint32_t value);
    status_t writeInt64(int64_t value);
    status_t writeBool(bool value);
    status_t writeString16(const String16& text);
    status_t writeStrongBinder(const sp<IBinder>& binder);

    status_t read(void* data, size_t size) const;
    const void* readInplace(size_t size) const;
    int32_t readInt32() const;
    status_t readInt32(int32_t* value) const;
    uint32_t readUint32() const;
    status_t readUint32(uint32_t* value) const;
    int64_t readInt64() const;
    status_t readInt64(int64_t* value) const;
    bool readBool() const;
    status_t readBool(bool* value) const;
    String16 readString16() const;
    status_t readString16(String16* text) const;
    sp<IBinder> readStrongBinder() const;
    status_t readNullableStrongBinder(sp<IBinder>* binder) const;

    /** What travels; for the libraries of this layer only. */
    transport::Message& message() { return mMessage; }
    const transport::Message& message() const { return mMessage; }

  private:
    transport::Message mMessage;
};

}  // namespace android
