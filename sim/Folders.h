// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <fts.h>

#include <memory>
#include <string>

namespace sim {

using FolderWalk = std::unique_ptr<FTS, int (*)(FTS*)>;

/**
 * A walk through a folder and all below it, without following links; null with `errno` when it cannot
 * begin. Folders come twice, before and after what is in them. `options` are more of fts_open's.
 */
inline FolderWalk walkFolder(std::string folder, int options) {
    char* const paths[] = {folder.data(), nullptr};
    return {fts_open(paths, FTS_PHYSICAL | options, nullptr), fts_close};
}

}  // namespace sim
