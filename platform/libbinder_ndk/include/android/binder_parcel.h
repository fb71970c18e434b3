// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <android/binder_status.h>
#include <stdint.h>

struct AIBinder;

/** Content of a call or its answer. Reads past the end fail with `STATUS_NOT_ENOUGH_DATA`. */
struct AParcel;

/** Does nothing for null. */
void AParcel_delete(AParcel* parcel);

/** `binder` may be null; the parcel takes another reference. */
binder_status_t AParcel_writeStrongBinder(AParcel* parcel, AIBinder* binder);
/** Gives a reference to the caller, or null when that was written. */
binder_status_t AParcel_readStrongBinder(const AParcel* parcel, AIBinder** binder);

/** The status of a call stands before its results. */
binder_status_t AParcel_writeStatusHeader(AParcel* parcel, const AStatus* status);
/** Gives a status to the caller. */
binder_status_t AParcel_readStatusHeader(const AParcel* parcel, AStatus** status);

binder_status_t AParcel_writeInt32(AParcel* parcel, int32_t value);
binder_status_t AParcel_readInt32(const AParcel* parcel, int32_t* value);
binder_status_t AParcel_writeInt64(AParcel* parcel, int64_t value);
binder_status_t AParcel_readInt64(const AParcel* parcel, int64_t* value);

/** UTF-8; travels as UTF-16. */
binder_status_t AParcel_writeString(AParcel* parcel, const char* text, int32_t length);

/** Gives room for `length` bytes, terminator included, or false; length -1 means null. */
typedef bool (*AParcel_stringAllocator)(void* stringData, int32_t length, char** buffer);
binder_status_t AParcel_readString(const AParcel* parcel, void* stringData,
                                   AParcel_stringAllocator allocator);
