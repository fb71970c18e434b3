// SPDX-License-Identifier: Apache-2.0

#include "tests/support/FakeFork.h"

#include <dlfcn.h>
#include <errno.h>
#include <sys/types.h>

#include <atomic>

namespace {

std::atomic<bool> gFails{false};

}  // namespace

extern "C" pid_t fork() noexcept {
    // The C library's, or a sanitizer's, which keeps its own locks in order.
    static const auto realFork = reinterpret_cast<pid_t (*)()>(dlsym(RTLD_NEXT, "fork"));
    if (!gFails) return realFork();
    errno = EAGAIN;
    return -1;
}

// The copy costs more but does no harm, and unlike the real one it can be wrapped.
extern "C" pid_t vfork() noexcept {
    return fork();
}

zul::test::FailingFork::FailingFork() {
    gFails = true;
}

zul::test::FailingFork::~FailingFork() {
    gFails = false;
}
