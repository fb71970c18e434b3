// SPDX-License-Identifier: Apache-2.0

#include "zulctl/store/ArchiveName.h"

#include <charconv>
#include <string>

#include "base/Paths.h"
#include "rules/ArchiveName.h"

namespace zulctl {

std::optional<ArchiveName> parseArchiveName(std::string_view name) {
    constexpr size_t kTimeSize = sizeof("0000_00_00_00_00_00") - 1;
    const size_t end = name.rfind('_');
    if (end == std::string_view::npos || end <= kTimeSize) return std::nullopt;
    const size_t start = end - kTimeSize;
    const std::string_view tag = name.substr(0, start - 1);
    const auto time = parseNameTime(name.substr(start, kTimeSize));
    if (!time || name[start - 1] != '_' || !zul::makesName(tag, zul::kTypePrefixLength)) {
        return std::nullopt;
    }
    // A remainder of 100, as it is printed; nothing else.
    const std::string_view digits = name.substr(end + 1);
    int number = 100;
    std::from_chars(digits.data(), digits.data() + digits.size(), number);
    const bool fits = number > -100 && number < 100;
    if (!fits || std::to_string(number) != digits) return std::nullopt;
    return ArchiveName{tag, *time};
}

std::string_view lastName(std::string_view path) {
    path.remove_prefix(path.rfind('/') + 1);
    if (path.ends_with(zul::kArchiveSuffix)) path.remove_suffix(sizeof(zul::kArchiveSuffix) - 1);
    return path;
}

}  // namespace zulctl
