// SPDX-License-Identifier: Apache-2.0
#include <string.h>
#include <utils/String8.h>

#include "Internal.h"

using ::android::String16;
using ::android::String8;

void AParcel_delete(AParcel* parcel) {
    delete parcel;
}

binder_status_t AParcel_writeStrongBinder(AParcel* parcel, AIBinder* binder) {
    return parcel->parcel->writeStrongBinder(binder != nullptr ? binder->binder() : nullptr);
}

binder_status_t AParcel_readStrongBinder(const AParcel* parcel, AIBinder** binder) {
    android::sp<android::IBinder> read;
    const binder_status_t status = parcel->parcel->readNullableStrongBinder(&read);
    if (status == STATUS_OK) *binder = AIBinder_fromPlatformBinder(read);
    return status;
}

binder_status_t AParcel_writeStatusHeader(AParcel* parcel, const AStatus* status) {
    // What failed on the way has no place in an answer.
    if (AStatus_getStatus(status) != STATUS_OK) return AStatus_getStatus(status);
    const binder_exception_t exception = AStatus_getExceptionCode(status);
    parcel->parcel->writeInt32(exception);
    if (exception == EX_NONE) return STATUS_OK;
    return parcel->parcel->writeString16(String16(AStatus_getMessage(status)));
}

binder_status_t AParcel_readStatusHeader(const AParcel* parcel, AStatus** status) {
    binder_exception_t exception = EX_NONE;
    const binder_status_t result = parcel->parcel->readInt32(&exception);
    if (result != STATUS_OK) return result;
    *status = nullptr;
    if (exception == EX_NONE) return STATUS_OK;
    const String8 message(parcel->parcel->readString16());
    *status = AStatus_fromExceptionCodeWithMessage(exception, message.c_str());
    return STATUS_OK;
}

binder_status_t AParcel_writeInt32(AParcel* parcel, int32_t value) {
    return parcel->parcel->writeInt32(value);
}

binder_status_t AParcel_readInt32(const AParcel* parcel, int32_t* value) {
    return parcel->parcel->readInt32(value);
}

binder_status_t AParcel_writeInt64(AParcel* parcel, int64_t value) {
    return parcel->parcel->writeInt64(value);
}

binder_status_t AParcel_readInt64(const AParcel* parcel, int64_t* value) {
    return parcel->parcel->readInt64(value);
}

binder_status_t AParcel_writeString(AParcel* parcel, const char* text, int32_t length) {
    if (text == nullptr || length < 0) return STATUS_BAD_VALUE;
    return parcel->parcel->writeString16(String16(text, static_cast<size_t>(length)));
}

binder_status_t AParcel_readString(const AParcel* parcel, void* stringData,
                                   AParcel_stringAllocator allocator) {
    String16 wide;
    const binder_status_t status = parcel->parcel->readString16(&wide);
    if (status != STATUS_OK) return status;
    const String8 text(wide);
    char* buffer = nullptr;
    if (!allocator(stringData, static_cast<int32_t>(text.size() + 1), &buffer)) {
        return STATUS_UNEXPECTED_NULL;
    }
    memcpy(buffer, text.c_str(), text.size() + 1);
    return STATUS_OK;
}
