// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utils/Errors.h>

#include <string>
#include <vector>

#include "FileDescriptor.h"

namespace transport {

/**
 * Listens at the address of a service, in the place of whoever did before. `BAD_VALUE` when the name
 * makes no address; every failure is logged.
 */
android::status_t takeAddress(const std::string& domain, const std::string& name,
                              FileDescriptor* listener);

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
