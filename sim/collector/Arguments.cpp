// SPDX-License-Identifier: Apache-2.0
#include "sim/collector/Arguments.h"

#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <charconv>
#include <string_view>

namespace sim {
namespace {

enum Position { FOLDER = 0, MASK = 1, PID = 2, TAG = 4, PROCESS_LIST = 9 };

constexpr std::string_view kDigits = "0123456789";
constexpr size_t kMaxPids = 64;

/**
 * Takes every run of digits as a process id: whatever stands between the numbers separates them.
 */
void addPids(std::string_view text, Request* request) {
    while (true) {
        text.remove_prefix(std::min(text.find_first_of(kDigits), text.size()));
        if (text.empty()) return;
        const std::string_view number = text.substr(0, text.find_first_not_of(kDigits));
        text.remove_prefix(number.size());

        pid_t pid = 0;
        const auto result = std::from_chars(number.data(), number.data() + number.size(), pid);
        const std::vector<pid_t>& known = request->pids;
        const bool isNew = std::find(known.begin(), known.end(), pid) == known.end();
        if (result.ec == std::errc() && pid != 0 && isNew && known.size() < kMaxPids)
            request->pids.push_back(pid);
    }
}

}  // namespace

std::optional<Request> parseRequest(char** arguments) {
    Request request;
    request.folder = arguments[FOLDER];
    request.userTag = strstr(arguments[TAG], "0xffffff") != nullptr;

    const std::string_view mask = arguments[MASK];
    int64_t number = 0;
    const auto result = std::from_chars(mask.data(), mask.data() + mask.size(), number);
    if (result.ec != std::errc() || result.ptr != mask.data() + mask.size()) {
        fprintf(stderr, "zul_dumpstate: argument %d, '%s', is not a 64-bit number\n", MASK,
                arguments[MASK]);
        return std::nullopt;
    }
    request.mask = static_cast<uint64_t>(number);

    // A negative number is nobody's id, while a '-' in the list separates like anything else.
    if (arguments[PID][0] != '-') addPids(arguments[PID], &request);
    addPids(arguments[PROCESS_LIST], &request);
    return request;
}

std::string recordOfArguments(int count, char** arguments) {
    std::string record;
    for (int i = 0; i < count; i++) {
        const std::string_view argument = arguments[i];
        record += std::to_string(i) + ' ' + std::to_string(argument.size()) + '\n';
        record.append(argument) += '\n';
    }
    return record;
}

}  // namespace sim
