// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <errno.h>
#include <stdint.h>

namespace android {

/** Result of an operation: `OK`, or one of the negative codes below. */
using status_t = int32_t;

enum : status_t {
    OK = 0,

    UNKNOWN_ERROR = INT32_MIN,
    BAD_TYPE = UNKNOWN_ERROR + 1,
    FAILED_TRANSACTION = UNKNOWN_ERROR + 2,
    UNEXPECTED_NULL = UNKNOWN_ERROR + 8,

    INVALID_OPERATION = -ENOSYS,
    BAD_VALUE = -EINVAL,
    NAME_NOT_FOUND = -ENOENT,
    PERMISSION_DENIED = -EPERM,
    ALREADY_EXISTS = -EEXIST,
    DEAD_OBJECT = -EPIPE,
    NOT_ENOUGH_DATA = -ENODATA,
    UNKNOWN_TRANSACTION = -EBADMSG,
};

}  // namespace android
