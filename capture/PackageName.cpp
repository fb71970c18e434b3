// SPDX-License-Identifier: Apache-2.0

#include <binder/IBinder.h>
#include <binder/IServiceManager.h>
#include <binder/Parcel.h>
#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <utils/String16.h>
#include <utils/String8.h>

#include "base/Log.h"
#include "service/ZulService.h"

namespace zul {

using android::Parcel;
using android::String16;

namespace {

/** The activity manager's transaction for the package name of a process. */
constexpr uint32_t kGetNameByPid = 13152;

}  // namespace

void ZulService::getNameByPid(int pid, char* name) {
    // Both calls may block for seconds while the system starts, so mServiceLock is never held here.
    const android::sp<android::IBinder> activity =
            android::defaultServiceManager()->getService(String16("activity"));
    if (activity == nullptr) return;

    Parcel data;
    Parcel reply;
    data.writeInterfaceToken(String16("android.app.IActivityManager"));
    data.writeInt32(pid);
    const android::status_t status = activity->transact(kGetNameByPid, data, &reply, 0);
    if (status != 0) {
        LOGD("remoteConfig activity->transact error:%d,%s", status, strerror(errno));
        return;
    }
    // The name comes first: unlike in replies of AIDL interfaces, no exception code precedes it.
    snprintf(name, kNameSize, "%s", android::String8(reply.readString16()).c_str());
}

}  // namespace zul
