// SPDX-License-Identifier: Apache-2.0

#include "rules/ConfigMerge.h"

#include <utility>

#include "base/Text.h"

namespace zul {

ConfigMerge::ConfigMerge(std::vector<ConfigEntry>& list) : mList(list) {
    for (size_t i = 0; i < mList.size(); i++)
        know(mList[i].tag, {i});
}

std::vector<size_t> ConfigMerge::add(const ConfigEntry& entry) {
    std::vector<size_t> replaced = take(entry.tag);
    if (replaced.empty()) {
        replaced.push_back(mList.size());
        mList.emplace_back();
    }
    for (const size_t i : replaced)
        mList[i] = entry;
    know(entry.tag, replaced);
    return replaced;
}

void ConfigMerge::know(const std::string& tag, const std::vector<size_t>& entries) {
    std::vector<size_t>& known = mEntries[tag.size()][tag];
    known.insert(known.end(), entries.begin(), entries.end());
}

/** Gives up all entries whose tag holds `part`. */
std::vector<size_t> ConfigMerge::take(const std::string& part) {
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

}  // namespace zul
