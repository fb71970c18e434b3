// SPDX-License-Identifier: Apache-2.0
#include <utils/RefBase.h>

#include <atomic>

namespace android {

namespace {

// Marks an object that never had a strong reference, far above any real count.
constexpr int32_t kNeverReferenced = 1 << 28;

}  // namespace

/**
 * Besides the references, the object itself counts once in `mWeak`; its destructor gives that back.
 * So this block goes with whatever lasts longer, the object or the last reference, in one place.
 */
class RefBase::Counts final : public RefBase::weakref_type {
  public:
    explicit Counts(RefBase* object) : mObject(object) {}

    static Counts* of(weakref_type* counts) { return static_cast<Counts*>(counts); }
    static const Counts* of(const weakref_type* counts) {
        return static_cast<const Counts*>(counts);
    }

    /** After the strong count was raised from `before`: the first reference ever removes the mark.
     */
    void settleFirstReference(int32_t before) {
        if (before != kNeverReferenced) return;
        mStrong.fetch_sub(kNeverReferenced, std::memory_order_relaxed);
        mObject->onFirstRef();
    }

    bool livesByWeak() const { return mMode.load(std::memory_order_relaxed) != 0; }

    void release() {
        if (mWeak.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
    }

    RefBase* const mObject;
    std::atomic<int32_t> mStrong{kNeverReferenced};
    std::atomic<int32_t> mWeak{1};
    std::atomic<int32_t> mMode{OBJECT_LIFETIME_STRONG};
};

RefBase::RefBase() : mCounts(new Counts(this)) {}

RefBase::~RefBase() {
    // An object that was never counted (a local one) must not be promoted any more either.
    int32_t expected = kNeverReferenced;
    mCounts->mStrong.compare_exchange_strong(expected, 0);
    mCounts->mMode.store(OBJECT_LIFETIME_STRONG, std::memory_order_relaxed);
    mCounts->release();
}

void RefBase::incStrong(const void* id) const {
    mCounts->incWeak(id);
    mCounts->settleFirstReference(mCounts->mStrong.fetch_add(1, std::memory_order_relaxed));
}

void RefBase::decStrong(const void* id) const {
    Counts* const counts = mCounts;
    if (counts->mStrong.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        counts->mObject->onLastStrongRef(id);
        if (!counts->livesByWeak()) delete this;
    }
    counts->decWeak(id);
}

int32_t RefBase::getStrongCount() const {
    const int32_t count = mCounts->mStrong.load(std::memory_order_relaxed);
    return count >= kNeverReferenced ? count - kNeverReferenced : count;
}

RefBase::weakref_type* RefBase::createWeak(const void* id) const {
    mCounts->incWeak(id);
    return mCounts;
}

RefBase::weakref_type* RefBase::getWeakRefs() const {
    return mCounts;
}

void RefBase::extendObjectLifetime(int32_t mode) {
    mCounts->mMode.fetch_or(mode, std::memory_order_relaxed);
}

void RefBase::onFirstRef() {}

void RefBase::onLastStrongRef(const void*) {}

bool RefBase::onIncStrongAttempted(uint32_t flags, const void*) {
    return (flags & FIRST_INC_STRONG) != 0;
}

void RefBase::onLastWeakRef(const void*) {}

void RefBase::weakref_type::incWeak(const void*) {
    Counts::of(this)->mWeak.fetch_add(1, std::memory_order_relaxed);
}

void RefBase::weakref_type::decWeak(const void* id) {
    Counts* const counts = Counts::of(this);
    if (!counts->livesByWeak()) return counts->release();
    // Only the object's own count is left of such an object: nothing can reach it any more.
    if (counts->mWeak.fetch_sub(1, std::memory_order_acq_rel) != 2) return;
    counts->mObject->onLastWeakRef(id);
    delete counts->mObject;
}

bool RefBase::weakref_type::attemptIncStrong(const void* id) {
    Counts* const counts = Counts::of(this);
    int32_t current = counts->mStrong.load(std::memory_order_relaxed);
    while (current > 0) {
        if (!counts->mStrong.compare_exchange_weak(current, current + 1,
                                                   std::memory_order_acq_rel)) {
            continue;
        }
        incWeak(id);
        counts->settleFirstReference(current);
        return true;
    }
    if (!counts->livesByWeak() || !counts->mObject->onIncStrongAttempted(FIRST_INC_STRONG, id)) {
        return false;
    }
    incWeak(id);
    counts->mStrong.fetch_add(1, std::memory_order_acq_rel);
    return true;
}

int32_t RefBase::weakref_type::getWeakCount() const {
    return Counts::of(this)->mWeak.load(std::memory_order_relaxed) - 1;
}

}  // namespace android
