// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "sim/collector/Arguments.h"
#include "sim/collector/OutputFolder.h"

namespace sim {

/**
 * Gathers everything that the request's mask asks for and that this machine has: NAME.txt for a
 * kind of data, NAME_PID.txt for one of a process. Where nothing could be read there is NAME.note
 * with the reason instead. Bits that mean nothing here are listed in not_gathered.note.
 */
void gather(const Request& request, const OutputFolder& folder);

}  // namespace sim
