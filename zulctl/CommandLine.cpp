// SPDX-License-Identifier: Apache-2.0

#include <errno.h>
#include <string.h>

#include <algorithm>
#include <charconv>
#include <numeric>
#include <utility>

#include "zulctl/Command.h"
#include "zulctl/Session.h"

namespace zulctl {

namespace {

/** Of a device, it is part of the build; what readers of --json go by is the number. */
constexpr char kVersion[] = "zulctl, not released yet; --json is of version 1\n";

/** The first word of a command with two; else nothing. */
std::string_view groupOf(const Command& command) {
    const std::string_view name = command.name;
    const size_t blank = name.find(' ');
    return name.substr(0, blank == name.npos ? 0 : blank);
}

/** How many letters have to be exchanged, added or taken away. */
size_t distance(std::string_view a, std::string_view b) {
    std::vector<size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), 0);
    for (size_t i = 1; i <= a.size(); i++) {
        size_t corner = std::exchange(row[0], i);
        for (size_t j = 1; j <= b.size(); j++) {
            const size_t exchanged = corner + (a[i - 1] != b[j - 1]);
            corner = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, exchanged});
        }
    }
    return row[b.size()];
}

std::string unknownCommand(const std::string& word) {
    std::string hint;
    size_t least = 3;
    for (const Command* command : commands()) {
        const std::string_view group = groupOf(*command);
        const std::string name(group.empty() ? command->name : group);
        const size_t apart = distance(word, name);
        if (apart < least) hint = ", did you mean " + name + "?";
        least = std::min(least, apart);
    }
    return "unknown command " + word + hint;
}

/** A call, taken apart in one pass. */
class Call {
  public:
    explicit Call(std::vector<std::string> words) : mWords(std::move(words)) {
        while (mNext < mWords.size() && wrong.empty()) {
            const std::string& word = mWords[mNext++];
            if (mOnlyOperands || word.size() < 2 || word[0] != '-') {
                takeWord(word);
            } else if (word == "--") {
                mOnlyOperands = true;
            } else if (word[1] == '-') {
                takeLong(word.substr(2));
            } else {
                takeLetters(word.substr(1));
            }
        }
        if (wrong.empty() && !options.help && !options.version) wrong = complaint();
    }

    /** The one that is named; else the first of all. */
    const Command* command = commands()[0];
    bool named = false;
    Options options;
    /** The first word of commands with two, where the second is missing. */
    std::string group;
    /** What is wrong with the call; empty for nothing. */
    std::string wrong;

  private:
    void takeWord(const std::string& word) {
        if (named) return options.operands.push_back(word);
        if (word == "help") {
            options.help = true;
            return;
        }
        const std::string name = group.empty() ? word : group + " " + word;
        for (const Command* each : commands()) {
            if (name == each->name) {
                if (each != command && !mEarly.empty()) wrong = "no option " + mEarly;
                named = true;
                command = each;
                group.clear();
                return;
            }
            if (name == groupOf(*each)) group = name;
        }
        if (group != name) wrong = unknownCommand(name);
    }

    /** Null, and a complaint, where there is none. */
    const Option* find(const std::string& name) {
        for (const std::span<const Option> known : {globalOptions(), command->options}) {
            for (const Option& option : known) {
                const std::string longName = std::string("--") + option.name;
                if (name != longName && name != std::string{'-', option.letter}) continue;
                if (!named && known.data() != globalOptions().data()) mEarly = longName;
                return &option;
            }
        }
        wrong = "unknown option " + name;
        return nullptr;
    }

    void takeLong(const std::string& text) {
        const size_t equal = text.find('=');
        const Option* const option = find("--" + text.substr(0, equal));
        if (option == nullptr) return;
        if (equal == std::string::npos) return take(*option);
        if (option->value != nullptr) return take(*option, text.substr(equal + 1));
        wrong = std::string("option --") + option->name + " takes no value";
    }

    void takeLetters(const std::string& letters) {
        for (size_t i = 0; i < letters.size(); i++) {
            const Option* const option = find({'-', letters[i]});
            if (option == nullptr) return;
            const bool hasValue = option->value != nullptr && i + 1 < letters.size();
            if (hasValue) return take(*option, letters.substr(i + 1));
            take(*option);
        }
    }

    /** A value that is not given with the option is the next word. */
    void take(const Option& option, std::optional<std::string> value = std::nullopt) {
        if (option.value != nullptr && !value) {
            if (mNext == mWords.size()) {
                wrong = std::string("option --") + option.name + " needs a value";
                return;
            }
            value = mWords[mNext++];
        }
        const auto set = [&](auto target) {
            auto& field = options.*target;
            using Field = std::decay_t<decltype(field)>;
            if constexpr (std::is_same_v<Field, bool>) {
                field = true;
            } else if constexpr (std::is_same_v<Field, std::optional<std::string>>) {
                field = value;
            } else if constexpr (std::is_same_v<Field, std::vector<std::string>>) {
                field.push_back(*value);
            } else {
                const char* const end = value->data() + value->size();
                const auto [stopped, error] = std::from_chars(value->data(), end, field.emplace());
                if (error == std::errc() && stopped == end) return;
                wrong = std::string("no number for --") + option.name + ": " + *value;
            }
        };
        std::visit(set, option.target);
    }

    /** What is wrong with the whole. */
    std::string complaint() const {
        const size_t count = options.operands.size();
        if (!group.empty()) return group + " needs one of its own commands";
        if (options.logs.size() > std::max(options.roots.size(), size_t{1})) {
            return "more --log than --root: each device has one";
        }
        if (count < command->fewestOperands) return std::string("needs ") + command->operands;
        if (count <= command->mostOperands) return "";
        return "too much: " + options.operands[command->mostOperands];
    }

    const std::vector<std::string> mWords;
    size_t mNext = 0;
    bool mOnlyOperands = false;
    /** An option of the default command's that stood before any command. */
    std::string mEarly;
};

/** Two columns. */
std::string helpLine(std::string name, std::string_view text) {
    name.resize(std::max(name.size() + 2, size_t{30}), ' ');
    return name.append(text);
}

std::string_view summaryOf(const Command& command) {
    return command.help.substr(0, command.help.find('\n'));
}

std::string optionLines(std::span<const Option> options) {
    std::string text;
    for (const Option& option : options) {
        std::string name = option.letter != 0 ? std::string("  -") + option.letter + "," : "     ";
        name.append(" --").append(option.name);
        if (option.value != nullptr) name.append("=").append(option.value);
        text += helpLine(name, option.help) + "\n";
    }
    return text;
}

/** A line for each command; for those of a group where one is named. */
std::string commandLines(const std::string& group) {
    std::string text;
    for (const Command* command : commands()) {
        if (!group.empty() && groupOf(*command) != group) continue;
        text += helpLine(std::string("  ") + command->name + " " + command->operands,
                         summaryOf(*command));
        text += command == commands()[0] ? " (the default)\n" : "\n";
    }
    return text;
}

std::string helpOf(const Call& call) {
    const Command& command = *call.command;
    std::string text = "Usage: zulctl [OPTION...] ";
    if (call.named) {
        text += command.name;
        if (!command.options.empty()) text += " [OPTION...]";
        if (*command.operands != '\0') text.append(" ").append(command.operands);
        text.append("\n\n").append(summaryOf(command)).append(".\n");
        if (!command.options.empty()) text += "\n" + optionLines(command.options);
    } else {
        text += "[COMMAND [OPTION...] [OPERAND...]]\n\n"
                "Shows and cleans what the capture daemon zuld keeps, on a device or in a "
                "copy.\n\n" +
                commandLines(call.group);
    }
    text += "\nOptions of all commands:\n" + optionLines(globalOptions());
    if (call.named) return text.append(command.help.substr(summaryOf(command).size())) + "\n";
    return text +
           "\nExit status: 0 fine; 1 nothing matched, or a check failed; 2 wrong call; 3 "
           "partly\nunreadable, the rest is shown. zulctl help COMMAND tells more.\n";
}

}  // namespace

Status run(const std::vector<std::string>& arguments, FILE* out, FILE* err) {
    const auto begin = arguments.begin() + (arguments.empty() ? 0 : 1);
    const Call call({begin, arguments.end()});
    Session session(call.options, *call.command, out, err);
    if (!call.wrong.empty()) {
        const std::string name = call.named ? std::string(call.command->name) + ": " : "";
        return session.wrongCall(name + call.wrong + " (--help tells more)");
    }
    const bool isQuestion = call.options.help || call.options.version;
    if (isQuestion) fputs(call.options.help ? helpOf(call).c_str() : kVersion, out);
    const Status status = isQuestion ? Status::FINE : call.command->run(session);
    if (!session.out().flush()) {
        session.problem(std::string("the output cannot be written: ") + strerror(errno));
    }
    return session.worst(status);
}

}  // namespace zulctl
