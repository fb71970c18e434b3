// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "zulctl/Command.h"
#include "zulctl/log/Events.h"

namespace zulctl::test {

namespace {

std::string readManual() {
    std::ifstream file("/src/docs/man/zulctl.1");
    return {std::istreambuf_iterator<char>(file), {}};
}

size_t countOf(const std::string& text, const std::string& part) {
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        count++;
    return count;
}

TEST(ManualTest, HasTheCommandsAndOptionsThatThereAre) {
    // Options of all commands stand before the first one, and those of a command behind its name.
    const std::string manual = readManual();
    size_t options = 0;
    const auto expectOptions = [&](size_t begin, std::span<const Option> wanted) {
        ASSERT_NE(begin, std::string::npos);
        const std::string part = manual.substr(begin, manual.find("\n.It Cm ", begin + 1) - begin);
        for (const Option& option : wanted) {
            const std::string letter = std::string("Fl ") + option.letter + " , ";
            EXPECT_EQ(countOf(part,
                              "\n.It " + (option.letter != 0 ? letter : "") + "Fl -" + option.name),
                      1u)
                    << option.name;
            options++;
        }
    };
    expectOptions(0, globalOptions());
    for (const Command* command : commands()) {
        SCOPED_TRACE(command->name);
        expectOptions(manual.find(std::string("\n.It Cm ") + command->name), command->options);
    }
    EXPECT_EQ(countOf(manual, "\n.It Cm "), commands().size() + 2) << "mask has three forms";
    EXPECT_EQ(countOf(manual, "\n.It Fl "), options);
}

TEST(ManualTest, TellsEveryOutcome) {
    const std::string manual = readManual();
    for (int i = 0; i <= static_cast<int>(Outcome::INTERRUPTED); i++) {
        EXPECT_THAT(manual, testing::HasSubstr(std::string("\n.It ") +
                                               outcomeName(static_cast<Outcome>(i)) + "\n"));
    }
}

}  // namespace

}  // namespace zulctl::test
