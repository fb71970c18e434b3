// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stddef.h>
#include <stdio.h>

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
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

/** All that a call can say; each command reads what its options set. */
struct Options {
    std::vector<std::string> roots;
    std::vector<std::string> logs;
    bool json = false;
    bool noLegend = false;
    bool help = false;
    bool version = false;

    std::optional<std::string> since;
    std::optional<std::string> until;
    std::optional<size_t> number;
    std::optional<std::string> states;
    std::optional<std::string> grep;
    bool byTag = false;
    bool dropped = false;
    bool follow = false;
    bool dryRun = false;
    bool force = false;
    bool left = false;
    bool unlisted = false;
    std::optional<std::string> olderThan;
    std::optional<std::string> size;
    std::optional<std::string> output;
    std::optional<std::string> with;

    std::vector<std::string> operands;
};

/** An option. Parsing and help come from these. */
struct Option {
    /** 0 for none. */
    char letter;
    /** Without dashes; every option has one. */
    const char* name;
    /** What it takes, as the help shows it; null for nothing. */
    const char* value;
    const char* help;
    /** What it sets; a list grows. */
    std::variant<bool Options::*, std::optional<size_t> Options::*,
                 std::optional<std::string> Options::*, std::vector<std::string> Options::*>
            target;
};

struct Command {
    /** One word or two. */
    const char* name;
    /** As the help shows them. */
    const char* operands;
    size_t fewestOperands;
    size_t mostOperands;
    /** A line that the list of commands has too, and behind it those that follow the options. */
    std::string_view help;
    std::span<const Option> options;
    /** Without a store there is nothing to tell. */
    bool needsStore;
    Status (*run)(Session& session);
};

inline constexpr size_t kAnyNumber = static_cast<size_t>(-1);

/** All commands, in the order of the help; the first one runs when none is named. */
std::span<const Command* const> commands();
/** Options of all commands, which may stand before or behind the command. */
std::span<const Option> globalOptions();

/** The whole program. Prints to `out` and `err`; the exit status. */
Status run(const std::vector<std::string>& arguments, FILE* out, FILE* err);

}  // namespace zulctl
