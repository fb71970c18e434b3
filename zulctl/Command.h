// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stddef.h>
#include <stdio.h>

#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zulctl {

class Session;

/** The program's exit status. */
enum class Status {
    FINE = 0,
    /** Nothing matched, or a check failed. */
    NOTHING = 1,
    WRONG_CALL = 2,
    /** Something could not be read; the rest was shown. */
    PARTLY = 3,
};

/** An option. Parsing, help and shell completion all come from these. */
struct Option {
    /** 0 for none. */
    char letter;
    /** Without dashes; every option has one. */
    const char* name;
    /** What it takes, as the help shows it; null for nothing. */
    const char* value;
    const char* help;
};

/** What was given behind a command. */
struct Arguments {
    std::vector<std::pair<const Option*, std::string>> options;
    std::vector<std::string> operands;

    bool has(std::string_view name) const { return value(name) != nullptr; }
    /** The value of an option, of several the last; null when it was not given. */
    const std::string* value(std::string_view name) const;
};

struct Command {
    /** One word or two. */
    const char* name;
    /** As the help shows them. */
    const char* operands;
    size_t fewestOperands;
    size_t mostOperands;
    const char* summary;
    /** Lines of the help behind the options; may be empty. */
    const char* details;
    std::span<const Option> options;
    Status (*run)(Session& session, const Arguments& arguments);
};

inline constexpr size_t kAnyNumber = static_cast<size_t>(-1);

/** All commands, in the order of the help. */
std::span<const Command* const> commands();
/** Runs when no command is named; null for none. */
const Command* defaultCommand();
/** Options of all commands, which may stand before or behind the command. */
std::span<const Option> globalOptions();

/** The help of one command, or of all. */
std::string helpOf(const Command& command);
std::string helpOfAll();

/** The whole program. Prints to `out` and `err`; the exit status. */
Status run(const std::vector<std::string>& arguments, FILE* out, FILE* err);

}  // namespace zulctl
