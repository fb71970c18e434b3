// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdio.h>
#include <stdlib.h>

#include <algorithm>
#include <string>
#include <vector>

#include "fuzz/support/Fuzz.h"
#include "zulctl/Command.h"
#include "zulctl/Output.h"

namespace zul::fuzz {

/** What zulctl prints. Requires that a terminal and readers of JSON can take it, whatever was read. */
inline std::string callZulctl(std::vector<std::string> words) {
    words.insert(words.begin(), "zulctl");
    char* text = nullptr;
    size_t size = 0;
    FILE* const out = open_memstream(&text, &size);
    FILE* const err = fopen("/dev/null", "we");
    const auto status = zulctl::run(words, out, err);
    fclose(out);
    fclose(err);
    require(status != zulctl::Status::WRONG_CALL, "no file makes a call wrong");
    std::string printed(text, size);
    free(text);
    require(std::all_of(printed.begin(), printed.end(),
                        [](char c) { return c == '\n' || static_cast<unsigned char>(c) >= ' '; }),
            "no control byte is printed");
    require(zulctl::JsonObject().add("text", printed).text().starts_with(R"(,"text":)"),
            "all that is printed is UTF-8");
    return printed;
}

}  // namespace zul::fuzz
