// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <android/hidl/base/1.0/IBase.h>
#include <hidl/HidlSupport.h>
#include <hidl/Status.h>
#include <stdint.h>
#include <string.h>
#include <transport/Message.h>
#include <transport/Object.h>
#include <utils/Errors.h>

#include <memory>
#include <tuple>
#include <type_traits>

// Both ends of a HIDL call, for any method: the method's own type says what travels.

namespace android::hardware::details {

/** Proxy of an interface; each interface specialises it. */
template <typename Interface>
class BpHw;

inline void write(transport::Message& message, int32_t value) {
    message.write(&value, sizeof(value));
}

inline void write(transport::Message& message, int64_t value) {
    message.write(&value, sizeof(value));
}

inline void write(transport::Message& message, const hidl_string& text) {
    const auto size = static_cast<uint32_t>(text.size());
    message.write(&size, sizeof(size));
    message.write(text.c_str(), text.size());
}

template <typename Interface>
void write(transport::Message& message, const sp<Interface>& interface) {
    message.writeObject(interface != nullptr ? interface->_hidl_object() : nullptr);
}

inline status_t read(const transport::Message& message, int32_t* value) {
    return message.read(value, sizeof(*value));
}

inline status_t read(const transport::Message& message, int64_t* value) {
    return message.read(value, sizeof(*value));
}

inline status_t read(const transport::Message& message, hidl_string* text) {
    uint32_t size = 0;
    const status_t status = message.read(&size, sizeof(size));
    if (status != OK) return status;
    const auto* start = static_cast<const char*>(message.readInPlace(size));
    if (start == nullptr) return NOT_ENOUGH_DATA;
    *text = hidl_string(start, size);
    return OK;
}

/** The interface behind what travelled; null when an object of this process has another one. */
template <typename Interface>
sp<Interface> interfaceOf(const std::shared_ptr<transport::Object>& object) {
    if (object == nullptr) return nullptr;
    if (object->asRemote() != nullptr) return sp<Interface>(new BpHw<Interface>(object));
    return static_cast<Interface*>(localInterface(*object, Interface::descriptor));
}

template <typename Interface>
status_t read(const transport::Message& message, sp<Interface>* interface) {
    std::shared_ptr<transport::Object> object;
    const status_t status = message.readObject(&object);
    if (status != OK) return status;
    *interface = interfaceOf<Interface>(object);
    return object != nullptr && *interface == nullptr ? BAD_TYPE : OK;
}

/** Common part of all proxies of one interface. */
template <typename Interface>
class BpHwBase : public Interface {
  public:
    explicit BpHwBase(std::shared_ptr<transport::Object> object) : mObject(std::move(object)) {}

    Return<bool> linkToDeath(const sp<hidl_death_recipient>& recipient, uint64_t cookie) override {
        return details::linkToDeath(this, *mObject->asRemote(), recipient, cookie);
    }
    std::shared_ptr<transport::Object> _hidl_object() override { return mObject; }

  protected:
    /** Sends the arguments and waits for the result. */
    template <typename Result, typename... Args>
    Return<Result> call(uint32_t code, const Args&... args) {
        transport::Message request;
        transport::Message reply;
        request.write(Interface::descriptor, strlen(Interface::descriptor) + 1);
        (write(request, args), ...);
        status_t status = mObject->asRemote()->call(code, request, reply);
        if constexpr (std::is_void_v<Result>) {
            return Status::fromStatusT(status);
        } else {
            Result result{};
            if (status == OK) status = read(reply, &result);
            if (status != OK) return Status::fromStatusT(status);
            return result;
        }
    }

  private:
    const std::shared_ptr<transport::Object> mObject;
};

/** Reads the arguments, calls the method of the implementation and writes its result. */
template <typename Interface, typename Result, typename... Args>
status_t serve(Interface* implementation, Return<Result> (Interface::*method)(Args...),
               const transport::Message& request, transport::Message& reply) {
    std::tuple<std::decay_t<Args>...> arguments;
    status_t status = OK;
    const auto readAll = [&](auto&... argument) {
        ((status = status == OK ? read(request, &argument) : status), ...);
    };
    std::apply(readAll, arguments);
    if (status != OK) return status;
    Return<Result> result = std::apply(
            [&](auto&... argument) { return (implementation->*method)(argument...); }, arguments);
    // An implementation has no business with failing: it ends its own process, as on a device.
    result.assertOk();
    if constexpr (!std::is_void_v<Result>) write(reply, static_cast<Result>(result));
    return OK;
}

}  // namespace android::hardware::details
