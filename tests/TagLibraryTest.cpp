// SPDX-License-Identifier: Apache-2.0
//
// The built tag library, loaded by its path as the daemon does, over tables of our own.

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "sim/taglibrary/RowData.h"

namespace {

namespace fs = std::filesystem;
using zulid::RowData;

constexpr char kLibrary[] = "/system_ext/lib64/libzulid_config.so";
constexpr char kTable[] = "/system_ext/etc/zulid_config.csv";
constexpr char kShipped[] = "/system_ext/etc/shipped.csv";
const std::string kHeader = "tagId,flag,cmd,extraInfo,eventType,eventSubType\n";

class TagLibraryTest : public testing::Test {
  protected:
    TagLibraryTest() { fs::copy_file(kTable, kShipped); }
    ~TagLibraryTest() override { fs::rename(kShipped, kTable); }

    static void writeTable(const std::string& text) { std::ofstream(kTable) << text; }

    // A copy is a library of its own to the loader, so that each load reads the table anew whoever
    // else holds the library in this process. Beside the original it finds the same libraries.
    void load() {
        static int copies = 0;
        const std::string copy = std::string(kLibrary) + std::to_string(++copies);
        fs::copy_file(kLibrary, copy);
        void* library = dlopen(copy.c_str(), RTLD_NOW);
        fs::remove(copy);
        ASSERT_NE(library, nullptr) << dlerror();
        mGetRowByKey = reinterpret_cast<decltype(mGetRowByKey)>(dlsym(library, "getRowByKey"));
        ASSERT_NE(mGetRowByKey, nullptr);
        EXPECT_EQ(dlsym(library, "_ZN5zulid8TagTable4loadEPKc"), nullptr) << "no other export";
        mLibrary.reset(library);
    }

    /** Looks a tag up: the row's fields, one '|' after each, and then the log without its head. */
    std::string find(const std::string& tag) {
        testing::internal::CaptureStderr();
        const RowData* row = mGetRowByKey(tag);
        std::string log = testing::internal::GetCapturedStderr();
        log.erase(0, log.find("zulid_config: "));
        if (row == nullptr) return log;
        return row->tagId + '|' + row->flag + '|' + row->cmd + '|' + row->extraInfo + '|' +
               row->eventType + '|' + row->eventSubType + '|' + log;
    }

    struct Close {
        void operator()(void* library) { dlclose(library); }
    };
    std::unique_ptr<void, Close> mLibrary;
    const RowData* (*mGetRowByKey)(const std::string&) = nullptr;
};

TEST_F(TagLibraryTest, LineBecomesRowOrIsReported) {
    const std::string columns = "not six columns";
    const std::string quote = "a quote is out of place";
    const struct {
        const char* name;
        const char* line;
        std::string row;
        std::string fault = "";
    } cases[] = {
            {"all empty", "t,,,,,", "t||||||"},
            {"plain text keeps blanks", "t, a;b ,c d,e,f,g", "t| a;b |c d|e|f|g|"},
            {"quoted comma", "t,\"a,b\",\",\",,,\"g,\"", "t|a,b|,|||g,|"},
            {"quoted quotes", "\"t\",\"\"\"\",\"a\"\"b\",\"\",,", "t|\"|a\"b||||"},
            {"carriage return", "t,a,b,c,d,e\r", "t|a|b|c|d|e|"},
            {"five columns", "t,a,b,c,d", "", columns},
            {"seven columns", "t,a,b,c,d,e,f", "", columns},
            {"quote never ends", "t,a,b,c,d,\"e", "", quote},
            {"text after a quote", "t,\"a\"x,b,c,d,e", "", quote},
            {"quote inside text", "t,a\"b\",b,c,d,e", "", quote},
            {"no tag", ",a,b,c,d,e", "", "no tag"},
            {"repeated tag", "first,z,b,c,d,e", "", "a tag that an earlier line has"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        writeTable(kHeader + "first,a,,,,\n\n" + c.line + "\nlast,b,,,,");
        load();
        EXPECT_EQ(find("t"), !c.row.empty() ? c.row
                                            : std::string("zulid_config: ") + kTable +
                                                      ": line 4: " + c.fault + " (bad lines: 1)\n");
        EXPECT_EQ(find("first"), "first|a|||||");
        EXPECT_EQ(find("last"), "last|b|||||") << "also without a line break at the end";
    }
}

TEST_F(TagLibraryTest, BadTablesAreOneLineAndGoodRowsStay) {
    writeTable("some,other,header\nt\ngood,1,2,3,4,5\nbad\n");
    load();
    EXPECT_EQ(find("good"), std::string("good|1|2|3|4|5|zulid_config: ") + kTable +
                                    ": line 1: not the header of a tag table (bad lines: 3)\n");
    writeTable(kHeader + "t,,,,,\n");
    EXPECT_EQ(find("t"), "") << "the table is read once";
}

}  // namespace
