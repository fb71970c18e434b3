// SPDX-License-Identifier: Apache-2.0

#include "tests/support/ZulctlTest.h"
#include "zulctl/Output.h"
#include "zulctl/WallTime.h"

namespace zulctl::test {
namespace {

struct TextCase {
    const char* name;
    std::string bytes;
    std::string printed;
    std::string json;
};

class TextTest : public testing::TestWithParam<TextCase> {};

TEST_P(TextTest, IsSafeForATerminalAndForJson) {
    EXPECT_EQ(printable(GetParam().bytes), GetParam().printed);
    EXPECT_EQ(JsonObject().add("t", GetParam().bytes).text(), ",\"t" + GetParam().json);
}

const TextCase kTextCases[] = {
        {"Plain", "a \"b\" ~", "a \"b\" ~", "\":\"a \\\"b\\\" ~\""},
        {"Utf8", "\u00e4\u20ac\U0001f600", "\u00e4\u20ac\U0001f600",
         "\":\"\u00e4\u20ac\U0001f600\""},
        {"Backslash", "\\n", "\\\\n", "\":\"\\\\n\""},
        {"LineBreak", "a\nb", "a\\nb", "\":\"a\\u000ab\""},
        {"Escape", "\x1b[2J", "\\x1b[2J", "\":\"\\u001b[2J\""},
        {"Nul", std::string(1, '\0'), "\\x00", "\":\"\\u0000\""},
        {"Delete", "\x7f", "\\x7f", "\":\"\\u007f\""},
        {"OneByteControlSequence", "\u009b2J", "\\xc2\\x9b2J", "\":\"\\u009b2J\""},
        {"TurnedAround", "\u202egnp", "\\xe2\\x80\\xaegnp", "\":\"\\u202egnp\""},
        {"NoUtf8", "a\xff", "a\\xff", "_hex\":\"61ff\""},
        {"CutOff", "\xe2\x82", "\\xe2\\x82", "_hex\":\"e282\""},
        {"TooLong", "\xc0\xaf", "\\xc0\\xaf", "_hex\":\"c0af\""},
        {"TooLongOfThree", "\xe0\x80\xaf", "\\xe0\\x80\\xaf", "_hex\":\"e080af\""},
        {"Surrogate", "\xed\xa0\x80", "\\xed\\xa0\\x80", "_hex\":\"eda080\""},
        {"BehindTheLast", "\xf4\x90\x80\x80", "\\xf4\\x90\\x80\\x80", "_hex\":\"f4908080\""},
};
INSTANTIATE_TEST_SUITE_P(Texts, TextTest, testing::ValuesIn(kTextCases), caseName);

TEST(SizeTest, HasTwoOrThreeDigitsAndAUnit) {
    const std::pair<uint64_t, const char*> cases[] = {
            {0, "0"},
            {1023, "1023"},
            {1024, "1.0K"},
            {10188, "9.9K"},
            {10240, "10K"},
            {1048063, "1023K"},
            {1048064, "1.0M"},
            {1 << 20, "1.0M"},
            {5ull << 30, "5.0G"},
            {UINT64_MAX, "16E"},
    };
    for (const auto& [bytes, text] : cases)
        EXPECT_EQ(humanSize(bytes), text) << bytes;
}

TEST(WallTimeTest, ReadsWhatTheDaemonWritesAndNothingElse) {
    const auto day = parseRecordTime("2024-02-29 23:59:59");
    ASSERT_TRUE(day);
    EXPECT_EQ(*day, 1709251199);
    EXPECT_EQ(parseNameTime("2024_02_29_23_59_59"), day);
    EXPECT_EQ(formatWallTime(*day + 1), "2024-03-01 00:00:00");
    for (const char* text : {"", "2024-02-29", "2024-02-29 23:59:5", "2024-02-29 23:59:599",
                             "2024-02-29_23:59:59", "2024-13-01 00:00:00", "2024-00-01 00:00:00",
                             "2024-01-32 00:00:00", "2024-01-01 24:00:00", "2024-01-01 00:60:00",
                             "-024-01-01 00:00:00", "2024-01-01 00:00: 1"}) {
        EXPECT_FALSE(parseRecordTime(text)) << text;
    }
}

TEST(WallTimeTest, ReadsAgesAndTimesOfUsers) {
    const WallTime now = *parseRecordTime("2025-03-04 05:06:07");
    const std::pair<const char*, const char*> cases[] = {
            {"7s", "2025-03-04 05:06:00"},
            {"6m", "2025-03-04 05:00:07"},
            {"5h", "2025-03-04 00:06:07"},
            {"3d", "2025-03-01 05:06:07"},
            {"1w", "2025-02-25 05:06:07"},
            {"2025-03-01", "2025-03-01 00:00:00"},
            {"2025-03-01 10:00", "2025-03-01 10:00:00"},
            {"2025-03-01 10:00:01", "2025-03-01 10:00:01"},
    };
    for (const auto& [text, time] : cases)
        EXPECT_EQ(parseWhen(text, now), parseRecordTime(time)) << text;
    for (const char* text : {"", "h", "1", "1x", "-1h", "1.5h", "1hh", "2025-3-1", "12345678901s"})
        EXPECT_FALSE(parseWhen(text, now)) << text;
}

TEST(CommandLineTest, WrongCallsEndWithTwoAndAHint) {
    const std::vector<std::string> calls[] = {
            {"nonsense"}, {"--nonsense"}, {"--root"}, {"-z"}, {"mask", ""}};
    for (const std::vector<std::string>& arguments : calls) {
        const Result result = call(arguments);
        EXPECT_EQ(result.status, 2) << arguments[0];
        EXPECT_EQ(result.out, "") << arguments[0];
        EXPECT_THAT(result.err, testing::StartsWith("zulctl: ")) << arguments[0];
        EXPECT_THAT(result.err, testing::HasSubstr(arguments[0])) << arguments[0];
    }
    const Result help = call({"--help"});
    EXPECT_EQ(std::to_string(help.status) + help.err, "0") << "no wrong call";
}

}  // namespace
}  // namespace zulctl::test
