// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdint.h>

// What the interface compilers make of interfaces/. tools/check_interfaces reads these enums and
// compares each with the compilers' own output.

namespace hidl_codes {

enum IZul : uint32_t {
    IZul_reserved1 = 1,
    IZul_reserved2 = 2,
    IZul_reserved3 = 3,
    IZul_reserved4 = 4,
    IZul_getThreadNumber = 5,
    IZul_registerClientCallback = 6,
};

enum IZulClientCallback : uint32_t {
    IZulClientCallback_onRunSimpZULCallback = 1,
    IZulClientCallback_onRunZULCallback = 2,
    IZulClientCallback_onRunSimpMultiPidZULCallback = 3,
    IZulClientCallback_onRunMultiPidZULCallback = 4,
};

}  // namespace hidl_codes

namespace aidl_codes {

enum IZul : uint32_t {
    IZul_getThreadNumber = 1,
    IZul_registerClientCallback = 2,
    IZul_getInterfaceHash = 16777214,
    IZul_getInterfaceVersion = 16777215,
};

enum IZulClientCallback : uint32_t {
    IZulClientCallback_onRunMultiPidZULCallback = 1,
    IZulClientCallback_onRunSimpMultiPidZULCallback = 2,
    IZulClientCallback_onRunSimpZULCallback = 3,
    IZulClientCallback_onRunZULCallback = 4,
    IZulClientCallback_getInterfaceHash = 16777214,
    IZulClientCallback_getInterfaceVersion = 16777215,
};

}  // namespace aidl_codes
