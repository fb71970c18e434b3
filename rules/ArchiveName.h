// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stddef.h>
#include <time.h>

#include <string>
#include <string_view>

namespace zul {

/** How much of a tag names its type folder; the second is for user tags in user mode. */
inline constexpr size_t kTypePrefixLength = 6;
inline constexpr size_t kUserTypePrefixLength = 8;

/** How much of `tag` names its type folder. */
size_t typePrefixLength(std::string_view tag, bool userMode);

/** False for a tag that is too short, or cannot be part of a folder's name and of a history line. */
bool makesName(std::string_view tag, size_t prefixLength);

/** True for the tags whose captures have a separate root. */
bool isStuckLogo(std::string_view tag);

/** Path of the folder that holds the captures of `tag`; empty when the tag makes no name. */
std::string typeFolder(std::string_view tag, bool userMode);

/**
 * Path of a capture folder of `tag`, whose type folder is `typeFolder`. `fileNum` is the index of the
 * capture. The archive's path is this one and kArchiveSuffix.
 */
std::string captureFolder(const std::string& typeFolder, std::string_view tag, const tm& now,
                          int fileNum);

}  // namespace zul
