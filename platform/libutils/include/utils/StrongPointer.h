// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <functional>
#include <utility>

namespace android {

template <typename T>
class wp;

/** Strong reference to an object that counts its references (see `RefBase`). */
template <typename T>
class sp {
  public:
    constexpr sp() = default;
    constexpr sp(std::nullptr_t) {}
    sp(T* object) : mObject(object) {
        if (mObject != nullptr) mObject->incStrong(this);
    }
    sp(const sp& other) : sp(other.mObject) {}
    sp(sp&& other) noexcept : mObject(std::exchange(other.mObject, nullptr)) {}
    template <typename U>
    sp(const sp<U>& other) : sp(static_cast<T*>(other.get())) {}
    template <typename U>
    sp(sp<U>&& other) noexcept : mObject(std::exchange(other.mObject, nullptr)) {}
    ~sp() { clear(); }

    // By value: the new reference exists before the old one goes, also when one holds the other.
    sp& operator=(sp other) noexcept {
        std::swap(mObject, other.mObject);
        return *this;
    }

    /** Makes an object and its first reference. */
    template <typename... Args>
    static sp make(Args&&... args) {
        return sp(new T(std::forward<Args>(args)...));
    }

    T* get() const { return mObject; }
    T& operator*() const { return *mObject; }
    T* operator->() const { return mObject; }
    explicit operator bool() const { return mObject != nullptr; }

    /** Gives the reference up; this one is null before the object's end begins. */
    void clear() {
        if (T* old = std::exchange(mObject, nullptr)) old->decStrong(this);
    }

  private:
    template <typename U>
    friend class sp;
    friend class wp<T>;

    /** Takes over a reference that is counted already. */
    static sp adopt(T* object) {
        sp result;
        result.mObject = object;
        return result;
    }

    T* mObject = nullptr;
};

template <typename T, typename U>
bool operator==(const sp<T>& a, const sp<U>& b) {
    return a.get() == b.get();
}

template <typename T, typename U>
bool operator==(const sp<T>& a, const U* b) {
    return a.get() == b;
}

template <typename T>
bool operator==(const sp<T>& a, std::nullptr_t) {
    return a.get() == nullptr;
}

template <typename T>
bool operator<(const sp<T>& a, const sp<T>& b) {
    return std::less<T*>()(a.get(), b.get());
}

}  // namespace android
