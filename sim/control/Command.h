// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "sim/control/Event.h"

namespace sim {

/** What `fire --help` prints. */
extern const char kFireHelp[];

/** How `fire` ends, besides 1: an event failed, a wait timed out or there is no engine. */
inline constexpr int kExitUsage = 2;
inline constexpr int kExitNoCallback = 3;

/** What the words of a `fire` command line ask for; the fields of other commands keep their defaults. */
struct Command {
    enum { FIRE, WAIT, STATUS } what = STATUS;
    uint32_t callbacks = 0;  ///< WAIT: how many must be registered
    uint32_t count = 1;
    uint32_t parallel = 1;
    /** The event's kind and scene, as they are printed. */
    std::string name;
    Event event;
};

/**
 * Reads the words of a command line, without the program's name. Returns an empty text, or what is
 * wrong with the words; the command is then unspecified.
 */
std::string parseCommand(const std::vector<std::string>& words, Command* command);

}  // namespace sim
