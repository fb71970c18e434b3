// SPDX-License-Identifier: Apache-2.0
#include <android/log.h>
#include <hidl/HidlSupport.h>
#include <stdlib.h>

namespace android::hardware::details {

void logAlwaysFatal(const char* message) {
    __android_log_print(ANDROID_LOG_FATAL, "HidlSupport", "%s", message);
    abort();
}

}  // namespace android::hardware::details
