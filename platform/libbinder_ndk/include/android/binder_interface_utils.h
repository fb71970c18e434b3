// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <android/binder_auto_utils.h>
#include <android/binder_ibinder.h>

#include <memory>
#include <mutex>

namespace ndk {

/** Base of objects that live in a `shared_ptr`; `make()` is the way to get one. */
class SharedRefBase {
  public:
    SharedRefBase() = default;
    SharedRefBase(const SharedRefBase&) = delete;
    SharedRefBase& operator=(const SharedRefBase&) = delete;
    virtual ~SharedRefBase() = default;

    /** A further reference to this object; the first one owns it. */
    std::shared_ptr<SharedRefBase> ref();
    template <typename CHILD>
    std::shared_ptr<CHILD> ref() {
        return std::static_pointer_cast<CHILD>(ref());
    }

    template <class T, class... Args>
    static std::shared_ptr<T> make(Args&&... args) {
        T* object = new T(std::forward<Args>(args)...);
        return object->template ref<T>();
    }

  private:
    std::once_flag mFirst;
    std::weak_ptr<SharedRefBase> mThis;
};

/** Base of all AIDL interfaces, of their implementations and of their proxies. */
class ICInterface : public SharedRefBase {
  public:
    /** The object to send; implementations make it when it is first asked for. */
    virtual SpAIBinder asBinder() = 0;

    /** The implementation behind an object of this process, else null. */
    static std::shared_ptr<ICInterface> asInterface(AIBinder* binder);
    /** The class of an interface's objects; the object holds the implementation. */
    static AIBinder_Class* defineClass(const char* interfaceDescriptor,
                                       AIBinder_Class_onTransact onTransact);
};

/** Implementation side of an interface. */
template <typename INTERFACE>
class BnCInterface : public INTERFACE {
  public:
    SpAIBinder asBinder() override {
        std::lock_guard lock(mLock);
        SpAIBinder binder(AIBinder_Weak_promote(mWeakBinder.get()));
        if (binder.get() == nullptr) {
            binder = createBinder();
            mWeakBinder.set(AIBinder_Weak_new(binder.get()));
        }
        return binder;
    }

  protected:
    virtual SpAIBinder createBinder() = 0;

  private:
    // Weak, because the binder holds this object for as long as anybody holds the binder.
    std::mutex mLock;
    ScopedAIBinder_Weak mWeakBinder;
};

/** Proxy side of an interface. */
template <typename INTERFACE>
class BpCInterface : public INTERFACE {
  public:
    explicit BpCInterface(const SpAIBinder& binder) : mBinder(binder) {}
    SpAIBinder asBinder() override { return mBinder; }

  private:
    const SpAIBinder mBinder;
};

}  // namespace ndk
