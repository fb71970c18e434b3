// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "sim/UniqueFd.h"
#include "sim/engine/CallbackList.h"

namespace sim {

/**
 * Listens on the control socket that init has passed. Returns an empty text, or why that is not
 * possible.
 */
std::string openControl(UniqueFd* listener);

/**
 * Serves `fire` until the process ends: each connection carries one command and is served on a thread
 * of its own.
 */
[[noreturn]] void serveControl(const UniqueFd& listener, CallbackList& callbacks);

}  // namespace sim
