// SPDX-License-Identifier: Apache-2.0
#include <hidl/Status.h>

namespace android::hardware {

Status Status::fromExceptionCode(int32_t exceptionCode, const char* message) {
    Status status;
    status.mException = exceptionCode;
    status.mMessage = message;
    return status;
}

Status Status::fromStatusT(status_t error) {
    Status status;
    if (error != OK) {
        status.mException = EX_TRANSACTION_FAILED;
        status.mError = error;
    }
    return status;
}

std::string Status::description() const {
    if (mException != EX_TRANSACTION_FAILED)
        return "Status(" + std::to_string(mException) + "): '" + mMessage + "'";
    const std::string error = mError == OK            ? "OK"
                              : mError == DEAD_OBJECT ? "DEAD_OBJECT"
                                                      : std::to_string(mError);
    return "Status(EX_TRANSACTION_FAILED): '" + error + ": " + mMessage + "'";
}

namespace details {

return_status& return_status::operator=(return_status&& other) noexcept {
    if (this == &other) return *this;
    onIgnored();
    takeOver(other);
    return *this;
}

void return_status::takeOver(return_status& other) {
    mStatus = std::exchange(other.mStatus, Status());
    mChecked = std::exchange(other.mChecked, false);
}

void return_status::onIgnored() const {
    if (mStatus.isOk() || mChecked) return;
    logAlwaysFatal(("Failed HIDL return status not checked: " + description()).c_str());
}

void return_status::onValueRetrieval() const {
    if (mStatus.isOk()) return;
    logAlwaysFatal(("Value of a failed HIDL call taken: " + description()).c_str());
}

void return_status::assertOk() const {
    if (mStatus.isOk()) return;
    logAlwaysFatal(("HIDL call failed: " + description()).c_str());
}

}  // namespace details

}  // namespace android::hardware
