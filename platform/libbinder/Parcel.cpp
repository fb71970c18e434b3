// SPDX-License-Identifier: Apache-2.0
#include <android/log.h>
#include <binder/Binder.h>
#include <binder/Parcel.h>
#include <transport/Object.h>
#include <utils/String8.h>

namespace android {

namespace {

constexpr int32_t kNullString = -1;

template <typename T>
T valueOrZero(const transport::Message& message) {
    T value{};
    message.read(&value, sizeof(value));
    return value;
}

}  // namespace

status_t Parcel::writeInterfaceToken(const String16& interface) {
    return writeString16(interface);
}

bool Parcel::enforceInterface(const String16& interface) const {
    String16 token;
    if (readString16(&token) == OK && token == interface) return true;
    __android_log_print(ANDROID_LOG_ERROR, "Parcel", "call for '%s' came to '%s'",
                        String8(token).c_str(), String8(interface).c_str());
    return false;
}

bool Parcel::checkInterface(IBinder* binder) const {
    return enforceInterface(binder->getInterfaceDescriptor());
}

status_t Parcel::write(const void* data, size_t size) {
    mMessage.write(data, size);
    return OK;
}

status_t Parcel::writeInt32(int32_t value) {
    return write(&value, sizeof(value));
}

status_t Parcel::writeUint32(uint32_t value) {
    return write(&value, sizeof(value));
}

status_t Parcel::writeInt64(int64_t value) {
    return write(&value, sizeof(value));
}

status_t Parcel::writeBool(bool value) {
    return writeInt32(value ? 1 : 0);
}

status_t Parcel::writeString16(const String16& text) {
    writeInt32(static_cast<int32_t>(text.size()));
    return write(text.string(), (text.size() + 1) * sizeof(char16_t));
}

status_t Parcel::writeStrongBinder(const sp<IBinder>& binder) {
    mMessage.writeObject(toTransport(binder));
    return OK;
}

status_t Parcel::read(void* data, size_t size) const {
    return mMessage.read(data, size);
}

const void* Parcel::readInplace(size_t size) const {
    return mMessage.readInPlace(size);
}

int32_t Parcel::readInt32() const {
    return valueOrZero<int32_t>(mMessage);
}

status_t Parcel::readInt32(int32_t* value) const {
    return read(value, sizeof(*value));
}

uint32_t Parcel::readUint32() const {
    return valueOrZero<uint32_t>(mMessage);
}

status_t Parcel::readUint32(uint32_t* value) const {
    return read(value, sizeof(*value));
}

int64_t Parcel::readInt64() const {
    return valueOrZero<int64_t>(mMessage);
}

status_t Parcel::readInt64(int64_t* value) const {
    return read(value, sizeof(*value));
}

bool Parcel::readBool() const {
    return readInt32() != 0;
}

status_t Parcel::readBool(bool* value) const {
    int32_t number = 0;
    const status_t status = readInt32(&number);
    if (status == OK) *value = number != 0;
    return status;
}

String16 Parcel::readString16() const {
    String16 text;
    readString16(&text);
    return text;
}

status_t Parcel::readString16(String16* text) const {
    *text = String16();
    int32_t units = 0;
    const status_t status = readInt32(&units);
    if (status != OK) return status;
    if (units == kNullString) return UNEXPECTED_NULL;
    if (units < 0) return BAD_VALUE;
    const void* start = readInplace((static_cast<size_t>(units) + 1) * sizeof(char16_t));
    if (start == nullptr) return NOT_ENOUGH_DATA;
    *text = String16(static_cast<const char16_t*>(start), static_cast<size_t>(units));
    return OK;
}

sp<IBinder> Parcel::readStrongBinder() const {
    sp<IBinder> binder;
    readNullableStrongBinder(&binder);
    return binder;
}

status_t Parcel::readNullableStrongBinder(sp<IBinder>* binder) const {
    std::shared_ptr<transport::Object> object;
    const status_t status = mMessage.readObject(&object);
    *binder = fromTransport(object);
    return status;
}

}  // namespace android
