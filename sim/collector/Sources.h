// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace sim {

/** What one source gave: its text, or, when it gave nothing, one line that says why. */
struct Gathered {
    std::string text;
    std::string problem;
};

/** Reads one source; at most 8 MiB of it. */
using Source = Gathered (*)(const std::string& path);

/** The files that match, each under its name. A shell's pattern with `*` and `{a,b}`. */
Gathered copyFiles(const std::string& pattern);
/** The folder of our own open descriptors. */
inline constexpr char kOwnDescriptors[] = "/proc/self/fd";

/** What each entry of a folder of links leads to, such as a process's open descriptors. */
Gathered readLinks(const std::string& folder);
/** All system properties, sorted. */
Gathered listProperties(const std::string&);
/** The kernel's log buffer. */
Gathered readKernelLog(const std::string&);

}  // namespace sim
