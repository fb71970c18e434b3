// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdint.h>
#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

namespace sim {

/** Number of arguments of the collector. The first is the output folder, not the program's name. */
constexpr int kArgumentCount = 10;

/** What the arguments ask for, as far as the collector acts on it. */
struct Request {
    std::string folder;
    uint64_t mask = 0;
    /** The tag is a user tag: the bits of the mask have their meanings of the user vocabulary. */
    bool userTag = false;
    std::vector<pid_t> pids;
};

/**
 * The request of the ten `arguments`; none, after a line on standard error, when the mask is no
 * number.
 */
std::optional<Request> parseRequest(char** arguments);

/**
 * The arguments byte for byte: for each its number, a blank, its length in bytes and a line break,
 * then its bytes and a line break.
 */
std::string recordOfArguments(int count, char** arguments);

}  // namespace sim
