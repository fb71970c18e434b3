// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "sim/engine/ControlProtocol.h"

namespace sim {

/** What `fire --help` prints. */
extern const char kFireHelp[];

/**
 * Turns the words of a `fire` command line (without the program's name) into a request. Returns an
 * empty text, or what is wrong with the words; the request is then unspecified.
 */
std::string parseFireCommand(const std::vector<std::string_view>& words, ControlRequest* request);

/** The word that names a kind of event on the command line. */
const char* kindName(EventKind kind);

}  // namespace sim
