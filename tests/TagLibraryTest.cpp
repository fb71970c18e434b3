// SPDX-License-Identifier: Apache-2.0
//
// The built tag library, loaded by its path as the daemon does, over tables of our own.

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "sim/taglibrary/RowData.h"

namespace {

using zulid::RowData;

constexpr char kLibrary[] = "/system_ext/lib64/libzulid_config.so";
constexpr char kTable[] = "/system_ext/etc/zulid_config.csv";
const std::string kHeader = "tagId,flag,cmd,extraInfo,eventType,eventSubType\n";

using GetRowByKey = const RowData* (*)(const std::string&);

std::vector<std::string> fields(const RowData& row) {
    return {row.tagId, row.flag, row.cmd, row.extraInfo, row.eventType, row.eventSubType};
}

class TagLibraryTest : public ::testing::Test {
  protected:
    void SetUp() override {
        std::ifstream file(kTable);
        mShipped.assign(std::istreambuf_iterator<char>(file), {});
        ASSERT_FALSE(mShipped.empty());
    }
    void TearDown() override {
        unload();
        writeTable(mShipped);
    }

    static void writeTable(const std::string& text) { std::ofstream(kTable) << text; }

    // A copy is a library of its own to the loader, so that each load reads the table anew whoever
    // else holds the library in this process. Beside the original it finds the same libraries.
    void load() {
        unload();
        static int copies = 0;
        const std::string copy = std::string(kLibrary) + std::to_string(++copies);
        ASSERT_TRUE(std::filesystem::copy_file(kLibrary, copy));
        mLibrary = dlopen(copy.c_str(), RTLD_NOW);
        std::filesystem::remove(copy);
        ASSERT_NE(mLibrary, nullptr) << dlerror();
        mGetRowByKey = reinterpret_cast<GetRowByKey>(dlsym(mLibrary, "getRowByKey"));
        ASSERT_NE(mGetRowByKey, nullptr);
    }
    void unload() {
        if (mLibrary != nullptr) {
            dlclose(mLibrary);
        }
        mLibrary = nullptr;
    }
    void load(const std::string& table) {
        writeTable(table);
        load();
    }

    /** Does what may log, and returns the lines that it logged. */
    template <class Action>
    static std::vector<std::string> linesOf(Action action) {
        testing::internal::CaptureStderr();
        action();
        std::istringstream text(testing::internal::GetCapturedStderr());
        std::vector<std::string> lines;
        for (std::string line; std::getline(text, line);) {
            lines.push_back(line.substr(line.find(" zulid_config: ") + 1));
        }
        return lines;
    }

    std::string mShipped;
    void* mLibrary = nullptr;
    GetRowByKey mGetRowByKey = nullptr;
};

TEST_F(TagLibraryTest, ShippedTableIsWhole) {
    load();
    EXPECT_TRUE(linesOf([&] { mGetRowByKey("0xffff0001"); }).empty());

    const RowData* row = mGetRowByKey("0xffff0202");
    ASSERT_NE(row, nullptr);
    EXPECT_THAT(fields(*row),
                testing::ElementsAre(
                        "0xffff0202",
                        "FLAG_ZUL_BINDER|FLAG_ZUL_BINDER_CALLS_STATS|FLAG_ZUL_LOOPER_STATS", "",
                        "reason=\"slow binder call\", limit=500 ms", "performance", "binder"));
    EXPECT_EQ(mGetRowByKey("0xffff0202"), row) << "a row keeps its place";
}

TEST_F(TagLibraryTest, KeysMatchExactly) {
    load(kHeader + "0xffff0001,F,,,,\n");
    ASSERT_NE(mGetRowByKey("0xffff0001"), nullptr);
    for (const char* key : {"", "0xffff", "0xffff00011", "0xFFFF0001", " 0xffff0001", "tagId"}) {
        EXPECT_EQ(mGetRowByKey(key), nullptr) << "'" << key << "'";
    }
}

TEST_F(TagLibraryTest, LibraryExportsNothingElse) {
    load();
    for (const char* symbol :
         {"_ZN5zulid8TagTable4loadEPKc", "_ZN5zulid8TagTableD1Ev",
          "_ZNK5zulid8TagTable4findERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE"}) {
        EXPECT_EQ(dlsym(mLibrary, symbol), nullptr) << symbol;
    }
}

struct LineCase {
    const char* name;
    const char* line;
    std::optional<std::vector<std::string>> row;  // nothing: the line is malformed
    const char* fault = "";
};

class TagLineTest : public TagLibraryTest, public ::testing::WithParamInterface<LineCase> {};

TEST_P(TagLineTest, LineBecomesRowOrIsReported) {
    const LineCase& param = GetParam();
    load(kHeader + "first,a,,,,\n" + param.line + "\nlast,b,,,,");

    const auto lines = linesOf([&] { mGetRowByKey("t"); });
    const RowData* row = mGetRowByKey("t");
    if (param.row) {
        EXPECT_TRUE(lines.empty()) << lines.front();
        ASSERT_NE(row, nullptr);
        EXPECT_EQ(fields(*row), *param.row);
    } else {
        EXPECT_EQ(row, nullptr);
        EXPECT_THAT(lines, testing::ElementsAre(std::string("zulid_config: ") + kTable +
                                                ": line 3: " + param.fault + " (bad lines: 1)"));
    }
    EXPECT_NE(mGetRowByKey("first"), nullptr);
    EXPECT_NE(mGetRowByKey("last"), nullptr) << "also without a line break at the end";
}

using Row = std::vector<std::string>;
constexpr char kColumns[] = "not six columns";
constexpr char kQuote[] = "a quote is out of place";

INSTANTIATE_TEST_SUITE_P(
        , TagLineTest,
        testing::Values(
                LineCase{"AllEmpty", "t,,,,,", Row{"t", "", "", "", "", ""}},
                LineCase{"PlainTextKeepsBlanks", "t, a|b ,c d,e,f,g",
                         Row{"t", " a|b ", "c d", "e", "f", "g"}},
                LineCase{"QuotedComma", "t,\"a,b\",\",\",,,\"g,\"",
                         Row{"t", "a,b", ",", "", "", "g,"}},
                LineCase{"QuotedQuotes", "\"t\",\"\"\"\",\"a\"\"b\",\"\",,",
                         Row{"t", "\"", "a\"b", "", "", ""}},
                LineCase{"CarriageReturn", "t,a,b,c,d,e\r", Row{"t", "a", "b", "c", "d", "e"}},
                LineCase{"FiveColumns", "t,a,b,c,d", {}, kColumns},
                LineCase{"SevenColumns", "t,a,b,c,d,e,f", {}, kColumns},
                LineCase{"TrailingComma", "t,a,b,c,d,e,", {}, kColumns},
                LineCase{"QuoteNeverEnds", "t,a,b,c,d,\"e", {}, kQuote},
                LineCase{"TextAfterQuote", "t,\"a\"x,b,c,d,e", {}, kQuote},
                LineCase{"QuoteInsideText", "t,a\"b\",b,c,d,e", {}, kQuote},
                LineCase{"NoTag", ",a,b,c,d,e", {}, "no tag"},
                LineCase{"RepeatedTag", "first,z,b,c,d,e", {}, "a tag that an earlier line has"}),
        [](const auto& info) { return std::string(info.param.name); });

TEST_F(TagLibraryTest, ManyFaultsAreOneLineAndGoodRowsStay) {
    load("some,other,header\nt\n\ngood,1,2,3,4,5\ngood,6,7,8,9,0\n");
    const auto lines = linesOf([&] {
        mGetRowByKey("good");
        mGetRowByKey("t");
    });
    EXPECT_THAT(lines,
                testing::ElementsAre(std::string("zulid_config: ") + kTable +
                                     ": line 1: not the header of a tag table (bad lines: 3)"));
    ASSERT_NE(mGetRowByKey("good"), nullptr);
    EXPECT_EQ(mGetRowByKey("good")->flag, "1") << "the first of two rows with one tag stays";
}

TEST_F(TagLibraryTest, MissingOrOversizedTableHasNoRowsAndOneLine) {
    const std::string prefix = std::string("zulid_config: cannot read ") + kTable;
    std::filesystem::remove(kTable);
    load();
    EXPECT_THAT(linesOf([&] { EXPECT_EQ(mGetRowByKey("t"), nullptr); }),
                testing::ElementsAre(prefix + ": No such file or directory"));
    // The table is read once: a file that comes later changes nothing.
    writeTable(kHeader + "t,,,,,\n");
    EXPECT_EQ(mGetRowByKey("t"), nullptr);

    load(kHeader + "t,,,,,\n" + std::string(5 << 20, 'x'));
    EXPECT_THAT(linesOf([&] { EXPECT_EQ(mGetRowByKey("t"), nullptr); }),
                testing::ElementsAre(prefix + ": File too large"));
}

TEST_F(TagLibraryTest, ThreadsMayMeetInTheFirstLookup) {
    std::string table = kHeader;
    for (int i = 0; i < 2000; ++i) {
        table += "tag" + std::to_string(i) + ",flag" + std::to_string(i) + ",,,,\n";
    }
    load(table);

    std::atomic<bool> go{false};
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t) {
        threads.emplace_back([&] {
            go.wait(false);
            for (int i = 0; i < 2000; ++i) {
                const RowData* row = mGetRowByKey("tag" + std::to_string(i));
                wrong += row == nullptr || row->flag != "flag" + std::to_string(i);
            }
        });
    }
    go = true;
    go.notify_all();
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(wrong, 0);
}

}  // namespace
