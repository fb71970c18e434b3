// SPDX-License-Identifier: Apache-2.0

#include <android/binder_process.h>
#include <binder/ProcessState.h>
#include <hidl/HidlTransportSupport.h>
#include <signal.h>

#include "base/Log.h"
#include "service/BinderMode.h"
#include "service/ZulService.h"

using zul::ZulService;

int main(int /* argc */, char** /* argv */) {
    LOGD("ZUL  main start.");
    signal(SIGPIPE, SIG_IGN);

    const bool aidlMode = zul::readAidlMode();
    if (aidlMode) {
        LOGD("ZUL main start thread from aidl.");
        ABinderProcess_setThreadPoolMaxThreadCount(1);
        ABinderProcess_startThreadPool();
    } else {
        LOGD("ZUL main start thread from hidl.");
        android::hardware::configureRpcThreadpool(1, false /* callerWillJoin */);
    }
    // Opens the platform binder for our own calls to the activity manager, in either mode.
    const android::sp<android::ProcessState> processState = android::ProcessState::self();

    // A step that fails has logged it; the daemon stays alive whatever happened.
    ZulService::Initialize();
    ZulService::getCompressFileCount();
    ZulService::zulRegisterCallback();

    if (aidlMode) {
        ABinderProcess_joinThreadPool();
    } else {
        android::hardware::joinRpcThreadpool();
    }
    LOGE("thread pool join returned, no more events are served");
    return 0;
}
