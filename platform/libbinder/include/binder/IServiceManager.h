// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/IBinder.h>
#include <utils/Errors.h>
#include <utils/RefBase.h>
#include <utils/String16.h>

namespace android {

/** The names under which processes offer their objects. */
class IServiceManager : public virtual RefBase {
  public:
    /** Looks again every second, for five seconds; null when the service does not come up. */
    virtual sp<IBinder> getService(const String16& name) const = 0;

    /** Null when nobody offers the name. Does not wait. */
    virtual sp<IBinder> checkService(const String16& name) const = 0;

    /**
     * Offers an object for the life of this process, in the place of whoever offered the name;
     * calls are served once the pool is started.
     */
    virtual status_t addService(const String16& name, const sp<IBinder>& service) = 0;
};

/** Never null; knows every service of the machine without asking another process. */
sp<IServiceManager> defaultServiceManager();

}  // namespace android
