// SPDX-License-Identifier: Apache-2.0

#include "zulctl/Output.h"

#include <sys/ioctl.h>

#include <algorithm>

namespace zulctl {

namespace {

constexpr Column kDeviceColumn = {"DEVICE", nullptr, 12};

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

struct CodeRange {
    uint32_t first;
    uint32_t last;
};

/** Characters that take two cells of a terminal, and those that take none. */
constexpr CodeRange kWide[] = {
        {0x1100, 0x115f},   {0x2e80, 0x303e},   {0x3041, 0xa4cf},   {0xac00, 0xd7a3},
        {0xf900, 0xfaff},   {0xfe30, 0xfe6f},   {0xff00, 0xff60},   {0xffe0, 0xffe6},
        {0x1f300, 0x1f64f}, {0x1f900, 0x1f9ff}, {0x20000, 0x3fffd},
};
constexpr CodeRange kCombining[] = {{0x300, 0x36f}, {0x200b, 0x200d}, {0xfe00, 0xfe0f}};

template <size_t N>
bool isIn(const CodeRange (&ranges)[N], uint32_t code) {
    return std::any_of(ranges, ranges + N, [code](const CodeRange& range) {
        return code >= range.first && code <= range.last;
    });
}

/** The cells of a terminal that a printable text takes. */
size_t width(std::string_view text) {
    size_t cells = 0;
    while (!text.empty()) {
        const Character character = firstCharacter(text);
        cells += isIn(kWide, character.code) ? 2 : isIn(kCombining, character.code) ? 0 : 1;
        text.remove_prefix(character.size);
    }
    return cells;
}

/** Without blanks at its end. */
std::string_view withoutEnd(std::string_view line) {
    return line.substr(0, line.find_last_not_of(' ') + 1);
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
    if (bytes < 1024) return std::to_string(bytes) + "B";
    auto size = static_cast<double>(bytes);
    size_t unit = 0;
    for (size /= 1024; size >= 1023.5; size /= 1024)
        unit++;
    char text[32] = {};
    snprintf(text, sizeof(text), size < 9.95 ? "%.1f%c" : "%.0f%c", size, kUnits[unit]);
    return text;
}

std::string counted(size_t number, const char* one, const char* several) {
    const std::string what = number == 1          ? one
                             : several != nullptr ? several
                                                  : std::string(one) + "s";
    return std::to_string(number) + " " + what;
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

JsonObject& JsonObject::add(std::string_view name, const Value& value) {
    const auto* text = std::get_if<std::string>(&value);
    const bool isHex = text != nullptr && !isUtf8(*text);
    mText.append(",\"").append(name).append(isHex ? "_hex\":" : "\":");
    if (isHex) {
        mText += '"';
        for (const char c : *text)
            appendHex(mText, static_cast<unsigned char>(c));
        mText += '"';
    } else if (text != nullptr) {
        appendJsonText(mText, *text);
    } else if (const auto* number = std::get_if<int64_t>(&value)) {
        mText += std::to_string(*number);
    } else if (const auto* yes = std::get_if<bool>(&value)) {
        mText += *yes ? "true" : "false";
    } else if (const auto* list = std::get_if<std::vector<std::string>>(&value)) {
        mText += '[';
        for (const std::string& each : *list) {
            if (mText.back() != '[') mText += ',';
            appendJsonText(mText, isUtf8(each) ? each : printable(each));
        }
        mText += ']';
    } else {
        mText += "null";
    }
    return *this;
}

Output::Output(FILE* file, bool json, bool legend) : mFile(file), mJson(json), mLegend(legend) {
    winsize size = {};
    if (ioctl(fileno(file), TIOCGWINSZ, &size) == 0) mScreenLines = size.ws_row;
    setDevice("", false);
}

void Output::setDevice(std::string_view name, bool several) {
    mDevice = name;
    mSeveral = several;
    mStart = "{\"v\":1" + JsonObject().add("device", mDevice).text();
}

void Output::print(const JsonObject& object) {
    line(mStart + object.text() + "}");
}

void Output::line(std::string_view text) {
    fwrite(text.data(), 1, text.size(), mFile);
    fputc('\n', mFile);
}

void Output::legend(std::string_view text) {
    if (mLegend && !mJson) line(text);
}

bool Output::flush() {
    return fflush(mFile) == 0 && ferror(mFile) == 0;
}

Table::Table(Output& output, std::vector<Column> columns, bool newestFirst)
      : mOutput(output),
        mColumns(std::move(columns)),
        mHoldsBack(newestFirst && !output.json() && output.screenLines() > 0) {
    size_t end = 0;
    if (output.severalDevices()) addTo(mTitles, end, kDeviceColumn, kDeviceColumn.title);
    for (const Column& column : mColumns) {
        if (column.title != nullptr) addTo(mTitles, end, column, column.title);
    }
    if (!mHoldsBack) mOutput.legend(withoutEnd(mTitles));
}

void Table::row(const std::vector<Cell>& cells) {
    mCount++;
    if (mOutput.json()) {
        JsonObject object;
        for (size_t i = 0; i < mColumns.size(); i++) {
            if (mColumns[i].member != nullptr) object.add(mColumns[i].member, cells[i].value);
        }
        mOutput.print(object);
        return;
    }
    std::string line;
    size_t end = 0;
    if (mOutput.severalDevices()) addTo(line, end, kDeviceColumn, mOutput.device());
    for (size_t i = 0; i < mColumns.size(); i++) {
        if (mColumns[i].title != nullptr) addTo(line, end, mColumns[i], cells[i].shown);
    }
    if (mHoldsBack) {
        mHeld.push_back(std::move(line));
    } else {
        mOutput.line(withoutEnd(line));
    }
}

void Table::finish() {
    if (!mHoldsBack) return;
    // Titles and total take two lines of the screen, and the next prompt one.
    if (mHeld.size() + 3 > mOutput.screenLines()) std::reverse(mHeld.begin(), mHeld.end());
    mOutput.legend(withoutEnd(mTitles));
    for (const std::string& line : mHeld)
        mOutput.line(withoutEnd(line));
}

void Table::addTo(std::string& line, size_t& end, const Column& column, const std::string& shown) {
    const std::string text = printable(shown);
    const size_t textWidth = width(text);
    // What was too wide takes its room from the blanks that follow.
    end += column.width;
    const size_t used = width(line);
    const size_t room = end > used ? end - used : 0;
    const size_t blanks = room > textWidth ? room - textWidth : 0;
    if (column.right) line.append(blanks, ' ');
    line += text;
    if (!column.right) line.append(blanks, ' ');
    line += "  ";
    end += 2;
}

void Facts::add(const char* title, const char* member, const Cell& cell) {
    if (member != nullptr) mObject.add(member, cell.value);
    const bool isKnown = !std::holds_alternative<std::nullptr_t>(cell.value);
    if (title == nullptr || cell.shown.empty() || !isKnown) return;
    std::string line = mIndent + std::string(title);
    line.resize(std::max(line.size() + 1, mWidth), ' ');
    mLines += line + printable(cell.shown) + "\n";
}

void Facts::finish() {
    if (mOutput.json()) return mOutput.print(mObject);
    if (!mLines.empty()) mOutput.line(mLines.substr(0, mLines.size() - 1));
}

}  // namespace zulctl
