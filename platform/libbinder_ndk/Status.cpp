// SPDX-License-Identifier: Apache-2.0
#include <android/binder_auto_utils.h>
#include <android/binder_status.h>

#include <string>

struct AStatus {
    binder_exception_t exception = EX_NONE;
    binder_status_t status = STATUS_OK;
    std::string message;
};

AStatus* AStatus_fromStatus(binder_status_t status) {
    return new AStatus{status == STATUS_OK ? EX_NONE : EX_TRANSACTION_FAILED, status, {}};
}

AStatus* AStatus_fromExceptionCodeWithMessage(binder_exception_t exception, const char* message) {
    return new AStatus{exception, STATUS_OK, message != nullptr ? message : ""};
}

void AStatus_delete(AStatus* status) {
    delete status;
}

bool AStatus_isOk(const AStatus* status) {
    return AStatus_getExceptionCode(status) == EX_NONE;
}

binder_exception_t AStatus_getExceptionCode(const AStatus* status) {
    return status != nullptr ? status->exception : EX_NONE;
}

binder_status_t AStatus_getStatus(const AStatus* status) {
    return status != nullptr ? status->status : STATUS_OK;
}

const char* AStatus_getMessage(const AStatus* status) {
    return status != nullptr ? status->message.c_str() : "";
}

namespace ndk {

std::string ScopedAStatus::getDescription() const {
    return "Status(" + std::to_string(getExceptionCode()) + ", " + std::to_string(getStatus()) +
           "): '" + getMessage() + "'";
}

}  // namespace ndk
