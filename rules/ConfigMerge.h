// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stddef.h>

#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include "rules/ConfigText.h"

namespace zul {

/** Merges entries into a list that outlives it and that nobody else changes meanwhile. */
class ConfigMerge {
  public:
    explicit ConfigMerge(std::vector<ConfigEntry>& list);

    /**
     * Overwrites all entries whose tag holds the tag of `entry`, or else adds it at the end; the
     * numbers of the entries that it became.
     */
    std::vector<size_t> add(const ConfigEntry& entry);

  private:
    void know(const std::string& tag, const std::vector<size_t>& entries);
    std::vector<size_t> take(const std::string& part);

    std::vector<ConfigEntry>& mList;
    /**
     * The entries' numbers by the length of their tag, then by the tag. Only a longer tag can hold another
     * one, and nearly all are equally long: so few have to be looked at, however long the list is.
     */
    std::map<size_t, std::unordered_map<std::string, std::vector<size_t>>> mEntries;
};

}  // namespace zul
