// SPDX-License-Identifier: Apache-2.0

#include <fcntl.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>

#include "base/Text.h"
#include "tests/support/ZulctlTest.h"
#include "zulctl/Output.h"
#include "zulctl/WallTime.h"

namespace zulctl::test {
namespace {

TEST(TextTest, IsSafeForATerminalAndForJson) {
    struct Case {
        std::string bytes;
        std::string printed;
        std::string json;
    };
    const Case cases[] = {
            {"a \"b\" ~", "a \"b\" ~", "\":\"a \\\"b\\\" ~\""},
            {"\u00e4\u20ac\U0001f600", "\u00e4\u20ac\U0001f600", "\":\"\u00e4\u20ac\U0001f600\""},
            {"\\n", "\\\\n", "\":\"\\\\n\""},
            {"a\nb", "a\\nb", "\":\"a\\u000ab\""},
            {"\x1b[2J", "\\x1b[2J", "\":\"\\u001b[2J\""},
            {std::string(1, '\0'), "\\x00", "\":\"\\u0000\""},
            {"\x7f", "\\x7f", "\":\"\\u007f\""},
            {"\u009b2J", "\\xc2\\x9b2J", "\":\"\\u009b2J\""},
            {"\u202egnp", "\\xe2\\x80\\xaegnp", "\":\"\\u202egnp\""},
            // No UTF-8: a byte, one cut off, those longer than needed, a surrogate, and what is behind the last.
            {"a\xff", "a\\xff", "_hex\":\"61ff\""},
            {"\xe2\x82", "\\xe2\\x82", "_hex\":\"e282\""},
            {"\xc0\xaf", "\\xc0\\xaf", "_hex\":\"c0af\""},
            {"\xe0\x81\x9c", "\\xe0\\x81\\x9c", "_hex\":\"e0819c\""},
            {"\xed\xa0\x80", "\\xed\\xa0\\x80", "_hex\":\"eda080\""},
            {"\xf4\x90\x80\x80", "\\xf4\\x90\\x80\\x80", "_hex\":\"f4908080\""},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(printable(c.bytes), c.printed);
        EXPECT_EQ(JsonObject().add("t", c.bytes).text(), ",\"t" + c.json);
    }
}

TEST(SizeTest, HasTwoOrThreeDigitsAndAUnit) {
    const std::pair<uint64_t, const char*> cases[] = {
            {0, "0B"},           {1023, "1023B"},   {1024, "1.0K"},
            {10188, "9.9K"},     {10240, "10K"},    {1048063, "1023K"},
            {1048064, "1.0M"},   {1 << 20, "1.0M"}, {5ull << 30, "5.0G"},
            {UINT64_MAX, "16E"},
    };
    for (const auto& [bytes, text] : cases)
        EXPECT_EQ(humanSize(bytes), text) << bytes;
}

TEST(WallTimeTest, ReadsWhatTheDaemonWritesAndNothingElse) {
    EXPECT_EQ(parseRecordTime("2024-02-29 23:59:59"), 1709251199);
    EXPECT_EQ(parseNameTime("2024_02_29_23_59_59"), 1709251199);
    EXPECT_EQ(formatWallTime(1709251200), "2024-03-01 00:00:00");
    for (const char* text : {"", "2024-02-29", "2024-02-29 23:59:5", "2024-02-29 23:59:599",
                             "2024-02-29_23:59:59", "2024-13-01 00:00:00", "2024-00-01 00:00:00",
                             "2024-01-32 00:00:00", "2024-01-01 24:00:00", "2024-01-01 00:60:00",
                             "-024-01-01 00:00:00", "2024-01-01 00:00: 1", "2024-01-01  00:00:00",
                             "0000-01-01 00:00:00", "2024-01-01 00:00:61"}) {
        EXPECT_FALSE(parseRecordTime(text)) << text;
    }
}

TEST(WallTimeTest, ReadsAgesAndTimesOfUsers) {
    const WallTime now = *parseRecordTime("2025-03-04 05:06:07");
    // Seconds before then.
    const std::pair<const char*, WallTime> cases[] = {
            {"7s", 7},
            {"6m", 360},
            {"5h", 18000},
            {"3d", 259200},
            {"1w", 604800},
            {"5m30s", 330},
            {"today", 18367},
            {"yesterday", 104767},
            {"04:07", 3547},
            {"04:07:01", 3546},
            {"2025-03-01", 277567},
            {"2025-03-01 10:00", 241567},
            {"2025-03-01T10:00", 241567},
            {"2025-03-01 10:00:01", 241566},
            {"2025-03-01T10:00:01", 241566},
    };
    for (const auto& [text, before] : cases)
        EXPECT_EQ(parseWhen(text, now), now - before) << text;
    for (const char* text : {"", "h", "1", "1x", "-1h", "1.5h", "1hh", "2025-3-1", "2025-03-1",
                             "12345678901s", "5m30", "4:07", "04:60", "2025-03-01x10:00"})
        EXPECT_FALSE(parseWhen(text, now)) << text;
}

TEST(CommandLineTest, WrongCallsEndWithTwoAndAHint) {
    const std::pair<const char*, const char*> calls[] = {
            {"nonsense", "unknown command nonsense ("},
            {"evnets", "did you mean events?"},
            {"evventss", "did you mean events?"},
            {"vent", "did you mean events?"},
            {"ven", "unknown command ven ("},
            {"confg show", "did you mean config?"},
            {"config", "config needs one of its own"},
            {"config nonsense", "unknown command config nonsense"},
            {"--nonsense", "unknown option --nonsense"},
            {"-z", "unknown option -z"},
            {"--root", "--root needs a value"},
            {"--json=1 list", "--json takes no value"},
            {"events --state=left", "events: unknown option --state"},
            {"--state=left events", "events: no option --state"},
            {"-n 5x", "no number for --number: 5x"},
            {"-n18446744073709551616", "no number"},
            {"info", "info: needs ARCHIVE|TAG"},
            {"info a b", "too much: b"},
            {"mask  ", "mask needs"},
            {"export x", "needs -o"},
            {"clean -fn", "needs one of -n"},
            {"clean --left", "needs one of -n"},
            {"--root=/data clean -f", "without --root"},
            {"clean -f --to=1X", "no size"},
            {"clean -f --to=1M --left", "all kinds"},
            {"clean -f --older-than=1", "no age"},
            {"clean -f --older-than=2025-03-05", "no age"},
            {"--log=a --log=b events", "more --log than --root"},
    };
    for (const auto& [arguments, hint] : calls) {
        const Result result = call(zul::split(arguments, " "));
        EXPECT_EQ(std::to_string(result.status) + result.out, "2") << hint;
        EXPECT_THAT(result.err, AllOf(StartsWith("zulctl: "), HasSubstr(hint)));
    }
}

TEST(CommandLineTest, RightOnesAreTakenInAllTheirForms) {
    const std::pair<const char*, const char*> calls[] = {
            {"--help", "Usage: zulctl [OPTION...] [COMMAND"},
            {"help", "  events [TAG...]"},
            {"help", " (the default)\n"},
            {"help events", "Usage: zulctl [OPTION...] events [OPTION...] [TAG...]"},
            {"events -h", "  -f, --follow                go on"},
            {"config --help", "  config check FILE|-"},
            {"help config match", "config match [OPTION...] TAG [PACKAGE]"},
            {"help list", "  unrecorded   the archive"},
            {"help mask", "short: anr, log."},
            {"--version", "--json is of version 1"},
            {"mask --json 1", "{\"v\":1"},
            {"--json mask 1", "{\"v\":1"},
            {"mask 1 --json", "{\"v\":1"},
            {"mask -- -1", "FLAG_ZUL_"},
    };
    for (const auto& [arguments, text] : calls) {
        const Result result = call(zul::split(arguments, " "));
        EXPECT_EQ(std::to_string(result.status) + result.err, "0") << text;
        EXPECT_THAT(result.out, HasSubstr(text));
    }
    EXPECT_THAT(call({"config", "--help"}).out, Not(HasSubstr("  events")));
    EXPECT_EQ(call({"--root", "/nowhere", "-n", "5", "-S5m", "--until=5m"}).status, 3);
}

TEST(OutputTest, ColumnsAreOfATerminalsCells) {
    FILE* file = tmpfile();
    Output out(file, false, true);
    Table table(out, {{"A", "a", 4}, {nullptr, "hidden"}, {"B", "b", 3, true}, {"C"}});
    for (const char* text : {"ab", "\u6f22\u5b57", "e\u0301", "toolong"})
        table.row({text, "x", Cell::number(7), "end"});
    table.row({Cell::none(), "x", Cell::none(), ""});
    rewind(file);
    std::string text(1000, '\0');
    text.resize(fread(text.data(), 1, text.size(), file));
    fclose(file);
    EXPECT_EQ(text,
              "A       B  C\n"
              "ab      7  end\n"
              "\u6f22\u5b57    7  end\n"
              "e\u0301       7  end\n"
              "toolong  7  end\n"
              "-       -\n");
}

TEST(OutputTest, TheNewestIsLastWhereAScreenIsTooSmall) {
    const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_TRUE(grantpt(terminal) == 0 && unlockpt(terminal) == 0);
    winsize size = {};
    size.ws_row = 5;
    ASSERT_EQ(ioctl(terminal, TIOCSWINSZ, &size), 0);
    FILE* file = fdopen(open(ptsname(terminal), O_RDWR | O_NOCTTY), "w");
    const auto print = [&](int rows) {
        Output out(file, false, true);
        Table table(out, {{"N"}}, true);
        for (int i = 0; i < rows; i++)
            table.row({Cell::number(i)});
        table.finish();
        fflush(file);
        std::string text;
        for (char c = 0; std::count(text.begin(), text.end(), '\n') <= rows;) {
            if (read(terminal, &c, 1) != 1) break;
            text += c;
        }
        return text;
    };
    EXPECT_EQ(print(2), "N\r\n0\r\n1\r\n");
    EXPECT_EQ(print(3), "N\r\n2\r\n1\r\n0\r\n");
    fclose(file);
    close(terminal);
}

}  // namespace
}  // namespace zulctl::test
