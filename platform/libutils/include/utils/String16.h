// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stddef.h>

#include <string>

namespace android {

/** UTF-16 text. Owns its units. */
class String16 {
  public:
    String16() = default;
    /** Converts from UTF-8; each byte that is not UTF-8 becomes U+FFFD. */
    explicit String16(const char* text);
    String16(const char* text, size_t bytes);
    explicit String16(const char16_t* text) : mText(text) {}
    String16(const char16_t* text, size_t units) : mText(text, units) {}

    /** The units, with a terminating zero. */
    const char16_t* string() const { return mText.c_str(); }
    /** Number of units: a character outside the basic plane takes two. */
    size_t size() const { return mText.size(); }

    bool operator==(const String16& other) const = default;
    bool operator<(const String16& other) const { return mText < other.mText; }

  private:
    std::u16string mText;
};

}  // namespace android
