// SPDX-License-Identifier: Apache-2.0

#include <aidl/vendor/morvantic/hardware/zul/zulengine/IZul.h>
#include <android/binder_manager.h>
#include <android/binder_process.h>
#include <hidl/HidlTransportSupport.h>
#include <unistd.h>
#include <vendor/morvantic/hardware/zul/zulengine/1.0/IZul.h>

#include <algorithm>

#include "callbacks/ZulAidlCallBack.h"
#include "callbacks/ZulCallBack.h"
#include "service/BinderMode.h"
#include "service/Log.h"
#include "service/ZulService.h"

namespace zul {

namespace {

using AidlEngine = ::aidl::vendor::morvantic::hardware::zul::zulengine::IZul;
using HidlEngine = ::vendor::morvantic::hardware::zul::zulengine::V1_0::IZul;

constexpr int kLookupAttempts = 11;

/**
 * The threads for `count` callbacks and one more. A pool is never asked for none: the platform ends a
 * process that asks for fewer than it has.
 */
int64_t poolSize(int32_t count) {
    return std::max<int64_t>(int64_t{count} + 1, 1);
}

/**
 * Calls `lookup` until it finds the engine, a second apart; null when the last attempt failed too.
 */
template <class Lookup>
auto findEngine(Lookup lookup) {
    auto engine = lookup();
    for (int attempt = 1; engine == nullptr && attempt < kLookupAttempts; attempt++) {
        sleep(1);
        engine = lookup();
    }
    return engine;
}

int registerOverAidl() {
    const std::string name = std::string(AidlEngine::descriptor) + "/default";
    const std::shared_ptr<AidlEngine> engine = findEngine([&name] {
        return AidlEngine::fromBinder(
                ndk::SpAIBinder(AServiceManager_waitForService(name.c_str())));
    });
    if (engine == nullptr) return -1;

    int32_t count = 0;
    engine->getThreadNumber(&count);
    LOG_DUMP("aidlbinder thread number=%d", count);
    ABinderProcess_setThreadPoolMaxThreadCount(static_cast<uint32_t>(poolSize(count)));
    ABinderProcess_startThreadPool();

    for (int32_t i = 0; i < count; i++) {
        engine->registerClientCallback(ndk::SharedRefBase::make<ZulAidlCallBack>(new ZulService()));
    }
    return 0;
}

int registerOverHidl() {
    const android::sp<HidlEngine> engine =
            findEngine([] { return HidlEngine::getService("default", false); });
    if (engine == nullptr) {
        LOGE("service is still nullptr after 10 attempts, return -1");
        return -1;
    }

    // A failed Return that nobody checks ends the process.
    const android::hardware::Return<int32_t> threadNumber = engine->getThreadNumber();
    if (!threadNumber.isOk()) {
        LOGE("engine gave no thread number: %s", threadNumber.description().c_str());
        return -1;
    }
    const int32_t count = threadNumber;
    LOG_DUMP("hwbinder thread number=%d", count);
    android::hardware::configureRpcThreadpool(static_cast<size_t>(poolSize(count)),
                                              true /* callerWillJoin */);

    for (int32_t i = 0; i < count; i++) {
        const android::sp<ZulCallBack> adapter = new ZulCallBack(new ZulService());
        (void)engine->registerClientCallback(adapter).isOk();
    }
    return 0;
}

}  // namespace

int ZulService::zulRegisterCallback() {
    return readAidlMode() ? registerOverAidl() : registerOverHidl();
}

}  // namespace zul
