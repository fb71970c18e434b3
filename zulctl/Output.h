// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdint.h>
#include <stdio.h>

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace zulctl {

/**
 * `bytes` for a terminal: control bytes, bytes that are no UTF-8, characters that change the direction
 * of writing and the backslash are escaped, so that no name can pass for anything else.
 */
std::string printable(std::string_view bytes);

/** 1234567 as 1.2M; powers of 1024. */
std::string humanSize(uint64_t bytes);

/** "1 archive", "2 archives". */
std::string counted(size_t number, const char* what);

/** The members of a JSON object. */
class JsonObject {
  public:
    /** A text, in the member `name`_hex when it is no UTF-8. */
    JsonObject& add(std::string_view name, std::string_view text);
    JsonObject& add(std::string_view name, const std::string& text) {
        return add(name, std::string_view(text));
    }
    JsonObject& add(std::string_view name, const char* text) {
        return add(name, std::string_view(text));
    }
    JsonObject& add(std::string_view name, int64_t number);
    JsonObject& add(std::string_view name, bool value);
    JsonObject& addNull(std::string_view name);
    JsonObject& add(std::string_view name, const std::vector<std::string>& texts);

    /** Each with a comma before it. */
    const std::string& text() const { return mText; }

  private:
    void addName(std::string_view name);

    std::string mText;
};

/** Where the results go. */
class Output {
  public:
    Output(FILE* file, bool json, bool legend) : mFile(file), mJson(json), mLegend(legend) {
        setDevice("");
    }

    bool json() const { return mJson; }

    /** The device that objects are about from here on; "" is this one. */
    void setDevice(std::string_view name);

    void print(const JsonObject& object);
    /** A line of text as it is: whatever comes from outside has gone through printable(). */
    void line(std::string_view text);
    /** A heading or a total: nothing with --json and with --no-legend. */
    void legend(std::string_view text);

  private:
    FILE* const mFile;
    const bool mJson;
    const bool mLegend;
    /** How all objects begin. */
    std::string mStart;
};

/** Lines in columns that are printed as they come: a text that is too wide moves what follows it. */
class Table {
  public:
    struct Column {
        const char* title;
        size_t width;
        bool right = false;
    };

    /** Prints the titles. The last column has no width. */
    Table(Output& output, std::initializer_list<Column> columns);

    /** One text for each column; they are made printable here. */
    void row(const std::vector<std::string>& texts);

  private:
    std::string format(const std::vector<std::string>& texts) const;

    Output& mOutput;
    const std::vector<Column> mColumns;
};

}  // namespace zulctl
