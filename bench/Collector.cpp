// SPDX-License-Identifier: Apache-2.0
//
// The collector that all contenders start. The event's text says what it does besides leaving a sign.

#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

int main(int argc, char** argv) {
    // One byte for each run, in the file that all of a contender's collectors share.
    if (argc < 10 || write(STDOUT_FILENO, ".", 1) != 1) return 1;
    const char* order = argv[3];
    // A shell cannot choose argument 0: it passes the folder after the others.
    const char* folder = argc > 10 ? argv[10] : argv[0];
    if (strcmp(order, "archive") == 0) {
        char archive[512];
        snprintf(archive, sizeof(archive), "%s.zul", folder);
        const int fd = open(archive, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
        return fd >= 0 && rmdir(folder) == 0 ? 0 : 1;
    }
    if (strcmp(order, "sleep") == 0) {
        const timespec rest{0, 50'000'000};
        return nanosleep(&rest, nullptr);
    }
    return 0;
}
