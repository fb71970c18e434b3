// SPDX-License-Identifier: Apache-2.0

#include <string>
#include <vector>

#include "base/Text.h"
#include "zulctl/Session.h"
#include "zulctl/commands/Commands.h"

namespace zulctl {

namespace {

// The shell gives "=" as a word of its own. An option is looked up behind the command that it belongs
// to, with "|" between.
constexpr char kHead[] = R"sh(# Completes zulctl in bash: eval "$(zulctl completion bash)"
_zulctl() {
    local current=$2 before=$3 command='' choices='' files='' i
    if [[ $current = '=' ]]; then
        current=''
    elif [[ $before = '=' ]]; then
        before=${COMP_WORDS[COMP_CWORD - 2]}
    fi
    for ((i = 1; i < COMP_CWORD; i++)); do
        case "$command|${COMP_WORDS[i]}" in
)sh";
constexpr char kSkip[] = R"sh()
                [[ ${COMP_WORDS[i + 1]-} != '=' ]] || ((++i))
                ((++i))
                ;;
            *'|-'*) ;;
            *) command+=${command:+ }${COMP_WORDS[i]} ;;
        esac
    done
    COMPREPLY=()
    case "$command|$before" in
)sh";
constexpr char kCommands[] = R"sh(    esac
    [[ -n $files ]] || case $command in
)sh";
constexpr char kTail[] = R"sh(    esac
    if [[ -n $files ]]; then
        compopt -o filenames 2>/dev/null || true
        mapfile -t COMPREPLY < <(compgen "$files" -- "$current")
    fi
    mapfile -t -O ${#COMPREPLY[@]} COMPREPLY < <(compgen -W "$choices" -- "$current")
}
complete -F _zulctl zulctl
)sh";

/** compgen's option for what an option's value or an operand is; empty for what is no file. */
std::string filesFor(std::string_view value) {
    if (zul::contains(value, "DIR")) return "-d";
    return zul::contains(value, "FILE") ? "-f" : "";
}

std::vector<std::string> spellings(const Option& option) {
    std::vector<std::string> all;
    if (option.letter != 0) all.push_back(std::string("-") + option.letter);
    all.push_back(std::string("--") + option.name);
    return all;
}

std::string choicesOf(std::span<const Option> options) {
    std::string choices;
    for (const Option& option : options) {
        for (const std::string& spelling : spellings(option))
            choices += (choices.empty() ? "" : " ") + spelling;
    }
    return choices;
}

/** The script, part by part. */
struct Script {
    /** Patterns of all options that take a value, and what each of them takes. */
    std::string takers;
    std::string values;
    /** What may follow the words of each command. */
    std::string branches;
    /** The first words of all commands. */
    std::string names;

    /** Adds the options of a command; of all commands for null. */
    void addValues(std::span<const Option> options, const Command* command);
    void addBranch(const std::string& pattern, const std::string& choices,
                   const std::string& files);
    void addCommand(const Command& command);
    void addGroup(const std::string& group);
};

void Script::addValues(std::span<const Option> options, const Command* command) {
    for (const Option& option : options) {
        if (option.value == nullptr) continue;
        std::string patterns;
        for (const std::string& spelling : spellings(option)) {
            // Right behind the command, behind its operands, and where no command is named.
            std::vector<std::string> places = {"*'"};
            if (command != nullptr) {
                const std::string name = std::string("'") + command->name;
                places = {name, name + " '*'"};
                if (command == defaultCommand()) places.emplace_back("'");
            }
            for (const std::string& place : places)
                patterns.append(patterns.empty() ? "" : " | ")
                        .append(place)
                        .append("|")
                        .append(spelling)
                        .append("'");
        }
        takers += (takers.empty() ? "            " : " | \\\n            ") + patterns;
        const std::string files = filesFor(option.value);
        values += "        " + patterns + ") " + (files.empty() ? "return" : "files=" + files) +
                  " ;;\n";
    }
}

void Script::addBranch(const std::string& pattern, const std::string& choices,
                       const std::string& files) {
    branches += "        " + pattern + ") choices='" + choices + "'" +
                (files.empty() ? "" : " files=" + files) + " ;;\n";
}

void Script::addGroup(const std::string& group) {
    std::string choices;
    for (const Command* command : commands()) {
        const std::vector<std::string> words = zul::split(command->name, " ");
        if (words.size() > 1 && words[0] == group)
            choices += (choices.empty() ? "" : " ") + words[1];
    }
    if (!choices.empty()) addBranch(group, choices, "");
}

void Script::addCommand(const Command& command) {
    addValues(command.options, &command);
    const std::string own = choicesOf(command.options);
    const std::string name = command.name;
    addBranch("'" + name + "' | '" + name + " '*",
              own + (own.empty() ? "" : " ") + choicesOf(globalOptions()),
              filesFor(command.operands));
    const std::string first = zul::split(name, " ")[0];
    if (zul::contains(" " + names, " " + first + " ")) return;
    names += first + " ";
    addGroup(first);
}

std::string script() {
    Script script;
    script.addValues(globalOptions(), nullptr);
    for (const Command* command : commands())
        script.addCommand(*command);
    script.addBranch(
            "''",
            script.names + choicesOf(defaultCommand()->options) + " " + choicesOf(globalOptions()),
            "");
    return kHead + script.takers + kSkip + script.values + kCommands + script.branches + kTail;
}

Status runCompletion(Session& session, const Arguments&) {
    const std::string text = script();
    session.out().line(text.substr(0, text.size() - 1));
    return Status::FINE;
}

}  // namespace

const Command kCompletionCommand = {"completion bash",
                                    "",
                                    0,
                                    0,
                                    "Completion of this program's words, for a shell",
                                    "In bash: eval \"$(zulctl completion bash)\".",
                                    {},
                                    runCompletion};

}  // namespace zulctl
