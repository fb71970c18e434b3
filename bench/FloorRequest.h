// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <fcntl.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "bench/Process.h"

namespace bench {

/**
 * One capture as a process is asked for it on its channel; all texts are made beforehand. It
 * answers by a double: the seconds that it took, or -1.
 */
struct FloorRequest {
    char tag[64];
    char folder[256];
    char historyFile[64];
    char historyLine[256];
    /** The archive that goes; empty for none. */
    char oldArchive[256];
    /** The event's text. */
    char text[16];
    bool withVfork;
};

/**
 * Answers requests until the channel ends, by what `capture` makes of them. The process gets as many threads
 * as its argument says.
 */
template <class Capture>
void serveRequests(int argc, char** argv, Capture capture) {
    for (int i = argc > 1 ? atoi(argv[1]) : 1; i > 1; i--)
        std::thread(pause).detach();
    fcntl(kChannel, F_SETFD, FD_CLOEXEC);

    FloorRequest request;
    while (recv(kChannel, &request, sizeof(request), 0) == sizeof(request)) {
        const auto start = std::chrono::steady_clock::now();
        const bool done = capture(request);
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
        const double answer = done ? took.count() : -1;
        send(kChannel, &answer, sizeof(answer), MSG_NOSIGNAL);
    }
}

}  // namespace bench
