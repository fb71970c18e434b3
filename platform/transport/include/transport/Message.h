// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utils/Errors.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace transport {

class Object;

/** Bytes and objects of one direction of a call; more is refused by the sender. */
inline constexpr size_t kMaxMessageBytes = 1024 * 1024;
inline constexpr size_t kMaxMessageObjects = 16;

/**
 * Content of a request or a reply: values one after the other, each filled up to four bytes, and
 * the objects among them. Written at the end, read through a separate cursor that starts at the
 * front. A read past the end fails with `NOT_ENOUGH_DATA` and leaves the cursor where it is.
 * Not locked.
 */
class Message {
  public:
    Message() = default;
    Message(Message&& other) noexcept { *this = std::move(other); }
    Message& operator=(Message&& other) noexcept;

    /** What has been received. */
    Message(std::vector<uint8_t>&& bytes, std::vector<std::shared_ptr<Object>>&& objects);

    void write(const void* data, size_t size);
    /** Null is an object like any other. */
    void writeObject(std::shared_ptr<Object> object);

    android::status_t read(void* data, size_t size) const;
    /** The next `size` bytes where they lie, valid as long as the message is; null past the end. */
    const void* readInPlace(size_t size) const;
    /** `BAD_TYPE` when what is there names no object of this message. */
    android::status_t readObject(std::shared_ptr<Object>* object) const;

    /** Reads start over. */
    void rewind() const { mPosition = 0; }

    const uint8_t* data() const { return mBytes.data(); }
    size_t size() const { return mBytes.size(); }
    const std::vector<std::shared_ptr<Object>>& objects() const { return mObjects; }
    bool fits() const {
        return size() <= kMaxMessageBytes && mObjects.size() <= kMaxMessageObjects;
    }

  private:
    std::vector<uint8_t> mBytes;
    std::vector<std::shared_ptr<Object>> mObjects;
    mutable size_t mPosition = 0;
};

}  // namespace transport
