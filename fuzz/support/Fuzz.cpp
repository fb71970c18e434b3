// SPDX-License-Identifier: Apache-2.0

#include "fuzz/support/Fuzz.h"

#include <android/log.h>
#include <errno.h>
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "service/ZulService.h"
#include "tests/support/ServiceState.h"

namespace zul::fuzz {

time_t gNow = 0;

namespace {

constexpr time_t kStart = 1741053967;
/** Descriptors are counted every so many inputs: listing them takes longer than many a run. */
constexpr unsigned kCountEvery = 64;

auto countDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

void checkLeftovers() {
    require(waitpid(-1, nullptr, WNOHANG) < 0 && errno == ECHILD, "no child is left");
    static unsigned runs = 0;
    static decltype(countDescriptors()) first = 0;
    if (runs++ % kCountEvery != 0) return;
    // What is opened once and kept (the tag library, the sanitizers' files) comes early.
    if (runs <= kCountEvery * 2) first = countDescriptors();
    // Another thread may be about to close one.
    for (int i = 0; i < 1000 && countDescriptors() > first; i++)
        usleep(2000);
    require(countDescriptors() <= first, "no descriptor leaks");
}

}  // namespace

void require(bool holds, const char* property) {
    if (holds) return;
    fprintf(stderr, "PROPERTY DOES NOT HOLD: %s\n", property);
    abort();
}

std::string take(std::string_view& rest, std::string_view separator) {
    const size_t end = std::min(rest.find(separator), rest.size());
    const std::string part(rest.substr(0, end));
    rest.remove_prefix(std::min(end + separator.size(), rest.size()));
    return part;
}

}  // namespace zul::fuzz

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    signal(SIGPIPE, SIG_IGN);
    // For the children, as this program has read its own: looking for leaks is most of their time.
    const char* const options = getenv("ASAN_OPTIONS");
    const std::string forChildren = options != nullptr ? std::string(options) + ":" : "";
    setenv("ASAN_OPTIONS", (forChildren + "detect_leaks=0").c_str(), 1);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    zul::test::resetServiceState();
    zul::fuzz::gNow = zul::fuzz::kStart;
    zul::fuzz::run({reinterpret_cast<const char*>(data), size});
    zul::fuzz::checkLeftovers();
    return 0;
}

// The whole of liblog: lines are formatted, and written nowhere.
extern "C" int __android_log_write(int, const char*, const char* text) {
    return static_cast<int>(strlen(text));
}

extern "C" int __android_log_print(int, const char*, const char* format, ...) {
    char line[1024];
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf(line, sizeof(line), format, arguments);
    va_end(arguments);
    return length;
}

extern "C" unsigned int sleep(unsigned int seconds) {
    // The fuzzer's own thread that watches the memory sleeps too.
    const timespec pause{getpid() == gettid() ? 0 : static_cast<time_t>(seconds), 0};
    nanosleep(&pause, nullptr);
    return 0;
}

extern "C" time_t time(time_t* out) noexcept {
    if (out != nullptr) *out = zul::fuzz::gNow;
    return zul::fuzz::gNow;
}

extern "C" int fsync(int) {
    return 0;
}
