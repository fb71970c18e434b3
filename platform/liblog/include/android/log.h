// SPDX-License-Identifier: Apache-2.0
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/** Priority of a log line, in ascending order. */
typedef enum android_LogPriority {
    ANDROID_LOG_UNKNOWN = 0,
    ANDROID_LOG_DEFAULT,
    ANDROID_LOG_VERBOSE,
    ANDROID_LOG_DEBUG,
    ANDROID_LOG_INFO,
    ANDROID_LOG_WARN,
    ANDROID_LOG_ERROR,
    ANDROID_LOG_FATAL,
    ANDROID_LOG_SILENT,
} android_LogPriority;

/**
 * Writes one line to standard error: `MM-DD HH:MM:SS.mmm PID TID P TAG: message` and a line break.
 *
 * The message is cut after 1023 bytes and the tag after 128. Each further line of the message begins
 * in the same way, but line breaks at its very end stay as they are. All other bytes are written as
 * they are.
 *
 * May be called in the child of a `fork()` or `vfork()` of a process with several threads: there it
 * takes no lock and allocates nothing. `errno` is left alone.
 *
 * @return the number of bytes written, or a negative error number.
 */
int __android_log_print(int prio, const char* tag, const char* fmt, ...)
        __attribute__((__format__(printf, 3, 4)));

/** As `__android_log_print`, with a message that is ready and cut after 4068 bytes. */
int __android_log_write(int prio, const char* tag, const char* text);

#ifdef __cplusplus
}
#endif
