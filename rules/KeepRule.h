// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stddef.h>

#include <string_view>

namespace zul {

/** How many archives a tag keeps, the one that is about to be made included. */
inline constexpr size_t kUserTagLimit = 10;
inline constexpr size_t kTagLimit = 20;

/** A run of entries of an archive list. */
struct ArchiveRange {
    size_t first;
    size_t count;
};

/**
 * Of the `count` archives of `tag`, oldest first, those to give up so that one more fits: the oldest
 * ones, but most tags keep their very first.
 */
ArchiveRange archivesToPrune(std::string_view tag, size_t count, size_t limit);

}  // namespace zul
