// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <time.h>

#include <string>
#include <string_view>

// What all fuzz targets share. Each target is one source with its own run(). Its program's log lines
// are formatted and thrown away, its pauses take no time, its clock stands, and nothing is synced.

namespace zul::fuzz {

/** The target: deals with one input. Before each, the daemon's shared state is as at start. */
void run(std::string_view input);

/** Ends the program with one line that names the property, unless it holds. */
void require(bool holds, const char* property);

/** Takes the text before the first `separator`, or all of it, off the front of `rest`. */
std::string take(std::string_view& rest, std::string_view separator = "\n");

/** What time() gives; every input starts at the same second. */
extern time_t gNow;

}  // namespace zul::fuzz
