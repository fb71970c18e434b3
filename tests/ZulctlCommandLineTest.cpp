// SPDX-License-Identifier: Apache-2.0

#include <fcntl.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>

#include "base/Text.h"
#include "tests/support/Files.h"
#include "tests/support/ZulctlTest.h"
#include "zulctl/Command.h"
#include "zulctl/Output.h"
#include "zulctl/WallTime.h"
#include "zulctl/log/Events.h"

namespace zulctl::test {
namespace {

TEST(TextTest, IsSafeForATerminalAndForJson) {
    const std::tuple<std::string, const char*, const char*> cases[] = {
            {"a \"b\" ~", "a \"b\" ~", "\":\"a \\\"b\\\" ~\""},
            {"\u00e4\u20ac\U0001f600", "\u00e4\u20ac\U0001f600", "\":\"\u00e4\u20ac\U0001f600\""},
            {"\\n", "\\\\n", "\":\"\\\\n\""},
            {"a\nb", "a\\nb", "\":\"a\\u000ab\""},
            {"\x1b[2J", "\\x1b[2J", "\":\"\\u001b[2J\""},
            {std::string(1, '\0'), "\\x00", "\":\"\\u0000\""},
            {"\x7f", "\\x7f", "\":\"\\u007f\""},
            {"\u009b2J", "\\xc2\\x9b2J", "\":\"\\u009b2J\""},
            {"\u202egnp", "\\xe2\\x80\\xaegnp", "\":\"\\u202egnp\""},
            // No UTF-8: a byte, one cut off, those longer than needed, a surrogate, behind the
            // last.
            {"a\xff", "a\\xff", "_hex\":\"61ff\""},
            {"\xe2\x82", "\\xe2\\x82", "_hex\":\"e282\""},
            {"\xc0\xaf", "\\xc0\\xaf", "_hex\":\"c0af\""},
            {"\xe0\x81\x9c", "\\xe0\\x81\\x9c", "_hex\":\"e0819c\""},
            {"\xf0\x8f\xbf\xbf", "\\xf0\\x8f\\xbf\\xbf", "_hex\":\"f08fbfbf\""},
            {"\xed\xa0\x80", "\\xed\\xa0\\x80", "_hex\":\"eda080\""},
            {"\xf4\x90\x80\x80", "\\xf4\\x90\\x80\\x80", "_hex\":\"f4908080\""},
    };
    for (const auto& [bytes, printed, json] : cases) {
        EXPECT_EQ(printable(bytes), printed);
        EXPECT_EQ(JsonObject().add("t", bytes).text(), std::string(",\"t") + json);
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
    EXPECT_EQ(formatDuration(59) + " " + formatDuration(60), "59s 1m00s");
    EXPECT_EQ(formatDuration(3599) + " " + formatDuration(3720), "59m59s 1h02m");
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

class DeviceTest : public ZulctlTest {
  protected:
    DeviceTest() : ZulctlTest("") {}
};

TEST_F(DeviceTest, WrongCallsEndWithTwoAndAHint) {
    expectCalls({
            {"nonsense", 2, "", "zulctl: unknown command nonsense ("},
            {"evnets", 2, "", "did you mean events?"},
            {"ven", 2, "", "unknown command ven ("},
            {"confg show", 2, "", "did you mean config?"},
            {"config", 2, "", "config needs one of its own"},
            {"-z", 2, "", "unknown option -z"},
            {"--root", 2, "", "--root needs a value"},
            {"--json=1 list", 2, "", "--json takes no value"},
            {"events --state=left", 2, "", "events: unknown option --state"},
            {"--state=left events", 2, "", "events: no option --state"},
            {"-n 5x", 2, "", "no number for --number: 5x"},
            {"-n18446744073709551616", 2, "", "no number"},
            {"info", 2, "", "info: needs ARCHIVE|TAG"},
            {"info a b", 2, "", "too much: b"},
            {"mask  ", 2, "", "mask needs"},
            {"export x", 2, "", "needs -o"},
            {"clean -fn", 2, "", "needs one of -n"},
            {"--root=/data clean -f", 2, "", "without --root"},
            {"clean -f --to=1X", 2, "", "no size"},
            {"clean -f --to=1KB", 2, "", "no size"},
            {"clean -f --to=1M --left", 2, "", "all kinds"},
            {"clean -f --older-than=1", 2, "", "no age"},
            {"--log=a --log=b events", 2, "", "more --log than --root"},
    });
}

TEST_F(DeviceTest, RightOnesAreTakenInAllTheirForms) {
    expectCalls({
            {"--help", 0, "Usage: zulctl [OPTION...] [COMMAND"},
            {"help", 0, " (the default)\n"},
            {"help", 0, "\nOptions of all commands:\n      --root=DIR              a copy"},
            {"help events", 0, "Usage: zulctl [OPTION...] events [OPTION...] [TAG...]"},
            {"events -h", 0, "  -f, --follow                go on"},
            {"config --help", 0, "a copy.\n\n  config show "},
            {"help config match", 0, "config match [OPTION...] TAG [PACKAGE]"},
            {"help mask", 0, "short: anr, log."},
            {"--version", 0, "--json is of version 1"},
            {"mask 1 --json", 0, "{\"v\":1"},
            {"mask -- -1", 0, "FLAG_ZUL_"},
            {"--root /nowhere -n 5 -S5m --until=5m", 3, "0 captures", "/nowhere: No such"},
    });
}

TEST(OutputTest, TellsWhenNobodyCanReadIt) {
    FILE* full = fopen("/dev/full", "w");
    EXPECT_EQ(zulctl::run({"zulctl", "mask"}, full, full), Status::PARTLY);
    fclose(full);
}

/** The number of blanks behind a text in a column of 40 cells. */
int blanksBehind(const std::string& text) {
    char* line = nullptr;
    size_t size = 0;
    FILE* file = open_memstream(&line, &size);
    Output out(file, false, false);
    Table(out, {{"A", "a", 40}, {"B"}}).row({text, "b"});
    fclose(file);
    const auto blanks = std::count(line, line + size, ' ');
    free(line);
    return static_cast<int>(blanks) - 2;
}

TEST(OutputTest, ColumnsAreOfATerminalsCells) {
    // Wide ones, those without a cell, others, and one that no C library knows.
    EXPECT_EQ(blanksBehind("\u1100\u4e00\uac00\uff01\U0001f600\U00020000"), 28);
    EXPECT_EQ(blanksBehind("\u0300\u200b\ufe0f"), 40);
    EXPECT_EQ(blanksBehind("\u00e9\u0416\u2713\uff71"), 36);
    EXPECT_EQ(blanksBehind("\U0003fffd"), 39);
}

constexpr char kManual[] = "/src/docs/man/zulctl.1";

size_t countOf(const std::string& text, const std::string& part) {
    return zul::split(text + "|", part).size() - 1;
}

TEST(ManualTest, HasTheCommandsAndOptionsThatThereAre) {
    // Options of all commands stand before the first one, and those of a command behind its name.
    const std::vector<std::string> parts = zul::split(zul::test::readFile(kManual), "\n.It Cm ");
    ASSERT_EQ(parts.size() - 1, commands().size() + 2) << "mask has three forms";
    size_t options = 0;
    const auto expectOptions = [&](const std::string& start, std::span<const Option> wanted) {
        const auto part = std::find_if(parts.begin(), parts.end(), [&](const std::string& each) {
            return each.starts_with(start);
        });
        ASSERT_NE(part, parts.end()) << start;
        for (const Option& option : wanted) {
            const std::string letter = std::string("Fl ") + option.letter + " , ";
            const std::string forms = (option.letter != 0 ? letter : "") + "Fl -" + option.name;
            EXPECT_EQ(countOf(*part, "\n.It " + forms), 1u) << start << forms;
            options++;
        }
    };
    expectOptions(".", globalOptions());
    for (const Command* command : commands())
        expectOptions(command->name, command->options);
    EXPECT_EQ(countOf(zul::test::readFile(kManual), "\n.It Fl "), options);
}

TEST(ManualTest, TellsEveryOutcome) {
    for (int i = 0; i <= static_cast<int>(Outcome::INTERRUPTED); i++) {
        const std::string name = outcomeName(static_cast<Outcome>(i));
        EXPECT_EQ(countOf(zul::test::readFile(kManual), "\n.It " + name + "\n"), 1u) << name;
    }
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
