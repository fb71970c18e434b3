// SPDX-License-Identifier: Apache-2.0
#include <binder/Binder.h>
#include <binder/IPCThreadState.h>
#include <binder/IServiceManager.h>
#include <binder/Parcel.h>
#include <binder/ProcessState.h>
#include <limits.h>
#include <string.h>

#include <string>

#include "sim/Files.h"

namespace {

using android::status_t;
using android::String16;

constexpr uint32_t kGetNameByPid = 13152;

std::string readUpTo(const std::string& path, char end) {
    std::string text;
    sim::readFile(path, PATH_MAX, &text);
    return text.substr(0, text.find(end));
}

/**
 * The name of a live process: the file name of its first argument, which for an app is its package
 * name, or the kernel's name of it where there are no arguments. Empty when there is no process.
 */
std::string processName(int pid) {
    const std::string folder = "/proc/" + std::to_string(pid);
    const std::string argument = readUpTo(folder + "/cmdline", '\0');
    const std::string name = argument.substr(argument.rfind('/') + 1);
    return name.empty() ? readUpTo(folder + "/comm", '\n') : name;
}

/** The one question of the platform's activity manager that the daemon asks. */
class ActivityManager final : public android::BBinder {
  public:
    status_t onTransact(uint32_t code, const android::Parcel& data, android::Parcel* reply,
                        uint32_t flags) override {
        if (code != kGetNameByPid) {
            return BBinder::onTransact(code, data, reply, flags);
        }
        if (!data.enforceInterface(String16("android.app.IActivityManager"))) {
            return android::PERMISSION_DENIED;
        }
        int32_t pid = 0;
        if (data.readInt32(&pid) != android::OK) {
            return android::BAD_VALUE;
        }
        const std::string name = processName(pid);
        if (name.empty()) {
            return android::NAME_NOT_FOUND;
        }
        return reply->writeString16(String16(name.c_str()));
    }
};

}  // namespace

int main() {
    setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    const android::sp<android::IBinder> manager = new ActivityManager;
    const status_t error =
            android::defaultServiceManager()->addService(String16("activity"), manager);
    if (error != android::OK) {
        fprintf(stderr, "activity: cannot publish the service: %s\n",
                error == android::ALREADY_EXISTS ? "the name is taken" : strerror(-error));
        return 2;
    }
    android::ProcessState::self()->startThreadPool();
    printf("activity: ready\n");
    android::IPCThreadState::self()->joinThreadPool();
}
