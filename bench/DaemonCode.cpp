// SPDX-License-Identifier: Apache-2.0
//
// The daemon's own code, in a process with as many threads as the daemon, without binder: a capture is a
// call of startZul. Argument: the number of threads.

#include <cutils/properties.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "bench/FloorRequest.h"
#include "bench/Process.h"
#include "service/ZulService.h"

using zul::ZulService;

int main(int argc, char** argv) {
    for (int i = argc > 1 ? atoi(argv[1]) : 1; i > 1; i--)
        std::thread(pause).detach();
    fcntl(bench::kChannel, F_SETFD, FD_CLOEXEC);
    property_set("ro.build.type", "userdebug");
    ZulService::Initialize();
    ZulService::getCompressFileCount();

    const android::sp<ZulService> service = new ZulService();
    bench::FloorRequest request;
    while (recv(bench::kChannel, &request, sizeof(request), 0) == sizeof(request)) {
        const auto start = std::chrono::steady_clock::now();
        service->startZul(request.tag, 0, 0, request.text);
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
        const double answer = took.count();
        send(bench::kChannel, &answer, sizeof(answer), MSG_NOSIGNAL);
    }
}
