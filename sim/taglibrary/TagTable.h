// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <string>
#include <string_view>

#include "sim/taglibrary/RowData.h"

namespace zulid {

/**
 * The rows of a tag table, by tag. The text is a header line and then six columns a line,
 * separated by ",". A field that holds a comma or a quote is quoted, with its quotes doubled;
 * a field never spans lines. A line that breaks these rules, lacks a tag or repeats one is skipped.
 * A table never changes once it is made, so any number of threads may read it.
 */
class TagTable {
  public:
    /**
     * Makes the table of a file, empty if it cannot be read, and logs one line if all is not well.
     */
    static TagTable load(const char* path);

    /**
     * Makes the table of a text; `problem` gets the first fault and their number, or stays empty.
     */
    static TagTable parse(std::string_view text, std::string* problem);

    /** The row of a tag, valid as long as the table, or null. */
    const RowData* find(const std::string& tag) const;

  private:
    std::map<std::string, RowData> mRows;
};

}  // namespace zulid
