// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "base/Files.h"
#include "sim/engine/CallbackList.h"

namespace sim {

/**
 * Listens on the control socket that init has passed. Returns an empty text, or why that is not
 * possible.
 */
std::string openControl(zul::ScopedFd* listener);

/**
 * Serves `fire` until the process ends: each connection carries one command and is served on a thread
 * of its own.
 */
[[noreturn]] void serveControl(const zul::ScopedFd& listener, CallbackList& callbacks);

}  // namespace sim
