// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <android/binder_auto_utils.h>
#include <android/binder_interface_utils.h>
#include <android/binder_parcel_utils.h>
#include <stdint.h>

#include <memory>
#include <string>
#include <tuple>
#include <type_traits>

// Both ends of an AIDL call, for any method: the method's own type says what travels. Arguments are
// values, strings and interfaces; a result comes through a pointer, as the last parameter.

namespace ndk::details {

inline binder_status_t write(AParcel* parcel, int32_t value) {
    return AParcel_writeInt32(parcel, value);
}

inline binder_status_t write(AParcel* parcel, int64_t value) {
    return AParcel_writeInt64(parcel, value);
}

inline binder_status_t write(AParcel* parcel, const std::string& text) {
    return ndk::AParcel_writeString(parcel, text);
}

template <typename Interface>
binder_status_t write(AParcel* parcel, const std::shared_ptr<Interface>& interface) {
    const SpAIBinder binder = interface != nullptr ? interface->asBinder() : SpAIBinder();
    return AParcel_writeStrongBinder(parcel, binder.get());
}

inline binder_status_t read(const AParcel* parcel, int32_t* value) {
    return AParcel_readInt32(parcel, value);
}

inline binder_status_t read(const AParcel* parcel, int64_t* value) {
    return AParcel_readInt64(parcel, value);
}

inline binder_status_t read(const AParcel* parcel, std::string* text) {
    return ndk::AParcel_readString(parcel, text);
}

template <typename Interface>
binder_status_t read(const AParcel* parcel, std::shared_ptr<Interface>* interface) {
    SpAIBinder binder;
    const binder_status_t status = AParcel_readStrongBinder(parcel, binder.getR());
    if (status != STATUS_OK) return status;
    *interface = Interface::fromBinder(binder);
    return binder.get() != nullptr && *interface == nullptr ? STATUS_BAD_TYPE : STATUS_OK;
}

/** Runs the steps until one fails. */
template <typename... Steps>
binder_status_t firstFailure(Steps&&... steps) {
    binder_status_t status = STATUS_OK;
    ((status = status == STATUS_OK ? steps() : status), ...);
    return status;
}

/** Sends the arguments, waits for the status and, when it is good and `result` is given, reads it. */
template <typename Result, typename... Args>
ScopedAStatus call(const SpAIBinder& binder, transaction_code_t code, Result* result,
                   const Args&... args) {
    ScopedAParcel in;
    ScopedAParcel out;
    ScopedAStatus answer;
    const binder_status_t status = firstFailure(
            [&] { return AIBinder_prepareTransaction(binder.get(), in.getR()); },
            [&] { return write(in.get(), args); }...,
            [&] { return AIBinder_transact(binder.get(), code, in.getR(), out.getR(), 0); },
            [&] { return AParcel_readStatusHeader(out.get(), answer.getR()); });
    if (status != STATUS_OK) return ScopedAStatus::fromStatus(status);
    if constexpr (!std::is_same_v<Result, std::nullptr_t>) {
        const binder_status_t read = answer.isOk() ? details::read(out.get(), result) : STATUS_OK;
        if (read != STATUS_OK) return ScopedAStatus::fromStatus(read);
    }
    return answer;
}

/** A call without a result. */
template <typename... Args>
ScopedAStatus call(const SpAIBinder& binder, transaction_code_t code, std::nullptr_t,
                   const Args&... args) {
    return call<std::nullptr_t>(binder, code, static_cast<std::nullptr_t*>(nullptr), args...);
}

/** Reads the arguments, calls the method of the implementation, writes its status and result. */
template <typename Interface, typename... Args>
binder_status_t serve(Interface& implementation, ScopedAStatus (Interface::*method)(Args...),
                      const AParcel* in, AParcel* out) {
    // A pointer among the parameters is where the result goes, all others are arguments.
    std::tuple<std::remove_pointer_t<std::decay_t<Args>>...> values;
    binder_status_t status = STATUS_OK;
    const auto readOne = [&]<typename Arg>(std::type_identity<Arg>, auto& value) {
        if constexpr (!std::is_pointer_v<Arg>) {
            if (status == STATUS_OK) status = read(in, &value);
        }
    };
    const auto writeOne = [&]<typename Arg>(std::type_identity<Arg>, const auto& value) {
        if constexpr (std::is_pointer_v<Arg>) {
            if (status == STATUS_OK) status = write(out, value);
        }
    };
    const auto pass = []<typename Arg>(std::type_identity<Arg>, auto& value) -> Arg {
        if constexpr (std::is_pointer_v<Arg>) {
            return &value;
        } else {
            return value;
        }
    };
    return std::apply(
            [&](auto&... value) -> binder_status_t {
                (readOne(std::type_identity<Args>(), value), ...);
                if (status != STATUS_OK) return status;
                const ScopedAStatus answer =
                        (implementation.*method)(pass(std::type_identity<Args>(), value)...);
                status = AParcel_writeStatusHeader(out, answer.get());
                if (status == STATUS_OK && answer.isOk()) {
                    (writeOne(std::type_identity<Args>(), value), ...);
                }
                return status;
            },
            values);
}

}  // namespace ndk::details
