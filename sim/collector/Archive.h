// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace sim {

/**
 * Packs a folder to the tar archive `<folder>.zul`, which appears when it is whole, and removes the
 * folder. When that fails the folder stays, there is no new archive, and a line on standard error
 * says why.
 */
bool replaceByArchive(const std::string& folder);

}  // namespace sim
