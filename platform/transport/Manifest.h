// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace transport {

/**
 * Whether a VINTF manifest of the device names a service: "package@1.0::IName/instance" over HIDL,
 * "package.IName/instance" over AIDL. Reads the fragments below /vendor/etc/vintf/manifest anew each
 * time, as far as `<interface>` elements go.
 */
bool isDeclared(const std::string& service);

}  // namespace transport
