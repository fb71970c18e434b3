// SPDX-License-Identifier: Apache-2.0
#include <android/binder_interface_utils.h>

namespace ndk {

namespace {

/** User data of the objects of all interfaces. */
struct InterfaceData {
    std::shared_ptr<ICInterface> interface;
};

void* createData(void* args) {
    return new InterfaceData{static_cast<ICInterface*>(args)->ref<ICInterface>()};
}

void destroyData(void* userData) {
    delete static_cast<InterfaceData*>(userData);
}

}  // namespace

std::shared_ptr<SharedRefBase> SharedRefBase::ref() {
    std::shared_ptr<SharedRefBase> self = mThis.lock();
    std::call_once(mFirst, [&] {
        self.reset(this);
        mThis = self;
    });
    return self;
}

std::shared_ptr<ICInterface> ICInterface::asInterface(AIBinder* binder) {
    auto* data = static_cast<InterfaceData*>(AIBinder_getUserData(binder));
    return data != nullptr ? data->interface : nullptr;
}

AIBinder_Class* ICInterface::defineClass(const char* interfaceDescriptor,
                                         AIBinder_Class_onTransact onTransact) {
    return AIBinder_Class_define(interfaceDescriptor, createData, destroyData, onTransact);
}

}  // namespace ndk
