// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string_view>

#include "zulctl/WallTime.h"

namespace zulctl {

/** What the name of a capture folder tells. */
struct ArchiveName {
    std::string_view tag;
    WallTime time = 0;
};

/**
 * Reads the last part of a capture folder's path back, without an archive's suffix; nothing when the
 * daemon gives no such name. The tag is a part of `name`.
 */
std::optional<ArchiveName> parseArchiveName(std::string_view name);

/** The last name of a path, without an archive's suffix. */
std::string_view lastName(std::string_view path);

}  // namespace zulctl
