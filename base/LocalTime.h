// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <time.h>

#include <string>

namespace zul {

inline tm localTime(time_t when) {
    tm local = {};
    localtime_r(&when, &local);
    return local;
}

/** `local` in strftime's `format`, at most 127 characters. */
inline std::string formatTime(const tm& local, const char* format) {
    char text[128] = {};
    strftime(text, sizeof(text), format, &local);
    return text;
}

}  // namespace zul
