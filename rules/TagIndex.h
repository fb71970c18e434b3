// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stddef.h>

#include <map>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "base/Text.h"

namespace zul {

/**
 * Finds the configuration entries, by their numbers, whose tag contains a given text. Only a longer tag
 * can contain another one, and nearly all are equally long: so few have to be searched, however long the
 * list is.
 */
class TagIndex {
  public:
    void add(const std::string& tag, const std::vector<size_t>& entries) {
        std::vector<size_t>& known = mEntries[tag.size()][tag];
        known.insert(known.end(), entries.begin(), entries.end());
    }

    /** Removes and returns all entries whose tag contains `part`. */
    std::vector<size_t> take(const std::string& part) {
        std::vector<size_t> taken;
        const auto shortest = mEntries.lower_bound(part.size());
        for (auto group = shortest; group != mEntries.end(); ++group) {
            if (group->first == part.size()) {
                if (auto equal = group->second.extract(part)) taken = std::move(equal.mapped());
                continue;
            }
            std::erase_if(group->second, [&](const auto& longer) {
                if (!contains(longer.first, part)) return false;
                taken.insert(taken.end(), longer.second.begin(), longer.second.end());
                return true;
            });
        }
        return taken;
    }

  private:
    /** By the length of the tag, then by the tag. */
    std::map<size_t, std::unordered_map<std::string, std::vector<size_t>>> mEntries;
};

}  // namespace zul
