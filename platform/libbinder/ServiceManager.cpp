// SPDX-License-Identifier: Apache-2.0
#include <android/log.h>
#include <binder/Binder.h>
#include <binder/IServiceManager.h>
#include <transport/Domain.h>
#include <unistd.h>
#include <utils/String8.h>

namespace android {

namespace {

constexpr int kGetServiceSeconds = 5;

class ServiceManager final : public IServiceManager {
  public:
    sp<IBinder> getService(const String16& name) const override {
        sp<IBinder> service = checkService(name);
        for (int i = 0; service == nullptr && i < kGetServiceSeconds; i++) {
            __android_log_print(ANDROID_LOG_INFO, "ServiceManager", "Waiting for service '%s'...",
                                String8(name).c_str());
            sleep(1);
            service = checkService(name);
        }
        return service;
    }

    sp<IBinder> checkService(const String16& name) const override {
        return fromTransport(transport::Domain::binder().lookup(String8(name).c_str()));
    }

    status_t addService(const String16& name, const sp<IBinder>& service) override {
        if (service == nullptr) return BAD_VALUE;
        return transport::Domain::binder().publish(String8(name).c_str(), toTransport(service));
    }
};

}  // namespace

sp<IServiceManager> defaultServiceManager() {
    static const sp<IServiceManager>& manager = *new sp<IServiceManager>(new ServiceManager);
    return manager;
}

}  // namespace android
