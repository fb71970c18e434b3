// SPDX-License-Identifier: Apache-2.0

#include "zulctl/Output.h"

#include <algorithm>
#include <iterator>

namespace zulctl {

namespace {

constexpr char kHexDigits[] = "0123456789abcdef";

void appendHex(std::string& text, unsigned char byte) {
    text += kHexDigits[byte >> 4];
    text += kHexDigits[byte & 15];
}

/** One character of UTF-8, or one byte that is none. */
struct Character {
    size_t size;
    bool valid;
    uint32_t code;
};

Character firstCharacter(std::string_view text) {
    const auto byte = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byte(0);
    if (lead < 0x80) return {1, true, lead};
    const size_t size = lead >= 0xf0 ? 4 : lead >= 0xe0 ? 3 : 2;
    if (lead < 0xc2 || lead > 0xf4 || text.size() < size) return {1, false, lead};
    uint32_t code = lead & (0x7fu >> size);
    for (size_t i = 1; i < size; i++) {
        if ((byte(i) & 0xc0) != 0x80) return {1, false, lead};
        code = code << 6 | (byte(i) & 0x3f);
    }
    // No longer than needed, no surrogate, and not behind the last character that there is.
    constexpr uint32_t kLowest[] = {0, 0, 0x80, 0x800, 0x10000};
    const bool valid = code >= kLowest[size] && (code < 0xd800 || code > 0xdfff) && code < 0x110000;
    if (!valid) return {1, false, lead};
    return {size, true, code};
}

/** Controls, what turns the direction of writing or ends a line, and what no text may hold. */
bool isUnsafe(uint32_t code) {
    return code < 0x20 || (code >= 0x7f && code < 0xa0) || code == 0x061c || code == 0x200e ||
           code == 0x200f || (code >= 0x2028 && code <= 0x202e) ||
           (code >= 0x2066 && code <= 0x2069) || code == 0xfeff || code == 0xfffe || code == 0xffff;
}

bool isUtf8(std::string_view text) {
    while (!text.empty()) {
        const Character character = firstCharacter(text);
        if (!character.valid) return false;
        text.remove_prefix(character.size);
    }
    return true;
}

/** As many columns as a terminal takes, where every character takes one. */
size_t width(std::string_view text) {
    return static_cast<size_t>(
            std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xc0) != 0x80; }));
}

}  // namespace

std::string printable(std::string_view bytes) {
    std::string text;
    while (!bytes.empty()) {
        const Character character = firstCharacter(bytes);
        if (character.code == '\\') {
            text += "\\\\";
        } else if (character.valid && !isUnsafe(character.code)) {
            text += bytes.substr(0, character.size);
        } else if (bytes[0] == '\n') {
            text += "\\n";
        } else {
            for (const char c : bytes.substr(0, character.size)) {
                text += "\\x";
                appendHex(text, static_cast<unsigned char>(c));
            }
        }
        bytes.remove_prefix(character.size);
    }
    return text;
}

std::string humanSize(uint64_t bytes) {
    constexpr char kUnits[] = "KMGTPE";
    if (bytes < 1024) return std::to_string(bytes);
    auto size = static_cast<double>(bytes);
    size_t unit = 0;
    for (size /= 1024; size >= 1023.5; size /= 1024)
        unit++;
    char text[32] = {};
    snprintf(text, sizeof(text), size < 9.95 ? "%.1f%c" : "%.0f%c", size, kUnits[unit]);
    return text;
}

std::string counted(size_t number, const char* what) {
    return std::to_string(number) + " " + what + (number == 1 ? "" : "s");
}

void JsonObject::addName(std::string_view name) {
    mText.append(",\"").append(name).append("\":");
}

namespace {

void appendJsonText(std::string& text, std::string_view value) {
    text += '"';
    while (!value.empty()) {
        const Character character = firstCharacter(value);
        if (isUnsafe(character.code)) {
            text += "\\u";
            appendHex(text, static_cast<unsigned char>(character.code >> 8));
            appendHex(text, static_cast<unsigned char>(character.code));
        } else {
            if (character.code == '"' || character.code == '\\') text += '\\';
            text += value.substr(0, character.size);
        }
        value.remove_prefix(character.size);
    }
    text += '"';
}

}  // namespace

JsonObject& JsonObject::add(std::string_view name, std::string_view text) {
    if (isUtf8(text)) {
        addName(name);
        appendJsonText(mText, text);
        return *this;
    }
    addName(std::string(name) + "_hex");
    mText += '"';
    for (const char c : text)
        appendHex(mText, static_cast<unsigned char>(c));
    mText += '"';
    return *this;
}

JsonObject& JsonObject::add(std::string_view name, int64_t number) {
    addName(name);
    mText += std::to_string(number);
    return *this;
}

JsonObject& JsonObject::add(std::string_view name, bool value) {
    addName(name);
    mText += value ? "true" : "false";
    return *this;
}

JsonObject& JsonObject::addNull(std::string_view name) {
    addName(name);
    mText += "null";
    return *this;
}

JsonObject& JsonObject::add(std::string_view name, const std::vector<std::string>& texts) {
    addName(name);
    mText += '[';
    for (const std::string& text : texts) {
        if (mText.back() != '[') mText += ',';
        appendJsonText(mText, isUtf8(text) ? text : printable(text));
    }
    mText += ']';
    return *this;
}

void Output::print(const JsonObject& object) {
    line(mStart + object.text() + "}");
}

void Output::setDevice(std::string_view name) {
    mStart = "{\"v\":1" + JsonObject().add("device", name).text();
}

void Output::line(std::string_view text) {
    fwrite(text.data(), 1, text.size(), mFile);
    fputc('\n', mFile);
}

void Output::legend(std::string_view text) {
    if (mLegend && !mJson) line(text);
}

Table::Table(Output& output, std::initializer_list<Column> columns)
      : mOutput(output), mColumns(columns) {
    std::vector<std::string> titles;
    for (const Column& column : mColumns)
        titles.emplace_back(column.title);
    mOutput.legend(format(titles));
}

void Table::row(const std::vector<std::string>& texts) {
    mOutput.line(format(texts));
}

std::string Table::format(const std::vector<std::string>& texts) const {
    std::string line;
    size_t end = 0;
    for (size_t i = 0; i < mColumns.size() && i < texts.size(); i++) {
        const std::string text = printable(texts[i]);
        const size_t textWidth = width(text);
        // What was too wide takes its room from the blanks that follow.
        end += mColumns[i].width;
        const size_t used = width(line);
        const size_t room = end > used ? end - used : 0;
        const size_t blanks = room > textWidth ? room - textWidth : 0;
        if (mColumns[i].right) line.append(blanks, ' ');
        line += text;
        if (!mColumns[i].right) line.append(blanks, ' ');
        line += "  ";
        end += 2;
    }
    line.erase(line.find_last_not_of(' ') + 1);
    return line;
}

}  // namespace zulctl
