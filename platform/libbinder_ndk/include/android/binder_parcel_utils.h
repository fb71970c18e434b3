// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <android/binder_parcel.h>

#include <string>

namespace ndk {

inline binder_status_t AParcel_writeString(AParcel* parcel, const std::string& text) {
    return ::AParcel_writeString(parcel, text.c_str(), static_cast<int32_t>(text.size()));
}

/** A null text is an error: the type has no room for it. */
inline binder_status_t AParcel_readString(const AParcel* parcel, std::string* text) {
    return ::AParcel_readString(parcel, text, [](void* data, int32_t length, char** buffer) {
        if (length < 0) return false;
        auto* string = static_cast<std::string*>(data);
        string->resize(static_cast<size_t>(length) - 1);
        *buffer = string->data();
        return true;
    });
}

}  // namespace ndk
