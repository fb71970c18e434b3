// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Size of a value's buffer, with its terminator. */
#define PROPERTY_VALUE_MAX 92

/*
 * System properties: named texts that all processes share.
 *
 * A name is made of letters, digits and `.-_@:`, with no dot at either end and no two in a row. A
 * value has at most 91 characters; one of a name that starts with "ro." may be longer, and is set
 * once only. All operations may be called from any thread.
 */

/**
 * Copies the value of `key` into `value`, which has room for `PROPERTY_VALUE_MAX` bytes. A property
 * that is unset or empty gives `default_value` (null means ""), cut if it is too long. A longer
 * value of an "ro." property gives "Must use __system_property_read_callback() to read".
 *
 * @return the length of the text in `value`.
 */
int property_get(const char* key, char* value, const char* default_value);

/** 1 for "1", "y", "yes", "true", "on"; 0 for "0", "n", "no", "false", "off"; else the default. */
int8_t property_get_bool(const char* key, int8_t default_value);

/**
 * The number that the value starts with, decimal, octal ("0…") or hexadecimal ("0x…"). The default
 * when it starts with none or when the number does not fit.
 */
int32_t property_get_int32(const char* key, int32_t default_value);

/**
 * Sets a property; a null `value` means "". Readers see the old value or the new one, never a
 * part.
 *
 * @return 0, or -1 with `errno`: `EINVAL` for a bad name or a value that is too long, `EEXIST` for
 * an "ro." property that is set already, else what the file system says.
 */
int property_set(const char* key, const char* value);

/** Calls `propfn` for every property, in no order. @return 0, or -1 when they cannot be listed. */
int property_list(void (*propfn)(const char* key, const char* value, void* cookie), void* cookie);

#ifdef __cplusplus
}
#endif
