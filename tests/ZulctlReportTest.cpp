// SPDX-License-Identifier: Apache-2.0

#include "tests/support/ZulctlTest.h"
#include "zulctl/Story.h"
#include "zulctl/TimeAxis.h"

namespace zulctl::test {
namespace {

constexpr LogTime kMinute = 60 * 1000;

struct AxisCase {
    const char* name;
    /** Minutes at which something happens for a minute. */
    std::vector<int> busy;
    /** Where a new piece of the axis begins. */
    std::vector<int> pieces;
};

void PrintTo(const AxisCase& c, std::ostream* out) {
    *out << c.name;
}

class AxisTest : public testing::TestWithParam<AxisCase> {};

TEST_P(AxisTest, CutsOutLongPauses) {
    std::vector<TimeSpan> busy;
    for (const int minute : GetParam().busy)
        busy.push_back({minute * kMinute, (minute + 1) * kMinute});
    const TimeAxis axis(busy);
    std::vector<int> pieces;
    double before = 0;
    for (const TimeAxis::Piece& piece : axis.pieces()) {
        pieces.push_back(static_cast<int>(piece.time.begin / kMinute));
        EXPECT_GE(piece.from, before);
        EXPECT_GT(piece.to - piece.from, 0.04);
        EXPECT_DOUBLE_EQ(axis.at(piece.time.begin), piece.from);
        EXPECT_DOUBLE_EQ(axis.at(piece.time.end), piece.to);
        before = piece.to;
    }
    EXPECT_EQ(pieces, GetParam().pieces);
    EXPECT_LE(before, 1.0000001);
    // Nothing is lost at the ends, and what is cut out stands at a cut.
    EXPECT_DOUBLE_EQ(axis.at(-1), 0);
    EXPECT_DOUBLE_EQ(axis.at(INT64_MAX), before);
}

const AxisCase kAxisCases[] = {
        {"Nothing", {}, {}},
        {"OneMoment", {5}, {5}},
        {"EvenlySpread", {0, 10, 20, 30, 40}, {0}},
        {"AnyOrder", {40, 0, 20, 10, 30}, {0}},
        {"OneNight", {0, 3, 600, 603}, {0, 600}},
        {"NightAndWeeks", {0, 3, 600, 603, 90000}, {0, 600, 90000}},
        {"ShortPause", {0, 2}, {0}},
        {"NoMoreThanTwelveCuts",
         {0, 3, 12, 39, 120, 363, 1092, 3279, 9840, 29523, 88572, 265719, 797160, 2391483, 7174452,
          21523359},
         {0, 120, 363, 1092, 3279, 9840, 29523, 88572, 265719, 797160, 2391483, 7174452, 21523359}},
};
INSTANTIATE_TEST_SUITE_P(Report, AxisTest, testing::ValuesIn(kAxisCases),
                         testing::PrintToStringParamName());

TEST(TimeAxisTest, AMomentStandsInTheMiddleOfItsPiece) {
    const TimeAxis axis({{7, 7}, {kMinute * 1000, kMinute * 1000}});
    ASSERT_EQ(axis.pieces().size(), 2u);
    for (const TimeAxis::Piece& piece : axis.pieces())
        EXPECT_DOUBLE_EQ(axis.at(piece.time.begin), (piece.from + piece.to) / 2);
}

class ReportTest : public ZulctlTest {};

TEST_F(ReportTest, WritesTheFileAnewOrTellsWhyNot) {
    write("/data/ZUL/zul_history");
    write("/page.html", std::string(100000, 'x'));
    EXPECT_EQ(onCopy({"report", "-o", at("/page.html")}).status, 0);
    const std::string page = onCopy({"report", "-o-"}).out;
    EXPECT_THAT(page, HasSubstr("No capture, and no event."));
    EXPECT_EQ(onCopy({"timeline", "-o-"}).out,
              "{\"displayTimeUnit\":\"ms\",\"traceEvents\":[\n\n]}\n\n");
    for (const char* command : {"report", "timeline"}) {
        EXPECT_EQ(onCopy({command}).status, 2);
        const Result denied = onCopy({command, "-o", at("/nowhere/page.html")});
        EXPECT_EQ(denied.status, 3);
        EXPECT_THAT(denied.err, HasSubstr("No such file"));
        EXPECT_EQ(onCopy({command, "-o", "/dev/full"}).status, 3);
    }
    EXPECT_THAT(page, Not(HasSubstr("As of")));
    makeFolder("/data/ZUL/config");
    EXPECT_THAT(onCopy({"report", "-o-"}).out, HasSubstr("Note: /data/ZUL/config: no regular"));
}

TEST_F(ReportTest, ManyTagsShareARow) {
    std::string history;
    for (int i = 0; i < 100; i++) {
        const std::string tag = "0xffff01" + std::to_string(i);
        history.append(tag).append("|2025-03-04 05:06:07|/data/ZUL/0xffff/").append(tag);
        history += "_2025_03_04_05_06_07_0.zul|B\n";
    }
    write("/data/ZUL/zul_history", history);
    const std::string page = onCopy({"report", "-o-"}).out;
    EXPECT_THAT(page, HasSubstr(">61 other tags<"));
    EXPECT_THAT(page, HasSubstr(", 2025-03-04 05:06:07 to 2025-03-04 05:06:07: 61 missing"));
}

}  // namespace
}  // namespace zulctl::test
