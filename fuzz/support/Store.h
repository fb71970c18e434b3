// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

#include "tests/support/Files.h"

namespace zul::fuzz {

/** The daemon's files for one input: both roots empty at first, no property set. */
class Store {
  public:
    Store();
    /** Requires that nothing outside of the roots was removed, changed or made. */
    ~Store();
    Store(const Store&) = delete;
    Store& operator=(const Store&) = delete;

    static std::string read(const std::string& path) { return test::readFile(path); }
    /** Makes the folders above the file too. False when there can be no such file. */
    static bool write(const std::string& path, std::string_view text);
    static bool exists(const std::string& path) { return test::exists(path); }
};

}  // namespace zul::fuzz
