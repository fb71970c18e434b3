// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stddef.h>

#include <string>

namespace android {

class String16;

/** UTF-8 text. Owns its bytes. */
class String8 {
  public:
    String8() = default;
    String8(const char* text) : mText(text) {}
    String8(const char* text, size_t bytes) : mText(text, bytes) {}
    /** Converts from UTF-16; half a surrogate pair is left out. */
    explicit String8(const String16& text);

    const char* c_str() const { return mText.c_str(); }
    size_t size() const { return mText.size(); }
    /** The same as `size()`: bytes, not characters. */
    size_t length() const { return mText.size(); }

    bool operator==(const String8& other) const = default;

  private:
    std::string mText;
};

}  // namespace android
