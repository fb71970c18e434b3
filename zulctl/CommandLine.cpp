// SPDX-License-Identifier: Apache-2.0

#include <errno.h>
#include <string.h>

#include <algorithm>
#include <charconv>
#include <functional>

#include "base/Text.h"
#include "zulctl/Command.h"
#include "zulctl/Session.h"

namespace zulctl {

namespace {

/** Of a device, it is part of the build; what readers of --json go by is the number. */
constexpr char kVersion[] = "zulctl, not released yet; --json is of version 1\n";

/** A call, taken apart in one pass. */
struct Call {
    /** The one that is named; else the first of all. */
    const Command* command = commands()[0];
    bool named = false;
    Options options;
    /** The first word of commands with two, where the second is missing. */
    std::string group;
    /** What is wrong with the call; empty for nothing. */
    std::string wrong;
    std::vector<const Option*> given;
};

size_t wordsOf(const Command& command) {
    return zul::split(command.name, " ").size();
}

std::string groupOf(const Command& command) {
    return wordsOf(command) > 1 ? zul::split(command.name, " ")[0] : "";
}

/** How many letters have to be exchanged, added or taken away. */
size_t distance(std::string_view a, std::string_view b) {
    std::vector<size_t> row(b.size() + 1);
    for (size_t j = 0; j <= b.size(); j++)
        row[j] = j;
    for (size_t i = 1; i <= a.size(); i++) {
        size_t corner = row[0];
        row[0] = i;
        for (size_t j = 1; j <= b.size(); j++) {
            const size_t above = row[j];
            row[j] = std::min({above + 1, row[j - 1] + 1, corner + (a[i - 1] != b[j - 1])});
            corner = above;
        }
    }
    return row[b.size()];
}

std::string unknownCommand(const std::string& word) {
    std::string nearest;
    size_t least = 3;
    for (const Command* command : commands()) {
        const std::string group = groupOf(*command);
        const std::string name = group.empty() ? command->name : group;
        const size_t apart = distance(word, name);
        if (apart < least) nearest = name;
        least = std::min(least, apart);
    }
    return "unknown command " + word + (nearest.empty() ? "" : ", did you mean " + nearest + "?");
}

class Parser {
  public:
    explicit Parser(std::vector<std::string> words) : mWords(std::move(words)) {}

    Call parse() {
        for (mNext = 0; mNext < mWords.size() && mCall.wrong.empty(); mNext++) {
            const std::string& word = mWords[mNext];
            if (mOnlyOperands || word.size() < 2 || word[0] != '-') {
                takeWord();
            } else if (word == "--") {
                mOnlyOperands = true;
            } else if (word[1] == '-') {
                takeLong(word.substr(2));
            } else {
                takeLetters(word.substr(1));
            }
        }
        checkWhole();
        return std::move(mCall);
    }

  private:
    void takeWord() {
        if (mCall.named) {
            mCall.options.operands.push_back(mWords[mNext]);
            return;
        }
        const std::string& word = mWords[mNext];
        if (word == "help") {
            mCall.options.help = true;
            return;
        }
        for (const Command* command : commands()) {
            const std::vector<std::string> name = zul::split(command->name, " ");
            if (mWords.size() - mNext < name.size()) continue;
            const auto begin = mWords.begin() + static_cast<ptrdiff_t>(mNext);
            if (!std::equal(name.begin(), name.end(), begin)) continue;
            mCall.command = command;
            mCall.named = true;
            mNext += name.size() - 1;
            return;
        }
        const auto isOfGroup = [&](const Command* each) { return groupOf(*each) == word; };
        if (mCall.group.empty() && std::any_of(commands().begin(), commands().end(), isOfGroup)) {
            mCall.group = word;
        } else {
            mCall.wrong = unknownCommand(mCall.group.empty() ? word : mCall.group + " " + word);
        }
    }

    const Option* find(const std::function<bool(const Option&)>& fits) const {
        for (const std::span<const Option> options : {globalOptions(), mCall.command->options}) {
            const auto found = std::find_if(options.begin(), options.end(), fits);
            if (found != options.end()) return &*found;
        }
        return nullptr;
    }

    void takeLong(const std::string& text) {
        const size_t equal = text.find('=');
        const std::string name = text.substr(0, equal);
        const Option* option = find([&](const Option& each) { return each.name == name; });
        if (option == nullptr) {
            mCall.wrong = "unknown option --" + name;
        } else if (equal == std::string::npos) {
            set(*option, nullptr);
        } else if (option->value == nullptr) {
            mCall.wrong = "option --" + name + " takes no value";
        } else {
            const std::string value = text.substr(equal + 1);
            set(*option, &value);
        }
    }

    void takeLetters(std::string letters) {
        while (!letters.empty() && mCall.wrong.empty()) {
            const Option* option =
                    find([&](const Option& each) { return each.letter == letters[0]; });
            if (option == nullptr) {
                mCall.wrong = std::string("unknown option -") + letters[0];
                return;
            }
            letters.erase(0, 1);
            if (option->value == nullptr || letters.empty()) {
                set(*option, nullptr);
            } else {
                set(*option, &letters);
                return;
            }
        }
    }

    /** A value that is not given with the option is the next word. */
    void set(const Option& option, const std::string* value) {
        mCall.given.push_back(&option);
        Options& options = mCall.options;
        if (const auto* flag = std::get_if<bool Options::*>(&option.target)) {
            options.** flag = true;
            return;
        }
        if (value == nullptr && mNext + 1 == mWords.size()) {
            mCall.wrong = std::string("option --") + option.name + " needs a value";
            return;
        }
        const std::string text = value != nullptr ? *value : mWords[++mNext];
        if (const auto* list = std::get_if<std::vector<std::string> Options::*>(&option.target)) {
            (options.**list).push_back(text);
        } else if (const auto* one =
                           std::get_if<std::optional<std::string> Options::*>(&option.target)) {
            options.** one = text;
        } else {
            size_t number = 0;
            const char* const end = text.data() + text.size();
            const auto [stopped, error] = std::from_chars(text.data(), end, number);
            if (error != std::errc() || stopped != end || text.empty()) {
                mCall.wrong = std::string("no number for --") + option.name + ": " + text;
            }
            options.**std::get_if<std::optional<size_t> Options::*>(&option.target) = number;
        }
    }

    void checkWhole() {
        const Command& command = *mCall.command;
        const Options& options = mCall.options;
        if (options.help || options.version) return;
        if (mCall.wrong.empty() && !mCall.group.empty()) {
            mCall.wrong = mCall.group + " needs one of its own commands";
        }
        for (const Option* option : mCall.given) {
            const auto is = [&](const Option& own) { return &own == option; };
            if (mCall.wrong.empty() &&
                std::none_of(command.options.begin(), command.options.end(), is) &&
                std::none_of(globalOptions().begin(), globalOptions().end(), is)) {
                mCall.wrong = std::string("no option --") + option->name;
            }
        }
        if (options.logs.size() > std::max(options.roots.size(), size_t{1})) {
            mCall.wrong = "more --log than --root: each device has one";
        }
        const size_t count = options.operands.size();
        if (mCall.wrong.empty() && count < command.fewestOperands) {
            mCall.wrong = std::string("needs ") + command.operands;
        } else if (mCall.wrong.empty() && count > command.mostOperands) {
            mCall.wrong = "too much: " + options.operands[command.mostOperands];
        }
    }

    const std::vector<std::string> mWords;
    size_t mNext = 0;
    bool mOnlyOperands = false;
    Call mCall;
};

std::string optionLines(std::span<const Option> options) {
    std::string text;
    for (const Option& option : options) {
        std::string line =
                option.letter != 0 ? std::string("  -") + option.letter + ", --" : "      --";
        line += option.name;
        if (option.value != nullptr) line.append("=").append(option.value);
        line.resize(std::max(line.size() + 2, size_t{30}), ' ');
        text.append(line).append(option.help).append("\n");
    }
    return text;
}

/** A line for each command; for those of a group where one is named. */
std::string commandLines(const std::string& group) {
    std::string text;
    for (const Command* command : commands()) {
        if (!group.empty() && groupOf(*command) != group) continue;
        std::string line = std::string("  ") + command->name + " " + command->operands;
        line.resize(std::max(line.size() + 2, size_t{30}), ' ');
        text += line + command->summary + (command == commands()[0] ? " (the default)\n" : "\n");
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
        text.append("\n\n").append(command.summary).append(".\n");
        if (!command.options.empty()) text += "\n" + optionLines(command.options);
    } else {
        text += "[COMMAND [OPTION...] [OPERAND...]]\n\n"
                "Shows and cleans what the capture daemon zuld keeps, on a device or in a "
                "copy.\n\n" +
                commandLines(call.group);
    }
    text += "\nOptions of all commands:\n" + optionLines(globalOptions()) + "\n";
    if (!call.named) {
        return text +
               "Exit status: 0 fine; 1 nothing matched, or a check failed; 2 wrong call; 3 "
               "partly\nunreadable, the rest is shown. zulctl help COMMAND tells more.\n";
    }
    return *command.details != '\0' ? text + command.details + "\n" : text;
}

}  // namespace

Status run(const std::vector<std::string>& arguments, FILE* out, FILE* err) {
    const auto begin = arguments.begin() + (arguments.empty() ? 0 : 1);
    const Call call = Parser({begin, arguments.end()}).parse();
    Session session(call.options, *call.command, out, err);
    if (!call.wrong.empty()) {
        const std::string name = call.named ? std::string(call.command->name) + ": " : "";
        return session.wrongCall(name + call.wrong + " (--help tells more)");
    }
    Status status = Status::FINE;
    if (call.options.help || call.options.version) {
        fputs(call.options.help ? helpOf(call).c_str() : kVersion, out);
    } else {
        status = call.command->run(session);
    }
    if (fflush(out) != 0 || ferror(out) != 0) {
        session.problem(std::string("the output cannot be written: ") + strerror(errno));
    }
    return session.worst(status);
}

}  // namespace zulctl
