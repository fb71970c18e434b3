// SPDX-License-Identifier: Apache-2.0
#include <utils/RefBase.h>

#include <atomic>

namespace android {

class RefBase::Counts final {
  public:
    std::atomic<int32_t> strong{0};
    /** The weak references, and one for the object itself. */
    std::atomic<int32_t> weak{1};
};

RefBase::RefBase() : mCounts(new Counts) {}

RefBase::~RefBase() {
    decWeak(mCounts);
}

void RefBase::incStrong(const void*) const {
    mCounts->strong.fetch_add(1, std::memory_order_relaxed);
}

void RefBase::decStrong(const void*) const {
    if (mCounts->strong.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
}

void RefBase::incWeak(Counts* counts) {
    counts->weak.fetch_add(1, std::memory_order_relaxed);
}

void RefBase::decWeak(Counts* counts) {
    if (counts->weak.fetch_sub(1, std::memory_order_acq_rel) == 1) delete counts;
}

bool RefBase::attemptIncStrong(Counts* counts) {
    int32_t strong = counts->strong.load(std::memory_order_relaxed);
    while (strong > 0) {
        if (counts->strong.compare_exchange_weak(strong, strong + 1, std::memory_order_acq_rel)) {
            return true;
        }
    }
    return false;
}

}  // namespace android
