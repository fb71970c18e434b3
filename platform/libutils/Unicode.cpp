// SPDX-License-Identifier: Apache-2.0
#include <utils/String16.h>
#include <utils/String8.h>

#include <string.h>

#include <string_view>

namespace android {

namespace {

constexpr char32_t kReplacement = 0xFFFD;

bool isSurrogate(char32_t c) {
    return c >= 0xD800 && c <= 0xDFFF;
}

/** Shape of the sequences that start with one range of bytes. */
struct Utf8Form {
    unsigned char mask, lead;
    size_t length;
    char32_t smallest;
};

constexpr Utf8Form kForms[] = {
        {0x80, 0x00, 1, 0x0},
        {0xE0, 0xC0, 2, 0x80},
        {0xF0, 0xE0, 3, 0x800},
        {0xF8, 0xF0, 4, 0x10000},
};

/** The character that `text` starts with; `length` 0 when it starts with none. */
struct Decoded {
    char32_t character = kReplacement;
    size_t length = 0;
};

Decoded decodeUtf8(std::string_view text) {
    const auto first = static_cast<unsigned char>(text[0]);
    for (const Utf8Form& form : kForms) {
        if ((first & form.mask) != form.lead) continue;
        if (text.size() < form.length) return {};
        char32_t c = first & static_cast<unsigned char>(~form.mask);
        for (size_t i = 1; i < form.length; i++) {
            const auto next = static_cast<unsigned char>(text[i]);
            if ((next & 0xC0) != 0x80) return {};
            c = c << 6 | (next & 0x3F);
        }
        // Longer than needed, half a surrogate pair, beyond the last plane: none is a character.
        if (c < form.smallest || isSurrogate(c) || c > 0x10FFFF) return {};
        return {c, form.length};
    }
    return {};
}

void appendUtf16(char32_t c, std::u16string* out) {
    if (c < 0x10000) {
        out->push_back(static_cast<char16_t>(c));
        return;
    }
    out->push_back(static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10)));
    out->push_back(static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF)));
}

void appendUtf8(char32_t c, std::string* out) {
    size_t form = 0;
    while (form + 1 < std::size(kForms) && c >= kForms[form + 1].smallest)
        form++;
    size_t shift = 6 * form;
    out->push_back(static_cast<char>(kForms[form].lead | c >> shift));
    while (shift > 0) {
        shift -= 6;
        out->push_back(static_cast<char>(0x80 | (c >> shift & 0x3F)));
    }
}

}  // namespace

String16::String16(const char* text) : String16(text, strlen(text)) {}

String16::String16(const char* text, size_t bytes) {
    std::string_view rest(text, bytes);
    mText.reserve(bytes);
    while (!rest.empty()) {
        const Decoded next = decodeUtf8(rest);
        appendUtf16(next.character, &mText);
        rest.remove_prefix(next.length == 0 ? 1 : next.length);
    }
}

String8::String8(const String16& text) {
    const std::u16string_view units(text.string(), text.size());
    mText.reserve(units.size());
    for (size_t i = 0; i < units.size(); i++) {
        char32_t c = units[i];
        const bool pair = c >= 0xD800 && c <= 0xDBFF && i + 1 < units.size() &&
                          units[i + 1] >= 0xDC00 && units[i + 1] <= 0xDFFF;
        if (pair) c = 0x10000 + ((c - 0xD800) << 10) + (units[++i] - 0xDC00);
        if (!isSurrogate(c)) appendUtf8(c, &mText);
    }
}

}  // namespace android
