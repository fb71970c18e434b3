// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <map>
#include <string>
#include <string_view>

#include "rules/FlagTables.h"

namespace zul {

/** A flag vocabulary: bits of the collection mask by their names. */
using FlagTable = std::map<std::string, int64_t>;

template <size_t N>
FlagTable makeFlagTable(const FlagEntry (&entries)[N]) {
    FlagTable table;
    for (const FlagEntry& entry : entries)
        table.emplace(entry.name, entry.value);
    return table;
}

/** True for a scene type whose flag names are those of kUserFlags. */
bool hasUserFlags(std::string_view sceneType);

/** A flag name as the vocabularies have it: without the blanks and line breaks that it is written with. */
std::string withoutBlanks(std::string name);

/** The mask that names joined by "|" stand for; unknown ones, blanks and line breaks add nothing. */
int64_t maskOfNames(const std::string& flagNames, const FlagTable& vocabulary);

}  // namespace zul
