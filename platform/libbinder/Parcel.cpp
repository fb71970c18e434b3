// SPDX-License-Identifier: Apache-2.0
#include <android/log.h>
#include <binder/Binder.h>
#include <binder/Parcel.h>
#include <transport/Object.h>
#include <utils/String8.h>

namespace android {

namespace {

constexpr int32_t kNullString = -1;

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

status_t Parcel::writeInt32(int32_t value) {
    mMessage.write(&value, sizeof(value));
    return OK;
}

status_t Parcel::writeInt64(int64_t value) {
    mMessage.write(&value, sizeof(value));
    return OK;
}

status_t Parcel::writeString16(const String16& text) {
    writeInt32(static_cast<int32_t>(text.size()));
    mMessage.write(text.string(), (text.size() + 1) * sizeof(char16_t));
    return OK;
}

status_t Parcel::writeStrongBinder(const sp<IBinder>& binder) {
    mMessage.writeObject(toTransport(binder));
    return OK;
}

int32_t Parcel::readInt32() const {
    int32_t value = 0;
    readInt32(&value);
    return value;
}

status_t Parcel::readInt32(int32_t* value) const {
    return mMessage.read(value, sizeof(*value));
}

status_t Parcel::readInt64(int64_t* value) const {
    return mMessage.read(value, sizeof(*value));
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
    const void* start = mMessage.readInPlace((static_cast<size_t>(units) + 1) * sizeof(char16_t));
    if (start == nullptr) return NOT_ENOUGH_DATA;
    *text = String16(static_cast<const char16_t*>(start), static_cast<size_t>(units));
    return OK;
}

status_t Parcel::readNullableStrongBinder(sp<IBinder>* binder) const {
    std::shared_ptr<transport::Object> object;
    const status_t status = mMessage.readObject(&object);
    *binder = fromTransport(object);
    return status;
}

}  // namespace android
