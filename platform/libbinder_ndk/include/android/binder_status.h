// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <errno.h>
#include <stdint.h>

/** Result of a transport operation; the values are those of `android::status_t`. */
typedef int32_t binder_status_t;

enum : binder_status_t {
    STATUS_OK = 0,
    STATUS_UNKNOWN_ERROR = INT32_MIN,
    STATUS_BAD_TYPE = INT32_MIN + 1,
    STATUS_FAILED_TRANSACTION = INT32_MIN + 2,
    STATUS_UNEXPECTED_NULL = INT32_MIN + 8,
    STATUS_INVALID_OPERATION = -ENOSYS,
    STATUS_BAD_VALUE = -EINVAL,
    STATUS_NAME_NOT_FOUND = -ENOENT,
    STATUS_ALREADY_EXISTS = -EEXIST,
    STATUS_DEAD_OBJECT = -EPIPE,
    STATUS_NOT_ENOUGH_DATA = -ENODATA,
    STATUS_UNKNOWN_TRANSACTION = -EBADMSG,
};

/** What a callee reports. */
typedef int32_t binder_exception_t;

enum : binder_exception_t {
    EX_NONE = 0,
    EX_SECURITY = -1,
    EX_BAD_PARCELABLE = -2,
    EX_ILLEGAL_ARGUMENT = -3,
    EX_NULL_POINTER = -4,
    EX_ILLEGAL_STATE = -5,
    EX_UNSUPPORTED_OPERATION = -7,
    EX_SERVICE_SPECIFIC = -8,
    EX_TRANSACTION_FAILED = -129,
};

/** How a call ended. Owned by who made it; a null pointer is a successful one. */
struct AStatus;

AStatus* AStatus_fromStatus(binder_status_t status);
AStatus* AStatus_fromExceptionCodeWithMessage(binder_exception_t exception, const char* message);
void AStatus_delete(AStatus* status);

bool AStatus_isOk(const AStatus* status);
binder_exception_t AStatus_getExceptionCode(const AStatus* status);
/** `STATUS_OK` unless the exception is `EX_TRANSACTION_FAILED`. */
binder_status_t AStatus_getStatus(const AStatus* status);
/** The callee's text; as long-lived as the status. */
const char* AStatus_getMessage(const AStatus* status);
