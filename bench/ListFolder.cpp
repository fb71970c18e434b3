// SPDX-License-Identifier: Apache-2.0
//
// The least that a look at the store can cost: it starts, lists the folder, reads the file that may be named
// behind it, and says how many regular files there are.

#include <dirent.h>
#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

namespace {

bool readFile(const char* path) {
    static char block[size_t{128} << 10];
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    ssize_t count = fd < 0 ? -1 : 1;
    while (count > 0)
        count = read(fd, block, sizeof(block));
    close(fd);
    return count == 0;
}

}  // namespace

int main(int argc, char** argv) {
    DIR* folder = argc >= 2 ? opendir(argv[1]) : nullptr;
    if (folder == nullptr) return 1;
    int count = 0;
    while (const dirent* entry = readdir(folder)) {
        if (entry->d_type == DT_REG) count++;
    }
    closedir(folder);
    if (argc == 3 && !readFile(argv[2])) return 1;
    fprintf(stderr, "count=%d\n", count);
    return 0;
}
