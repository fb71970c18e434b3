// SPDX-License-Identifier: Apache-2.0

#include "rules/KeepRule.h"

#include "base/Text.h"

namespace zul {

ArchiveRange archivesToPrune(std::string_view tag, size_t count, size_t limit) {
    if (count < limit || contains(tag, "0x003e")) return {0, 0};
    const bool frontPruned = contains(tag, "0xffffff07") || contains(tag, "0xffffff08");
    return {frontPruned ? size_t{0} : size_t{1}, count - limit + 1};
}

}  // namespace zul
