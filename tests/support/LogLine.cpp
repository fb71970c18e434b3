// SPDX-License-Identifier: Apache-2.0

#include "tests/support/LogLine.h"

#include <regex>

namespace zul::test {

std::optional<LogLine> parseLogLine(std::string_view line) {
    static const std::regex header(
            R"(\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} +(\d+) +(\d+) ([A-Z]) (\w+): )");
    std::cmatch match;
    // The header alone: a text may be too long for the expression's recursion.
    if (!std::regex_search(line.data(), line.data() + line.size(), match, header,
                           std::regex_constants::match_continuous)) {
        return std::nullopt;
    }
    return LogLine{match[1], match[2], *match[3].first, match[4], match.suffix()};
}

}  // namespace zul::test
