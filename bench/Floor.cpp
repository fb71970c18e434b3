// SPDX-License-Identifier: Apache-2.0
//
// A capture reduced to its system calls, in a small process with as many threads as the daemon: what
// no daemon can go below. The way of the request into the process is not in its times.
// Argument: the number of threads.

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>

#include "bench/FloorRequest.h"

namespace {

using bench::FloorRequest;

bool recordLine(const FloorRequest& request) {
    const int file = open(request.historyFile, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
    const auto size = static_cast<ssize_t>(strlen(request.historyLine));
    const bool done =
            file >= 0 && write(file, request.historyLine, size) == size && fsync(file) == 0;
    close(file);
    return done;
}

bool runCollector(FloorRequest& request) {
    char mask[] = "0", time[] = "2020-01-01 00:00:00", none[] = "";
    char* const arguments[] = {request.folder, mask, mask, request.text, none,   none,
                               none,           none, time, none,         nullptr};
    const pid_t child = request.withVfork ? vfork() : fork();
    if (child == 0) {
        execv("/system_ext/bin/zul_dumpstate", arguments);
        _exit(127);
    }
    int status = 0;
    return child > 0 && waitpid(child, &status, 0) == child && status == 0;
}

bool capture(FloorRequest& request) {
    if (request.oldArchive[0] != '\0' && unlink(request.oldArchive) != 0) return false;
    return mkdir(request.folder, 0777) == 0 && recordLine(request) && runCollector(request);
}

}  // namespace

int main(int argc, char** argv) {
    umask(0);
    bench::serveRequests(argc, argv, capture);
}
