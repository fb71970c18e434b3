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
#include <utility>

// Both ends of an AIDL call, for any method: the method's own type says what travels. Arguments are
// values, strings and interfaces; a result comes through a pointer, as the only parameter.

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

/** Sends the arguments and waits for the status; the result, if any, is then in `out`. */
template <typename... Args>
ScopedAStatus transact(const SpAIBinder& binder, transaction_code_t code, ScopedAParcel* out,
                       const Args&... args) {
    ScopedAParcel in;
    ScopedAStatus answer;
    binder_status_t status = AIBinder_prepareTransaction(binder.get(), in.getR());
    ((status = status == STATUS_OK ? write(in.get(), args) : status), ...);
    if (status == STATUS_OK) {
        status = AIBinder_transact(binder.get(), code, in.getR(), out->getR(), 0);
    }
    if (status == STATUS_OK) status = AParcel_readStatusHeader(out->get(), answer.getR());
    return status == STATUS_OK ? std::move(answer) : ScopedAStatus::fromStatus(status);
}

/** Calls a method without a result. */
template <typename... Args>
ScopedAStatus call(const SpAIBinder& binder, transaction_code_t code, const Args&... args) {
    ScopedAParcel out;
    return transact(binder, code, &out, args...);
}

/** Calls a method without arguments. */
template <typename Result>
ScopedAStatus query(const SpAIBinder& binder, transaction_code_t code, Result* result) {
    ScopedAParcel out;
    ScopedAStatus answer = transact(binder, code, &out);
    return answer.isOk() ? ScopedAStatus::fromStatus(read(out.get(), result)) : std::move(answer);
}

/** Calls the method of the implementation and writes its status and result. */
template <typename Interface, typename Result>
binder_status_t serve(Interface& implementation, ScopedAStatus (Interface::*method)(Result*),
                      const AParcel*, AParcel* out) {
    Result result{};
    const ScopedAStatus answer = (implementation.*method)(&result);
    const binder_status_t status = AParcel_writeStatusHeader(out, answer.get());
    return status == STATUS_OK && answer.isOk() ? write(out, result) : status;
}

/** Reads the arguments, calls the method of the implementation and writes its status. */
template <typename Interface, typename... Args>
binder_status_t serve(Interface& implementation, ScopedAStatus (Interface::*method)(Args...),
                      const AParcel* in, AParcel* out) {
    std::tuple<std::decay_t<Args>...> arguments;
    binder_status_t status = STATUS_OK;
    const auto readAll = [&](auto&... argument) {
        ((status = status == STATUS_OK ? read(in, &argument) : status), ...);
    };
    std::apply(readAll, arguments);
    if (status != STATUS_OK) return status;
    const ScopedAStatus answer = std::apply(
            [&](auto&... argument) { return (implementation.*method)(argument...); }, arguments);
    return AParcel_writeStatusHeader(out, answer.get());
}

}  // namespace ndk::details
