// SPDX-License-Identifier: Apache-2.0
//
// The least that a count of the store can cost: it starts, lists the folder, and says how many regular
// files there are.

#include <dirent.h>
#include <stdio.h>

int main(int argc, char** argv) {
    DIR* folder = argc == 2 ? opendir(argv[1]) : nullptr;
    if (folder == nullptr) return 1;
    int count = 0;
    while (const dirent* entry = readdir(folder)) {
        if (entry->d_type == DT_REG) count++;
    }
    closedir(folder);
    fprintf(stderr, "count=%d\n", count);
    return 0;
}
