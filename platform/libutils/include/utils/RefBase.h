// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdint.h>
#include <utils/StrongPointer.h>

#include <utility>

namespace android {

/**
 * Base of objects that are counted by `sp` and watched by `wp`.
 *
 * An object starts with no reference; the first `sp` calls `onFirstRef()`. When the last strong
 * reference goes, `onLastStrongRef()` is called and the object is deleted, unless it asked for
 * `OBJECT_LIFETIME_WEAK`: then it lives until the last weak reference goes too. Every counting
 * operation may be called from any thread. Classes may derive from it virtually.
 */
class RefBase {
  public:
    RefBase(const RefBase&) = delete;
    RefBase& operator=(const RefBase&) = delete;

    /** Counts one strong reference; `id` names its holder for debugging and is not kept. */
    void incStrong(const void* id) const;
    /** Gives one strong reference back. The object may be gone when this returns. */
    void decStrong(const void* id) const;
    int32_t getStrongCount() const;

    /** Counts of one object. Outlives the object while weak references to it exist. */
    class weakref_type {
      public:
        void incWeak(const void* id);
        void decWeak(const void* id);
        /** Counts one strong reference if the object still lives; false when it does not. */
        bool attemptIncStrong(const void* id);
        /** References of both kinds: a strong one counts as a weak one as well. */
        int32_t getWeakCount() const;

      protected:
        weakref_type() = default;
        ~weakref_type() = default;
    };

    /** Counts one weak reference, to be given back by `decWeak()` on the result. */
    weakref_type* createWeak(const void* id) const;
    weakref_type* getWeakRefs() const;

  protected:
    RefBase();
    virtual ~RefBase();

    enum { OBJECT_LIFETIME_STRONG = 0x0000, OBJECT_LIFETIME_WEAK = 0x0001 };
    enum { FIRST_INC_STRONG = 0x0001 };

    /** Call in the constructor, before a reference exists. */
    void extendObjectLifetime(int32_t mode);

    virtual void onFirstRef();
    virtual void onLastStrongRef(const void* id);
    /** Asked when a weak reference of an `OBJECT_LIFETIME_WEAK` object wants the first strong one
     * again. */
    virtual bool onIncStrongAttempted(uint32_t flags, const void* id);
    /** Called for `OBJECT_LIFETIME_WEAK` objects only, just before they are deleted. */
    virtual void onLastWeakRef(const void* id);

  private:
    class Counts;
    Counts* const mCounts;
};

/** Weak reference to a `RefBase` object: does not keep it alive, and tells whether it is. */
template <typename T>
class wp {
  public:
    constexpr wp() = default;
    constexpr wp(std::nullptr_t) {}
    wp(T* object) : mObject(object) {
        if (object != nullptr) mCounts = object->createWeak(this);
    }
    wp(const sp<T>& other) : wp(other.get()) {}
    template <typename U>
    wp(const sp<U>& other) : wp(static_cast<T*>(other.get())) {}
    wp(const wp& other) : mObject(other.mObject), mCounts(other.mCounts) {
        if (mCounts != nullptr) mCounts->incWeak(this);
    }
    wp(wp&& other) noexcept
          : mObject(std::exchange(other.mObject, nullptr)),
            mCounts(std::exchange(other.mCounts, nullptr)) {}
    /**
     * Null when the object is gone: finding a virtual base needs a living object, so the conversion
     * holds it for the time being.
     */
    template <typename U>
    wp(const wp<U>& other) : wp(other.promote()) {}
    ~wp() { clear(); }

    wp& operator=(wp other) noexcept {
        std::swap(mObject, other.mObject);
        std::swap(mCounts, other.mCounts);
        return *this;
    }

    /** A strong reference, or null when the object is gone. */
    sp<T> promote() const {
        if (mCounts == nullptr || !mCounts->attemptIncStrong(this)) return nullptr;
        return sp<T>::adopt(mObject);
    }

    void clear() {
        mObject = nullptr;
        if (auto* counts = std::exchange(mCounts, nullptr)) counts->decWeak(this);
    }

    /** Two references are equal when they watch the same object, even after a new one took its
     * place. */
    bool operator==(const wp& other) const { return mCounts == other.mCounts; }
    bool operator<(const wp& other) const {
        return std::less<RefBase::weakref_type*>()(mCounts, other.mCounts);
    }
    bool operator==(std::nullptr_t) const { return mCounts == nullptr; }

  private:
    T* mObject = nullptr;
    RefBase::weakref_type* mCounts = nullptr;
};

}  // namespace android
