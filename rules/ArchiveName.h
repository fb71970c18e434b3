// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stddef.h>
#include <time.h>

#include <string>
#include <string_view>

namespace zul {

/** How much of a tag names its type folder, and of a user tag in user mode. */
inline constexpr size_t kTypePrefixLength = 6;
inline constexpr size_t kUserTypePrefixLength = 8;

/** How much of `tag` names its type folder. */
size_t typePrefixLength(std::string_view tag, bool userMode);

/** The name of one folder and a field of one history line is made of the tag. */
bool makesName(std::string_view tag, size_t prefixLength);

/** Captures of these tags lie in a root of their own. */
bool isStuckLogo(std::string_view tag);

/** Path of the folder that holds the captures of `tag`; empty when the tag makes no name. */
std::string typeFolder(std::string_view tag, bool userMode);

/**
 * Path of the capture folder of a tag that makes a name. `fileNum` is the index of the capture. The
 * archive's path is this one and kArchiveSuffix.
 */
std::string captureFolder(std::string_view tag, bool userMode, const tm& now, int fileNum);

}  // namespace zul
