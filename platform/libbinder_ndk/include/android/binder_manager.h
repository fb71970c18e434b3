// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <android/binder_ibinder.h>
#include <android/binder_status.h>

/**
 * Offers an object for the life of this process, in the place of whoever offered the name; calls
 * are served once the pool is started. `EX_ILLEGAL_ARGUMENT` when no manifest declares the name or
 * there is no object.
 */
__attribute__((warn_unused_result)) binder_exception_t AServiceManager_addService(
        AIBinder* binder, const char* instance);

/** Gives a reference to the caller, or null when nobody offers the name. Does not wait. */
__attribute__((warn_unused_result)) AIBinder* AServiceManager_checkService(const char* instance);

/**
 * Gives a reference to the caller. Waits for the service, declared or not, however long that takes,
 * with a warning each second. (A device gives null where the look-up itself is denied.)
 */
__attribute__((warn_unused_result)) AIBinder* AServiceManager_waitForService(const char* instance);
