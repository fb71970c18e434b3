// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <hidl/HidlSupport.h>
#include <stdint.h>
#include <utils/Errors.h>

#include <string>
#include <type_traits>
#include <utility>

namespace android::hardware {

/** How a HIDL call ended: well, with an exception of the callee, or on the way. */
class Status final {
  public:
    enum Exception : int32_t {
        EX_NONE = 0,
        EX_SECURITY = -1,
        EX_ILLEGAL_ARGUMENT = -3,
        EX_NULL_POINTER = -4,
        EX_ILLEGAL_STATE = -5,
        EX_UNSUPPORTED_OPERATION = -7,
        EX_TRANSACTION_FAILED = -129,
    };

    static Status ok() { return Status(); }
    static Status fromExceptionCode(int32_t exceptionCode, const char* message = "");
    /** `OK` makes a successful status, everything else a failed transaction. */
    static Status fromStatusT(status_t status);

    Status() = default;

    bool isOk() const { return mException == EX_NONE; }
    /** The transport's own code; `OK` unless the exception is `EX_TRANSACTION_FAILED`. */
    status_t transactionError() const { return mError; }
    /** For people. */
    std::string description() const;

  private:
    int32_t mException = EX_NONE;
    status_t mError = OK;
    std::string mMessage;
};

template <typename T>
class Return;

namespace details {

/**
 * The status in every `Return`. A failed one that nobody asked about ends the process with one
 * fatal log line when it is destroyed or assigned over; a failed one has no value to convert to,
 * so that ends the process too. `isOk()`, `isDeadObject()` and `withDefault()` count as asking,
 * `description()` does not. Moving hands the duty on.
 */
class return_status {
  public:
    return_status() = default;
    return_status(const Status& status) : mStatus(status) {}
    return_status(const return_status&) = delete;
    return_status& operator=(const return_status&) = delete;
    return_status(return_status&& other) noexcept { takeOver(other); }
    return_status& operator=(return_status&& other) noexcept;
    ~return_status() { onIgnored(); }

    bool isOk() const {
        mChecked = true;
        return mStatus.isOk();
    }
    bool isDeadObject() const {
        mChecked = true;
        return mStatus.transactionError() == DEAD_OBJECT;
    }
    std::string description() const { return mStatus.description(); }
    /** Ends the process when failed. */
    void assertOk() const;

  protected:
    void onValueRetrieval() const;

  private:
    void onIgnored() const;
    void takeOver(return_status& other);

    Status mStatus;
    mutable bool mChecked = false;
};

}  // namespace details

/** Result of a HIDL call: a value or a failure. Move-only; see `return_status` for what it asks. */
template <typename T>
class Return : public details::return_status {
  public:
    Return(T value) : mValue(std::move(value)) {}
    Return(Status status) : return_status(status) {}
    template <typename U>
    requires(!std::is_same_v<T, U>) Return(Return<U>&&)
    = delete;

    operator T() const {
        onValueRetrieval();
        return mValue;
    }
    T withDefault(T value) { return isOk() ? mValue : value; }

  private:
    T mValue{};
};

template <>
class Return<void> : public details::return_status {
  public:
    Return() = default;
    Return(const Status& status) : return_status(status) {}
};

/** The successful `Return<void>`. */
inline Return<void> Void() {
    return Return<void>();
}

}  // namespace android::hardware
