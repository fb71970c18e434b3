// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace zul {

enum class Removal {
    /** Not ours to remove, or in use by others: logged, and still there. */
    REFUSED,
    /** Gone without the shell, or the shell could not run to its end. */
    DONE,
    /** The shell ran and exited normally, whatever it could remove. */
    SHELL_EXITED,
};

/**
 * Runs " rm -rf " + `path` + `commandEnd` in the system's shell and waits for it, without a time
 * limit.
 *
 * Paths to remove come back from files that anyone can write, and the command runs as root. A path
 * that the shell would not read as one plain absolute path (blanks, quotes, globs, expansions,
 * "..", …), or that leads through a link, is refused. While the shell runs, nobody else can exchange what
 * the path leads through or to; what is below somebody else's folder is removed without the shell. A shell
 * that cannot be started is logged.
 */
Removal removeWithShell(const std::string& path, const char* commandEnd);

}  // namespace zul
