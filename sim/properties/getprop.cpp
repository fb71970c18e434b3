// SPDX-License-Identifier: Apache-2.0

/**
 * getprop [NAME [DEFAULT]]: prints one property, or all of them, sorted, as `[name]: [value]`.
 *
 * A property that is unset or empty prints DEFAULT. Exit status 0, or 1 when the properties cannot
 * be listed, or 2 for a wrong call.
 */
#include <cutils/properties.h>

#include <errno.h>
#include <stdio.h>
#include <string.h>

#include <map>
#include <string>

int main(int argc, char** argv) {
    if (argc > 3) {
        fprintf(stderr, "usage: getprop [NAME [DEFAULT]]\n");
        return 2;
    }

    // Through the list and not property_get(), whose buffer cuts a long "ro." value.
    std::map<std::string, std::string> all;
    auto keep = [](const char* key, const char* value, void* cookie) {
        static_cast<std::map<std::string, std::string>*>(cookie)->emplace(key, value);
    };
    if (property_list(keep, &all) != 0) {
        fprintf(stderr, "getprop: cannot list the properties: %s\n", strerror(errno));
        return 1;
    }

    if (argc == 1) {
        for (const auto& [key, value] : all)
            printf("[%s]: [%s]\n", key.c_str(), value.c_str());
        return 0;
    }
    const std::string value = all[argv[1]];
    const char* fallback = argc == 3 ? argv[2] : "";
    printf("%s\n", value.empty() ? fallback : value.c_str());
    return 0;
}
