// SPDX-License-Identifier: Apache-2.0

#include "zulctl/Markup.h"

#include <stdio.h>

#include "zulctl/Output.h"

namespace zulctl {

namespace {

/** Elements this deep in others still end their line: rows of a table, marks of a picture. */
constexpr size_t kDeepestLine = 4;

}  // namespace

Markup& Markup::open(std::string_view element, Attributes attributes) {
    begin(element, attributes);
    mText += '>';
    mOpen.push_back(element);
    return *this;
}

Markup& Markup::text(std::string_view text) {
    escape(text);
    return *this;
}

Markup& Markup::close() {
    mText.append("</").append(mOpen.back()).append(">");
    mOpen.pop_back();
    // Lines, for those who look into the page; between texts and their elements there are none.
    if (mOpen.size() <= kDeepestLine) mText += '\n';
    return *this;
}

Markup& Markup::add(std::string_view element, Attributes attributes, std::string_view text) {
    return open(element, attributes).text(text).close();
}

Markup& Markup::addEmpty(std::string_view element, Attributes attributes) {
    begin(element, attributes);
    mText += "/>";
    return *this;
}

Markup& Markup::insert(const Markup& part) {
    return insertAsIs(part.mText);
}

Markup& Markup::insertAsIs(std::string_view text) {
    mText += text;
    return *this;
}

void Markup::begin(std::string_view element, Attributes attributes) {
    mText.append("<").append(element);
    for (const auto& [name, value] : attributes) {
        mText.append(" ").append(name).append("=\"");
        escape(value);
        mText += '"';
    }
}

void Markup::escape(std::string_view text) {
    for (const char c : printable(text)) {
        switch (c) {
            case '&':
                mText += "&amp;";
                break;
            case '<':
                mText += "&lt;";
                break;
            case '>':
                mText += "&gt;";
                break;
            case '"':
                mText += "&quot;";
                break;
            default:
                mText += c;
        }
    }
}

std::string shortened(std::string_view text, size_t most) {
    if (text.size() <= most) return std::string(text);
    size_t size = most - 3;
    while (size > 0 && (text[size] & 0xc0) == 0x80)
        size--;
    return std::string(text.substr(0, size)) + "...";
}

std::string percent(double share) {
    char text[32] = {};
    snprintf(text, sizeof(text), "%.2f%%", share * 100);
    return text;
}

}  // namespace zulctl
