// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace zul {

/**
 * Runs " rm -rf " + `path` + `commandEnd` in the system's shell and waits for it, without a time
 * limit.
 *
 * Paths to remove come back from files that anyone can write, and the command runs as root. A path
 * that the shell would not read as one plain absolute path (blanks, quotes, globs, expansions,
 * "..", …), or that leads through a link, is not removed and logged. Where others than root can write
 * in a folder of the path, or where a slash follows the last name, the command reaches that name
 * through its folder's descriptor, and nobody can exchange it until the shell has ended. What is
 * somebody else's goes without the shell. A shell that cannot be started is logged too.
 *
 * True when the shell ran and exited by itself, whatever it could remove.
 */
bool removeWithShell(const std::string& path, const char* commandEnd);

}  // namespace zul
