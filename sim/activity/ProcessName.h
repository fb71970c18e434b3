// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace sim {

/**
 * The name of a live process: the file name of its first argument, which for an app is its package
 * name, or the kernel's name of it where there are no arguments. Empty when there is no process.
 */
std::string processName(int pid);

}  // namespace sim
