// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "zulctl/Command.h"
#include "zulctl/Events.h"

namespace zulctl::test {

namespace {

/** The options of each command, by its name; of all commands by "". */
using OptionsByCommand = std::map<std::string, std::set<std::string>>;

std::set<std::string> namesOf(std::span<const Option> options) {
    std::set<std::string> names;
    for (const Option& option : options) {
        names.insert(std::string("--") + option.name);
        if (option.letter != 0) names.insert(std::string("-") + option.letter);
    }
    return names;
}

std::string readManual() {
    std::ifstream file("/src/docs/man/zulctl.1");
    return {std::istreambuf_iterator<char>(file), {}};
}

/** What items of the manual begin with: ".It Cm NAME", and ".It Fl LETTER , Fl -NAME" of options. */
OptionsByCommand readItems(const std::string& manual) {
    OptionsByCommand items;
    std::string command;
    std::istringstream lines(manual);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string macro;
        std::string kind;
        words >> macro >> kind;
        if (macro != ".It" || (kind != "Cm" && kind != "Fl")) continue;
        if (kind == "Cm") command.clear();
        std::string before = kind;
        for (std::string word; words >> word && word != "Ar" && word != "Op"; before = word) {
            if (kind == "Cm") command += (command.empty() ? "" : " ") + word;
            if (kind == "Fl" && before == "Fl") items[command].insert("-" + word);
        }
        items[command];
    }
    return items;
}

TEST(ManualTest, HasTheCommandsAndOptionsThatThereAre) {
    OptionsByCommand expected;
    expected[""] = namesOf(globalOptions());
    for (const Command* command : commands())
        expected[command->name] = namesOf(command->options);
    EXPECT_EQ(readItems(readManual()), expected);
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
