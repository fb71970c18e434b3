// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <android/binder_ibinder.h>
#include <android/binder_parcel.h>
#include <binder/IBinder.h>
#include <binder/Parcel.h>
#include <utils/RefBase.h>
#include <utils/String16.h>

#include <atomic>
#include <string>

struct AIBinder_Class {
    const android::String16 descriptor;
    const AIBinder_Class_onCreate onCreate;
    const AIBinder_Class_onDestroy onDestroy;
    const AIBinder_Class_onTransact onTransact;
};

struct AIBinder : public virtual android::RefBase {
    virtual android::sp<android::IBinder> binder() = 0;
    virtual void* userData() const { return nullptr; }

    std::atomic<const AIBinder_Class*> clazz{nullptr};
};

struct AIBinder_Weak {
    android::wp<AIBinder> binder;
};

/** Either owns its parcel, or refers to that of a call being served. */
struct AParcel {
    AParcel() : parcel(&mOwn) {}
    explicit AParcel(android::Parcel* served) : parcel(served) {}

    android::Parcel* const parcel;

  private:
    android::Parcel mOwn;
};

/** Counts one reference for the caller; null stays null. */
AIBinder* AIBinder_fromPlatformBinder(const android::sp<android::IBinder>& binder);
