// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stddef.h>
#include <time.h>

#include <optional>
#include <string>
#include <string_view>

namespace zul {

/** How much of a tag names its type folder, and of a user tag in user mode. */
inline constexpr size_t kTypePrefixLength = 6;
inline constexpr size_t kUserTypePrefixLength = 8;

/** How much of `tag` names its type folder. */
size_t typePrefixLength(std::string_view tag, bool userMode);

/** Captures of these tags lie in a root of their own. */
bool isStuckLogo(std::string_view tag);

/** Path of the folder that holds the captures of `tag`; empty when the tag makes no name. */
std::string typeFolder(std::string_view tag, bool userMode);

/**
 * Path of a capture folder of `tag`, whose type folder is `typeFolder`. `fileNum` is the index of the
 * capture. The archive's path is this one and kArchiveSuffix.
 */
std::string captureFolder(const std::string& typeFolder, std::string_view tag, const tm& now,
                          int fileNum);

/** What the name of a capture folder tells. */
struct ArchiveName {
    std::string_view tag;
    /** As in the name: YYYY_MM_DD_HH_MM_SS. */
    std::string_view time;
    int number = 0;
};

/**
 * Reads the last part of a capture folder's path back, without an archive's suffix; nothing when the
 * daemon gives no such name. The views are into `name`.
 */
std::optional<ArchiveName> parseArchiveName(std::string_view name);

}  // namespace zul
