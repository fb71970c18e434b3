// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <android/log.h>

namespace zul {

/** The daemon's one log tag. */
inline constexpr char kLogTag[] = "ZUL_DEBUG";

}  // namespace zul

// Engineers and their scripts search for these texts: some end in a blank or a line break, and that stays.
#define LOGD(...) __android_log_print(ANDROID_LOG_DEBUG, ::zul::kLogTag, __VA_ARGS__)
#define LOGI(...) __android_log_print(ANDROID_LOG_INFO, ::zul::kLogTag, __VA_ARGS__)
#define LOGW(...) __android_log_print(ANDROID_LOG_WARN, ::zul::kLogTag, __VA_ARGS__)
#define LOGE(...) __android_log_print(ANDROID_LOG_ERROR, ::zul::kLogTag, __VA_ARGS__)
/** A debug line that is written only while ZulService::mDebugLog is set. */
#define LOG_DUMP(...)                                        \
    do {                                                     \
        if (::zul::ZulService::mDebugLog) LOGD(__VA_ARGS__); \
    } while (false)
