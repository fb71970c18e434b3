// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace zul {

/**
 * Runs " rm -rf " + `path` + `commandEnd` in the system's shell and waits for it, without a time
 * limit.
 *
 * Paths to remove come back from files that anyone can write, and the command runs as root: a path
 * that the shell would not read as one plain absolute path (blanks, quotes, globs, expansions,
 * "..", …) is not removed and logged. A shell that cannot be started is logged too.
 *
 * True when the shell ran and exited by itself, whatever it could remove.
 */
bool removeWithShell(const std::string& path, const char* commandEnd);

}  // namespace zul
