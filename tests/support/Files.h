// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

namespace zul::test {

/** The content of a file; empty when it cannot be read. */
inline std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/** False when the file cannot be written whole. */
inline bool writeFile(const std::string& path, std::string_view text) {
    std::ofstream file(path, std::ios::binary);
    file << text;
    file.close();
    return file.good();
}

/** Links count, also those to nothing. */
inline bool exists(const std::string& path) {
    struct stat status = {};
    return lstat(path.c_str(), &status) == 0;
}

/** Leaves an empty folder, which is made where there is none. */
inline void emptyFolder(const std::string& path) {
    std::error_code error;
    std::filesystem::create_directories(path, error);
    for (const auto& entry : std::filesystem::directory_iterator(path, error))
        std::filesystem::remove_all(entry, error);
}

}  // namespace zul::test
