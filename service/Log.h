// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <android/log.h>

// The daemon's one log tag. Texts are part of what engineers grep for: some end in a blank or a
// line break, and that stays.
#define LOGD(...) __android_log_print(ANDROID_LOG_DEBUG, "ZUL_DEBUG", __VA_ARGS__)
#define LOGI(...) __android_log_print(ANDROID_LOG_INFO, "ZUL_DEBUG", __VA_ARGS__)
#define LOGW(...) __android_log_print(ANDROID_LOG_WARN, "ZUL_DEBUG", __VA_ARGS__)
#define LOGE(...) __android_log_print(ANDROID_LOG_ERROR, "ZUL_DEBUG", __VA_ARGS__)
