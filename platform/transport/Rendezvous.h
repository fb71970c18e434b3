// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utils/Errors.h>

#include <string>
#include <vector>

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

/** Tells of the services that appear, from its construction on. */
class Arrivals {
  public:
    Arrivals();

    /** Readable when something has come; -1 when the system refused, which is logged. */
    int descriptor() const { return mEvents.get(); }
    /** Names of the address files that are new since the last call. Waits for nothing. */
    std::vector<std::string> take();

  private:
    const FileDescriptor mEvents;
};

/** The file, without its folder, that is a service's address. */
std::string addressFile(const std::string& domain, const std::string& name);

/** Connects to a service; invalid when no living process serves the name. */
FileDescriptor connectTo(const std::string& domain, const std::string& name);

}  // namespace transport
