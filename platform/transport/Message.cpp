// SPDX-License-Identifier: Apache-2.0
#include <transport/Message.h>
#include <transport/Object.h>

#include <cstring>
#include <utility>

namespace transport {

namespace {

// An object stands among the bytes as its index in the object list, and null as this one.
constexpr uint32_t kNullObject = UINT32_MAX;

size_t padded(size_t size) {
    return (size + 3) & ~size_t{3};
}

}  // namespace

Message::Message(std::vector<uint8_t>&& bytes, std::vector<std::shared_ptr<Object>>&& objects)
      : mBytes(std::move(bytes)), mObjects(std::move(objects)) {}

Message& Message::operator=(Message&& other) noexcept {
    mBytes = std::exchange(other.mBytes, {});
    mObjects = std::exchange(other.mObjects, {});
    mPosition = std::exchange(other.mPosition, 0);
    return *this;
}

void Message::write(const void* data, size_t size) {
    const size_t end = mBytes.size();
    mBytes.resize(end + padded(size));
    if (size > 0) memcpy(mBytes.data() + end, data, size);
}

void Message::writeObject(std::shared_ptr<Object> object) {
    uint32_t index = kNullObject;
    if (object != nullptr) {
        index = static_cast<uint32_t>(mObjects.size());
        mObjects.push_back(std::move(object));
    }
    write(&index, sizeof(index));
}

const void* Message::readInPlace(size_t size) const {
    const size_t available = this->size() - mPosition;
    if (size > available || padded(size) > available) return nullptr;
    const uint8_t* start = data() + mPosition;
    mPosition += padded(size);
    return start;
}

android::status_t Message::read(void* data, size_t size) const {
    const void* start = readInPlace(size);
    if (start == nullptr) return android::NOT_ENOUGH_DATA;
    if (size > 0) memcpy(data, start, size);
    return android::OK;
}

android::status_t Message::readObject(std::shared_ptr<Object>* object) const {
    object->reset();
    uint32_t index = 0;
    const android::status_t status = read(&index, sizeof(index));
    if (status != android::OK) return status;
    if (index == kNullObject) return android::OK;
    if (index >= mObjects.size()) return android::BAD_TYPE;
    *object = mObjects[index];
    return android::OK;
}

}  // namespace transport
