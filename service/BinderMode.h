// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cutils/properties.h>
#include <string.h>

namespace zul {

/**
 * True when the platform has done away with HIDL, so that the engine is reached over AIDL. Only the
 * exact value "true" says so: an unset or odd property means HIDL.
 */
inline bool readAidlMode() {
    char value[PROPERTY_VALUE_MAX] = {};
    property_get("hwservicemanager.disabled", value, "false");
    return strcmp(value, "true") == 0;
}

}  // namespace zul
