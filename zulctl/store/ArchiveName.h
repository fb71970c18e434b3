// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string_view>

namespace zulctl {

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

}  // namespace zulctl
