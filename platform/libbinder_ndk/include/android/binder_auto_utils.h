// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <android/binder_ibinder.h>
#include <android/binder_parcel.h>
#include <android/binder_status.h>

#include <string>
#include <utility>

namespace ndk {

/** Counted reference to an `AIBinder`. */
class SpAIBinder {
  public:
    SpAIBinder() = default;
    SpAIBinder(std::nullptr_t) {}
    /** Takes a reference over that is counted already. */
    explicit SpAIBinder(AIBinder* binder) : mBinder(binder) {}
    SpAIBinder(const SpAIBinder& other) : mBinder(other.mBinder) { AIBinder_incStrong(mBinder); }
    SpAIBinder(SpAIBinder&& other) noexcept : mBinder(std::exchange(other.mBinder, nullptr)) {}
    SpAIBinder& operator=(SpAIBinder other) noexcept {
        std::swap(mBinder, other.mBinder);
        return *this;
    }
    ~SpAIBinder() { AIBinder_decStrong(mBinder); }

    void set(AIBinder* binder) { *this = SpAIBinder(binder); }
    AIBinder* get() const { return mBinder; }
    /** For a function that gives a reference. */
    AIBinder** getR() {
        set(nullptr);
        return &mBinder;
    }
    bool operator==(const SpAIBinder& other) const { return mBinder == other.mBinder; }

  private:
    AIBinder* mBinder = nullptr;
};

namespace impl {

/** Owns a plain object that one function destroys. */
template <typename T, void (*destroy)(T*)>
class ScopedAResource {
  public:
    explicit ScopedAResource(T* object = nullptr) : mObject(object) {}
    ScopedAResource(ScopedAResource&& other) noexcept
          : mObject(std::exchange(other.mObject, nullptr)) {}
    ScopedAResource& operator=(ScopedAResource&& other) noexcept {
        set(std::exchange(other.mObject, nullptr));
        return *this;
    }
    ~ScopedAResource() { destroy(mObject); }

    void set(T* object) { destroy(std::exchange(mObject, object)); }
    T* get() const { return mObject; }
    /** For a function that gives or takes an object. */
    T** getR() { return &mObject; }

  private:
    T* mObject;
};

}  // namespace impl

using ScopedAParcel = impl::ScopedAResource<AParcel, AParcel_delete>;
using ScopedAIBinder_DeathRecipient =
        impl::ScopedAResource<AIBinder_DeathRecipient, AIBinder_DeathRecipient_delete>;
using ScopedAIBinder_Weak = impl::ScopedAResource<AIBinder_Weak, AIBinder_Weak_delete>;

/** How an AIDL call ended. Move-only. Nobody has to look at it. */
class ScopedAStatus : public impl::ScopedAResource<AStatus, AStatus_delete> {
  public:
    explicit ScopedAStatus(AStatus* status = nullptr) : ScopedAResource(status) {}

    static ScopedAStatus ok() { return ScopedAStatus(); }
    static ScopedAStatus fromStatus(binder_status_t status) {
        return ScopedAStatus(AStatus_fromStatus(status));
    }
    static ScopedAStatus fromExceptionCode(binder_exception_t exception) {
        return fromExceptionCodeWithMessage(exception, nullptr);
    }
    static ScopedAStatus fromExceptionCodeWithMessage(binder_exception_t exception,
                                                      const char* message) {
        return ScopedAStatus(AStatus_fromExceptionCodeWithMessage(exception, message));
    }

    bool isOk() const { return AStatus_isOk(get()); }
    binder_exception_t getExceptionCode() const { return AStatus_getExceptionCode(get()); }
    binder_status_t getStatus() const { return AStatus_getStatus(get()); }
    const char* getMessage() const { return AStatus_getMessage(get()); }
    /** For people. */
    std::string getDescription() const;
};

}  // namespace ndk
