// SPDX-License-Identifier: Apache-2.0
//
// The daemon's own code, in a process with as many threads as the daemon, without the desktop's binder, log
// and properties: a capture is a call of startZul. Argument: the number of threads.

#include <cutils/properties.h>
#include <stdio.h>
#include <string.h>

#include "bench/FloorRequest.h"
#include "service/ZulService.h"

using zul::ZulService;

// Nothing is logged, no property is set but one, and none is looked for in a file.
extern "C" {

int __android_log_write(int, const char*, const char*) {
    return 0;
}

int __android_log_print(int, const char*, const char*, ...) {
    return 0;
}

int property_get(const char* key, char* value, const char* fallback) {
    return snprintf(value, PROPERTY_VALUE_MAX, "%s",
                    strcmp(key, "ro.build.type") == 0 ? "userdebug" : fallback);
}

int8_t property_get_bool(const char*, int8_t fallback) {
    return fallback;
}

int32_t property_get_int32(const char*, int32_t fallback) {
    return fallback;
}

int property_set(const char*, const char*) {
    return 0;
}

}  // extern "C"

int main(int argc, char** argv) {
    ZulService::Initialize();
    ZulService::getCompressFileCount();
    const android::sp<ZulService> service = new ZulService();
    bench::serveRequests(argc, argv, [&service](const bench::FloorRequest& request) {
        service->startZul(request.tag, 0, 0, request.text);
        return true;
    });
}
