// SPDX-License-Identifier: Apache-2.0
#include <binder/Binder.h>

#include "Internal.h"

using ::android::BBinder;
using ::android::IBinder;
using ::android::Parcel;
using ::android::sp;
using ::android::status_t;
using ::android::String16;

namespace {

/** An object of this process that `AIBinder_new()` made. */
class LocalBinder final : public AIBinder, public BBinder {
  public:
    LocalBinder(const AIBinder_Class* clazzOfAll, void* args)
          : mUserData(clazzOfAll->onCreate(args)) {
        clazz = clazzOfAll;
    }
    ~LocalBinder() override { clazz.load()->onDestroy(mUserData); }

    sp<IBinder> binder() override { return sp<IBinder>(this); }
    void* ndkBinder() override { return static_cast<AIBinder*>(this); }
    void* userData() const override { return mUserData; }

    const String16& getInterfaceDescriptor() const override { return clazz.load()->descriptor; }

    status_t onTransact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t) override {
        if (code < FIRST_CALL_TRANSACTION || code > ::LAST_CALL_TRANSACTION) {
            return STATUS_UNKNOWN_TRANSACTION;
        }
        if (!data.enforceInterface(getInterfaceDescriptor())) return STATUS_BAD_TYPE;
        // The callee gets it as const, and reading leaves the content alone.
        const AParcel in(const_cast<Parcel*>(&data));
        AParcel out(reply);
        return clazz.load()->onTransact(this, code, &in, &out);
    }

  private:
    void* const mUserData;
};

/** Any other object, as a rule one of another process. */
class ForeignBinder final : public AIBinder {
  public:
    explicit ForeignBinder(const sp<IBinder>& binder) : mBinder(binder) {}
    sp<IBinder> binder() override { return mBinder; }

  private:
    const sp<IBinder> mBinder;
};

}  // namespace

AIBinder* AIBinder_fromPlatformBinder(const sp<IBinder>& binder) {
    if (binder == nullptr) return nullptr;
    auto* object = static_cast<AIBinder*>(binder->ndkBinder());
    if (object == nullptr) object = new ForeignBinder(binder);
    AIBinder_incStrong(object);
    return object;
}

AIBinder_Class* AIBinder_Class_define(const char* interfaceDescriptor,
                                      AIBinder_Class_onCreate onCreate,
                                      AIBinder_Class_onDestroy onDestroy,
                                      AIBinder_Class_onTransact onTransact) {
    return new AIBinder_Class{String16(interfaceDescriptor), onCreate, onDestroy, onTransact};
}

AIBinder* AIBinder_new(const AIBinder_Class* clazz, void* args) {
    AIBinder* binder = new LocalBinder(clazz, args);
    AIBinder_incStrong(binder);
    return binder;
}

void AIBinder_incStrong(AIBinder* binder) {
    if (binder != nullptr) binder->incStrong(nullptr);
}

void AIBinder_decStrong(AIBinder* binder) {
    if (binder != nullptr) binder->decStrong(nullptr);
}

AIBinder_Weak* AIBinder_Weak_new(AIBinder* binder) {
    return binder != nullptr ? new AIBinder_Weak{android::wp<AIBinder>(binder)} : nullptr;
}

void AIBinder_Weak_delete(AIBinder_Weak* weakBinder) {
    delete weakBinder;
}

AIBinder* AIBinder_Weak_promote(AIBinder_Weak* weakBinder) {
    if (weakBinder == nullptr) return nullptr;
    const sp<AIBinder> binder = weakBinder->binder.promote();
    AIBinder_incStrong(binder.get());
    return binder.get();
}

void* AIBinder_getUserData(AIBinder* binder) {
    return binder != nullptr ? binder->userData() : nullptr;
}

bool AIBinder_associateClass(AIBinder* binder, const AIBinder_Class* clazz) {
    if (binder == nullptr || clazz == nullptr) return false;
    const AIBinder_Class* known = binder->clazz;
    if (known != nullptr) return known == clazz;
    if (!(binder->binder()->getInterfaceDescriptor() == clazz->descriptor)) return false;
    binder->clazz = clazz;
    return true;
}

binder_status_t AIBinder_prepareTransaction(AIBinder* binder, AParcel** in) {
    if (binder == nullptr || in == nullptr) return STATUS_UNEXPECTED_NULL;
    const AIBinder_Class* clazz = binder->clazz;
    if (clazz == nullptr) return STATUS_INVALID_OPERATION;
    *in = new AParcel;
    return (*in)->parcel->writeInterfaceToken(clazz->descriptor);
}

binder_status_t AIBinder_transact(AIBinder* binder, transaction_code_t code, AParcel** in,
                                  AParcel** out, binder_flags_t flags) {
    if (in == nullptr || *in == nullptr) return STATUS_UNEXPECTED_NULL;
    AParcel* const request = *in;
    *in = nullptr;
    binder_status_t status = STATUS_UNEXPECTED_NULL;
    if (binder != nullptr && out != nullptr) {
        *out = new AParcel;
        status = binder->binder()->transact(code, *request->parcel, (*out)->parcel, flags);
    }
    AParcel_delete(request);
    return status;
}
