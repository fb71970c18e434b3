// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace bench {

/** Legal tags that mean nothing, all of one type folder. */
std::vector<std::string> makeTags(size_t count);

/** The output of one contender, below its own root on the file system under test. */
class Store {
  public:
    explicit Store(std::string root) : mRoot(std::move(root)) {}

    /**
     * Makes an empty store that knows `tags`; each has `archives` archives from an earlier day.
     * They lie in the root itself or in the tag's folder.
     */
    void fill(const std::vector<std::string>& tags, int archives, bool inRoot) const;

    std::string oldArchive(const std::string& tag, int number, bool inRoot) const;
    std::string typeFolder(const std::string& tag) const;
    std::string historyFile() const { return mRoot + "/zul_history"; }
    const std::string& root() const { return mRoot; }

    /** What captures have left: empty when as many folders, archives, lines and runs are there. */
    std::string differs(size_t folders, size_t archives, size_t captures) const;

  private:
    const std::string mRoot;
};

}  // namespace bench
