// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdint.h>
#include <utils/StrongPointer.h>

#include <utility>

namespace android {

/**
 * Base of objects that are counted by `sp` and watched by `wp`. An object starts with no reference
 * and is deleted when its last strong one goes. Counting may be done from any thread. Classes may
 * derive from it virtually.
 */
class RefBase {
  public:
    RefBase(const RefBase&) = delete;
    RefBase& operator=(const RefBase&) = delete;

    /** Counts one strong reference; `id` names its holder for debugging and is not kept. */
    void incStrong(const void* id) const;
    /** Gives one strong reference back. The object may be gone when this returns. */
    void decStrong(const void* id) const;

  protected:
    RefBase();
    virtual ~RefBase();

  private:
    template <typename T>
    friend class wp;

    /** The counts of one object, which live as long as it or a weak reference to it. */
    class Counts;

    static void incWeak(Counts* counts);
    static void decWeak(Counts* counts);
    /** Counts a strong reference if there is still one; false when the object is gone. */
    static bool attemptIncStrong(Counts* counts);

    Counts* const mCounts;
};

/** Weak reference to a `RefBase` object: does not keep it alive, and knows whether it is. */
template <typename T>
class wp {
  public:
    constexpr wp() = default;
    wp(T* object) : wp(object, object != nullptr ? object->mCounts : nullptr) {}
    wp(const sp<T>& other) : wp(other.get()) {}
    template <typename U>
    wp(const sp<U>& other) : wp(static_cast<T*>(other.get())) {}
    wp(const wp& other) : wp(other.mObject, other.mCounts) {}
    ~wp() { clear(); }

    wp& operator=(wp other) noexcept {
        std::swap(mObject, other.mObject);
        std::swap(mCounts, other.mCounts);
        return *this;
    }

    /** A strong reference, or null when the object is gone. */
    sp<T> promote() const {
        if (mCounts == nullptr || !RefBase::attemptIncStrong(mCounts)) return nullptr;
        return sp<T>::adopt(mObject);
    }

    void clear() {
        mObject = nullptr;
        if (auto* counts = std::exchange(mCounts, nullptr)) RefBase::decWeak(counts);
    }

    /** Both watch the same object, even after a new one took its place. */
    bool operator==(const wp& other) const { return mCounts == other.mCounts; }

  private:
    wp(T* object, RefBase::Counts* counts) : mObject(object), mCounts(counts) {
        if (counts != nullptr) RefBase::incWeak(counts);
    }

    T* mObject = nullptr;
    RefBase::Counts* mCounts = nullptr;
};

}  // namespace android
