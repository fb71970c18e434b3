// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utils/Errors.h>

#include <string>

#include "FileDescriptor.h"

namespace transport {

/** What holds a service's address: the listening socket and the lock that proves its owner lives.
 */
struct Claim {
    FileDescriptor socket;
    FileDescriptor lock;
};

/**
 * Takes the address of a service. `ALREADY_EXISTS` when another living process has it, `BAD_VALUE`
 * when the name makes no address; every failure is logged.
 */
android::status_t claimAddress(const std::string& domain, const std::string& name, Claim* claim);

/** Connects to a service; invalid when no living process serves the name. */
FileDescriptor connectTo(const std::string& domain, const std::string& name);

}  // namespace transport
