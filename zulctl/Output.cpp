// SPDX-License-Identifier: Apache-2.0

#include "zulctl/Output.h"

#include <locale.h>
#include <sys/ioctl.h>
#include <wchar.h>

#include <algorithm>

namespace zulctl {

namespace {

constexpr Column kDeviceColumn = {"DEVICE", nullptr, 12};

std::string hex(std::string_view bytes) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const char c : bytes)
        text.append({kDigits[static_cast<unsigned char>(c) >> 4], kDigits[c & 15]});
    return text;
}

/** One character of UTF-8, or one byte that is none. */
struct Character {
    std::string_view bytes;
    bool valid;
    uint32_t code;
};

/** The first one, which `text` loses. */
Character takeCharacter(std::string_view& text) {
    const auto lead = static_cast<unsigned char>(text[0]);
    const size_t size = lead < 0xc2 ? 1 : lead < 0xe0 ? 2 : lead < 0xf0 ? 3 : 4;
    uint32_t code = size == 1 ? lead : lead & (0x7fu >> size);
    bool valid = (lead < 0x80 || lead >= 0xc2) && lead < 0xf5 && text.size() >= size;
    for (size_t i = 1; valid && i < size; i++) {
        valid = (text[i] & 0xc0) == 0x80;
        code = code << 6 | (text[i] & 0x3f);
    }
    // No longer than needed, no surrogate, and not behind the last character that there is.
    constexpr uint32_t kLowest[] = {0, 0, 0x80, 0x800, 0x10000};
    valid = valid && code >= kLowest[size] && (code < 0xd800 || code > 0xdfff) && code < 0x110000;
    const std::string_view bytes = text.substr(0, valid ? size : 1);
    text.remove_prefix(bytes.size());
    return {bytes, valid, valid ? code : lead};
}

/** Controls, what turns the direction of writing or ends a line, and what no text may hold. */
bool isUnsafe(uint32_t code) {
    return code < 0x20 || (code >= 0x7f && code < 0xa0) || code == 0x061c || code == 0x200e ||
           code == 0x200f || (code >= 0x2028 && code <= 0x202e) ||
           (code >= 0x2066 && code <= 0x2069) || code == 0xfeff || code == 0xfffe || code == 0xffff;
}

bool isUtf8(std::string_view text) {
    while (!text.empty()) {
        if (!takeCharacter(text).valid) return false;
    }
    return true;
}

/** The cells of a terminal that a printable text takes. */
size_t width(std::string_view text) {
    size_t cells = 0;
    while (!text.empty()) {
        const int taken = wcwidth(static_cast<wchar_t>(takeCharacter(text).code));
        // One for characters that the C library does not know.
        cells += taken < 0 ? 1 : static_cast<size_t>(taken);
    }
    return cells;
}

std::string jsonText(std::string_view value) {
    std::string text = "\"";
    while (!value.empty()) {
        const Character character = takeCharacter(value);
        if (isUnsafe(character.code)) {
            const char code[] = {static_cast<char>(character.code >> 8),
                                 static_cast<char>(character.code)};
            text += "\\u" + hex({code, sizeof(code)});
        } else {
            if (character.code == '"' || character.code == '\\') text += '\\';
            text += character.bytes;
        }
    }
    return text + '"';
}

}  // namespace

std::string printable(std::string_view bytes) {
    std::string text;
    while (!bytes.empty()) {
        const Character character = takeCharacter(bytes);
        if (character.code == '\\' || character.code == '\n') {
            text += character.code == '\n' ? "\\n" : "\\\\";
        } else if (character.valid && !isUnsafe(character.code)) {
            text += character.bytes;
        } else {
            for (const char byte : character.bytes)
                text += "\\x" + hex({&byte, 1});
        }
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

JsonObject& JsonObject::add(std::string_view name, const Value& value) {
    const auto* text = std::get_if<std::string>(&value);
    const bool isHex = text != nullptr && !isUtf8(*text);
    mText.append(",\"").append(name).append(isHex ? "_hex\":" : "\":");
    if (text != nullptr) {
        mText += isHex ? '"' + hex(*text) + '"' : jsonText(*text);
    } else if (const auto* number = std::get_if<int64_t>(&value)) {
        mText += std::to_string(*number);
    } else if (const auto* yes = std::get_if<bool>(&value)) {
        mText += *yes ? "true" : "false";
    } else if (const auto* list = std::get_if<std::vector<std::string>>(&value)) {
        mText += '[';
        for (const std::string& each : *list) {
            if (mText.back() != '[') mText += ',';
            mText += jsonText(isUtf8(each) ? each : printable(each));
        }
        mText += ']';
    } else {
        mText += "null";
    }
    return *this;
}

Output::Output(FILE* file, bool json, bool legend) : mFile(file), mJson(json), mLegend(legend) {
    // For wcwidth().
    setlocale(LC_CTYPE, "C.UTF-8");
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
    std::vector<Cell> titles;
    for (const Column& column : mColumns)
        titles.emplace_back(column.title != nullptr ? column.title : "");
    mTitles = lineOf(kDeviceColumn.title, titles);
    if (!mHoldsBack) mOutput.legend(mTitles);
}

void Table::row(const std::vector<Cell>& cells) {
    mCount++;
    if (mHoldsBack) return mHeld.push_back(lineOf(mOutput.device(), cells));
    if (!mOutput.json()) return mOutput.line(lineOf(mOutput.device(), cells));
    JsonObject object;
    for (size_t i = 0; i < mColumns.size(); i++) {
        if (mColumns[i].member != nullptr) object.add(mColumns[i].member, cells[i].value);
    }
    mOutput.print(object);
}

void Table::finish() {
    if (!mHoldsBack) return;
    // Titles and total take two lines of the screen, and the next prompt one.
    if (mHeld.size() + 3 > mOutput.screenLines()) std::reverse(mHeld.begin(), mHeld.end());
    mOutput.legend(mTitles);
    for (const std::string& line : mHeld)
        mOutput.line(line);
}

std::string Table::lineOf(const std::string& device, const std::vector<Cell>& cells) const {
    std::string line;
    size_t end = 0;
    size_t used = 0;
    const auto add = [&](const Column& column, const std::string& shown) {
        const std::string text = printable(shown);
        // What was too wide takes its room from the blanks that follow.
        end += column.width;
        used += width(text);
        const size_t blanks = end > used ? end - used : 0;
        line.append(column.right ? blanks : 0, ' ').append(text);
        line.append(column.right ? 2 : blanks + 2, ' ');
        used += blanks + 2;
        end += 2;
    };
    if (mOutput.severalDevices()) add(kDeviceColumn, device);
    for (size_t i = 0; i < mColumns.size(); i++) {
        if (mColumns[i].title != nullptr) add(mColumns[i], cells[i].shown);
    }
    return line.substr(0, line.find_last_not_of(' ') + 1);
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
