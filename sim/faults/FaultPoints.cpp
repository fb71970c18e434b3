// SPDX-License-Identifier: Apache-2.0
#include "sim/faults/FaultPoints.h"

#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <unistd.h>

#include "base/Files.h"

namespace sim {
namespace {

FaultPage* gPage = nullptr;
void* gReal[kCallCount];
// In the thread's own block from the start: the usual way to such a variable may allocate.
__attribute__((tls_model("initial-exec"))) thread_local bool gExempt = false;

/** The program's own calls begin after this, and the programs that it starts are left alone. */
__attribute__((constructor)) void begin() {
    for (size_t i = 0; i < kCallCount; i++)
        realFunction(static_cast<Call>(i));
    const char* path = getenv(kPageVariable);
    const zul::ScopedFd file(path != nullptr ? open(path, O_RDWR | O_CLOEXEC) : -1);
    void* shared =
            mmap(nullptr, sizeof(FaultPage), PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0);
    unsetenv("LD_PRELOAD");
    unsetenv(kPageVariable);
    pthread_t inspector;
    if (shared == MAP_FAILED || pthread_create(&inspector, nullptr, inspect, shared) != 0) {
        perror("libzul_faults: no page");
        _exit(126);
    }
    gPage = static_cast<FaultPage*>(shared);
}

}  // namespace

FaultPage* page() {
    return gPage;
}

void exemptThisThread() {
    gExempt = true;
}

void* realFunction(Call call) {
    const auto index = static_cast<size_t>(call);
    if (gReal[index] == nullptr) gReal[index] = dlsym(RTLD_NEXT, kCallNames[index]);
    return gReal[index];
}

Verdict decide(Call call) {
    if (gPage == nullptr || gExempt) return Verdict::PASS;
    const uint32_t number = gPage->seen[static_cast<size_t>(call)].fetch_add(1) + 1;
    if (gPage->call != call || gPage->number != number) return Verdict::PASS;
    const int32_t error = gPage->error;
    gPage->fired = 1;
    if (error == kShort) return Verdict::SHORT;
    errno = error;
    return Verdict::FAIL;
}

}  // namespace sim
