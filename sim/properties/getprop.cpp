// SPDX-License-Identifier: Apache-2.0

/**
 * getprop [NAME [DEFAULT]]: prints one property, DEFAULT where it is unset or empty, or all of them,
 * sorted, as `[name]: [value]`.
 */
#include <cutils/properties.h>
#include <stdio.h>

#include <map>
#include <string>

int main(int argc, char** argv) {
    // Through the list and not property_get(), whose buffer cuts a long "ro." value.
    std::map<std::string, std::string> all;
    auto keep = [](const char* key, const char* value, void* cookie) {
        static_cast<std::map<std::string, std::string>*>(cookie)->emplace(key, value);
    };
    property_list(keep, &all);
    if (argc == 1) {
        for (const auto& [key, value] : all)
            printf("[%s]: [%s]\n", key.c_str(), value.c_str());
        return 0;
    }
    const std::string& value = all[argv[1]];
    puts(value.empty() && argc > 2 ? argv[2] : value.c_str());
    return 0;
}
