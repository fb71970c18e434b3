// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <time.h>

#include <string>

namespace zul {

/** `when` as local time in strftime's `format`, at most 127 characters. */
inline std::string formatLocalTime(time_t when, const char* format) {
    tm local = {};
    localtime_r(&when, &local);
    char text[128] = {};
    strftime(text, sizeof(text), format, &local);
    return text;
}

}  // namespace zul
