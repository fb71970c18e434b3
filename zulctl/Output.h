// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace zulctl {

/**
 * `bytes` for a terminal: control bytes, bytes that are no UTF-8, characters that change the direction
 * of writing and the backslash are escaped, so that no name can pass for anything else.
 */
std::string printable(std::string_view bytes);

/** 1234567 as 1.2M, 7 as 7B; powers of 1024. */
std::string humanSize(uint64_t bytes);

/** "1 archive", "2 archives"; `several` is for what takes no s. */
std::string counted(size_t number, const char* one, const char* several = nullptr);

/** What a member of a JSON object holds; null for what is not known. */
using Value = std::variant<std::nullptr_t, std::string, int64_t, bool, std::vector<std::string>>;

/** The members of a JSON object. */
class JsonObject {
  public:
    /** A text is in the member `name`_hex when it is no UTF-8. */
    JsonObject& add(std::string_view name, const Value& value);
    /** Each with a comma before it. */
    const std::string& text() const { return mText; }

  private:
    std::string mText;
};

/** A value, and how people read it. */
struct Cell {
    Cell(std::string_view text) : value(std::string(text)), shown(text) {}
    Cell(const std::string& text) : Cell(std::string_view(text)) {}
    Cell(const char* text) : Cell(std::string_view(text)) {}
    Cell(Value json, std::string text) : value(std::move(json)), shown(std::move(text)) {}

    static Cell none() { return {nullptr, "-"}; }
    static Cell number(int64_t number) { return {number, std::to_string(number)}; }
    static Cell yesNo(bool yes) { return {yes, yes ? "yes" : "no"}; }
    static Cell size(uint64_t bytes) { return {static_cast<int64_t>(bytes), humanSize(bytes)}; }

    Value value;
    std::string shown;
};

/** Where the results go. */
class Output {
  public:
    Output(FILE* file, bool json, bool legend);

    bool json() const { return mJson; }
    /** Lines of the terminal that it goes to; 0 where it goes elsewhere. */
    size_t screenLines() const { return mScreenLines; }

    /** The device that objects are about from here on; rows begin with it where there are several. */
    void setDevice(std::string_view name, bool several);
    const std::string& device() const { return mDevice; }
    bool severalDevices() const { return mSeveral; }

    void print(const JsonObject& object);
    /** A line of text as it is: whatever comes from outside has gone through printable(). */
    void line(std::string_view text);
    /** A heading or a total: nothing with --json and with --no-legend. */
    void legend(std::string_view text);
    /** Lets a reader see all that was printed; false when nobody reads any more. */
    bool flush();

  private:
    FILE* const mFile;
    const bool mJson;
    const bool mLegend;
    size_t mScreenLines = 0;
    std::string mDevice;
    bool mSeveral = false;
    /** How all objects begin. */
    std::string mStart;
};

/** A column of a table, a member of its objects, or both. */
struct Column {
    /** Null: not in the table. */
    const char* title;
    /** Null: not in the objects. */
    const char* member = nullptr;
    /** 0 for the last column. */
    size_t width = 0;
    bool right = false;
};

/** Rows as lines in columns, or as objects: a text that is too wide moves what follows it. */
class Table {
  public:
    /** Rows that come newest first are shown newest last where they do not fit the screen. */
    Table(Output& output, std::vector<Column> columns, bool newestFirst = false);
    Table(const Table&) = delete;

    /** One cell for each column. */
    void row(const std::vector<Cell>& cells);
    /** Shows what is still held back; no rows come behind it. */
    void finish();
    size_t count() const { return mCount; }

  private:
    std::string lineOf(const std::string& device, const std::vector<Cell>& cells) const;

    Output& mOutput;
    const std::vector<Column> mColumns;
    const bool mHoldsBack;
    size_t mCount = 0;
    std::string mTitles;
    std::vector<std::string> mHeld;
};

/** Facts about one thing, as lines or as one object. */
class Facts {
  public:
    /** What begins each line of it, and how wide the names are. */
    Facts(Output& output, const char* indent, size_t width)
          : mOutput(output), mIndent(indent), mWidth(width) {}

    /** Null for what is only in the lines, or only in the object; empty texts are in no line. */
    void add(const char* title, const char* member, const Cell& cell);
    void finish();

  private:
    Output& mOutput;
    const char* const mIndent;
    const size_t mWidth;
    std::string mLines;
    JsonObject mObject;
};

}  // namespace zulctl
