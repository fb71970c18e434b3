// SPDX-License-Identifier: Apache-2.0
#include "sim/collector/Orders.h"

#include <errno.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>

#include <algorithm>
#include <chrono>
#include <sstream>
#include <string>
#include <thread>

#include "sim/Files.h"
#include "sim/collector/Arguments.h"
#include "sim/collector/Sources.h"

namespace sim {
namespace {

constexpr const char* kOrders = "/data/ZUL/collector_orders";
constexpr const char* kRecord = "/data/ZUL/collector_record";
constexpr size_t kMaxOrdersBytes = 64 * 1024;

/** The line of this process's status with the signals that it ignores. */
std::string ignoredSignals() {
    std::string status;
    readFile("/proc/self/status", kMaxOrdersBytes, &status);
    status.erase(0, status.find("SigIgn"));
    return status.substr(0, status.find('\n') + 1);
}

/** Open descriptors as `fd N TARGET`. */
std::string openDescriptors() {
    std::string result;
    std::istringstream lines(readLinks(kOwnDescriptors).text);
    for (std::string line; std::getline(lines, line);)
        result += "fd " + line + '\n';
    return result;
}

bool appendRecord(int count, char** arguments) {
    const std::string block = "arguments " + std::to_string(count) + '\n' +
                              recordOfArguments(count, arguments) + openDescriptors() +
                              ignoredSignals() + "end\n";
    const int flags = O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOFOLLOW;
    const zul::ScopedFd record(open(kRecord, flags, 0600));
    if (!record.ok() || TEMP_FAILURE_RETRY(flock(record.get(), LOCK_EX)) != 0) return false;
    return zul::writeAll(record.get(), block);
}

bool obey(const std::string& order, const std::string& value, int count, char** arguments) {
    const int number = atoi(value.c_str());
    if (order == "record") return appendRecord(count, arguments);
    if (order == "exit") exit(number);
    if (order == "sleep") {
        std::this_thread::sleep_for(std::chrono::duration<double>(strtod(value.c_str(), nullptr)));
        return true;
    }
    if (order != "signal") return false;
    // Some arrive here ignored; the order is to die of it.
    signal(number, SIG_DFL);
    return raise(number) == 0;
}

}  // namespace

NextStep obeyOrders(int count, char** arguments) {
    std::string orders;
    if (readFile(kOrders, kMaxOrdersBytes, &orders) != 0) return NextStep::WORK;

    NextStep next = NextStep::WORK;
    std::istringstream lines(orders);
    for (std::string line; std::getline(lines, line);) {
        const size_t blank = std::min(line.find(' '), line.size());
        const std::string value = blank < line.size() ? line.substr(blank + 1) : "";
        if (line.empty()) continue;
        if (line == "quick") {
            next = NextStep::SKIP_WORK;
        } else if (!obey(line.substr(0, blank), value, count, arguments)) {
            fprintf(stderr, "zul_dumpstate: cannot obey the order '%s'\n", line.c_str());
            return NextStep::REFUSE;
        }
    }
    return next;
}

}  // namespace sim
