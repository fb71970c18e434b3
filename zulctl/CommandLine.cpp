// SPDX-License-Identifier: Apache-2.0

#include <errno.h>
#include <getopt.h>
#include <string.h>

#include <algorithm>
#include <optional>

#include "base/Text.h"
#include "zulctl/Command.h"
#include "zulctl/Session.h"

namespace zulctl {

namespace {

/** Long options without a letter come from getopt_long as numbers from here on. */
constexpr int kFirstLongOption = 256;

/** One pass of getopt_long over some options, to the end or to the first word that is none. */
class OptionParser {
  public:
    OptionParser(std::initializer_list<std::span<const Option>> groups, bool stopAtWord) {
        mLetters = stopAtWord ? "+:" : ":";
        for (const std::span<const Option> group : groups) {
            for (const Option& option : group)
                add(option);
        }
        mLongOptions.push_back({});
    }

    /**
     * Takes `words` apart: options, and what is none. Empty, or what is wrong. Behind a word at which it
     * stopped, everything counts as an operand.
     */
    std::string parse(const std::vector<std::string>& words, Arguments& result) {
        std::vector<std::string> storage = {"zulctl"};
        storage.insert(storage.end(), words.begin(), words.end());
        std::vector<char*> argv;
        argv.reserve(storage.size() + 1);
        for (std::string& word : storage)
            argv.push_back(word.data());
        argv.push_back(nullptr);
        const int argc = static_cast<int>(storage.size());

        opterr = 0;
        optind = 0;
        int found;
        while ((found = getopt_long(argc, argv.data(), mLetters.c_str(), mLongOptions.data(),
                                    nullptr)) != -1) {
            if (found == '?' || found == ':') return complaint(found, argv[optind - 1]);
            result.options.emplace_back(optionOf(found), optarg != nullptr ? optarg : "");
        }
        for (int i = optind; i < argc; i++)
            result.operands.emplace_back(argv[i]);
        return "";
    }

  private:
    void add(const Option& option) {
        const int takes = option.value != nullptr ? required_argument : no_argument;
        const int code = kFirstLongOption + static_cast<int>(mOptions.size());
        mLongOptions.push_back({option.name, takes, nullptr, code});
        mOptions.push_back(&option);
        if (option.letter == 0) return;
        mLetters += option.letter;
        if (option.value != nullptr) mLetters += ':';
    }

    const Option* optionOf(int found) const {
        if (found >= kFirstLongOption)
            return mOptions[static_cast<size_t>(found - kFirstLongOption)];
        return *std::find_if(mOptions.begin(), mOptions.end(),
                             [&](const Option* option) { return option->letter == found; });
    }

    static std::string complaint(int found, const char* word) {
        const std::string option = optopt > 0 && optopt < kFirstLongOption
                                           ? std::string("-") + static_cast<char>(optopt)
                                           : std::string(word);
        return found == ':' ? "option " + option + " needs a value" : "unknown option " + option;
    }

    std::string mLetters;
    std::vector<option> mLongOptions;
    std::vector<const Option*> mOptions;
};

/** The command that the first words name, which are taken off; null when there is none. */
const Command* takeCommand(std::vector<std::string>& words) {
    for (const Command* command : commands()) {
        const std::vector<std::string> name = zul::split(command->name, " ");
        if (words.size() < name.size() || !std::equal(name.begin(), name.end(), words.begin()))
            continue;
        words.erase(words.begin(), words.begin() + static_cast<ptrdiff_t>(name.size()));
        return command;
    }
    return nullptr;
}

std::string unknownCommand(const std::vector<std::string>& words) {
    std::string text = "unknown command " + words[0];
    for (const Command* command : commands()) {
        const std::vector<std::string> name = zul::split(command->name, " ");
        if (name.size() == 2 && name[0] == words[0])
            text = words[0] + " needs one of its own commands";
    }
    return text;
}

/** A call, taken apart. */
struct Call {
    const Command* command = nullptr;
    Arguments arguments;
    /** The command stands in the call itself. */
    bool named = false;
    bool help = false;
};

bool owns(const Command& command, const Option* option) {
    const auto is = [&](const Option& own) { return &own == option; };
    return std::any_of(command.options.begin(), command.options.end(), is) ||
           std::any_of(globalOptions().begin(), globalOptions().end(), is);
}

/** Empty, or what is wrong with the call. */
std::string parseCall(const std::vector<std::string>& words, Call& call) {
    const Command* fallback = defaultCommand();
    const std::span<const Option> fallbackOptions =
            fallback != nullptr ? fallback->options : std::span<const Option>();

    Arguments front;
    std::string wrong = OptionParser({globalOptions(), fallbackOptions}, true).parse(words, front);
    if (!wrong.empty()) return wrong;
    std::vector<std::string> rest = std::move(front.operands);
    call.arguments.options = std::move(front.options);
    call.help = call.arguments.has("help");
    call.named = !rest.empty();
    call.command = rest.empty() ? fallback : takeCommand(rest);
    if (call.command == nullptr) return rest.empty() ? "no command" : unknownCommand(rest);

    for (const auto& [option, value] : call.arguments.options) {
        if (!owns(*call.command, option)) {
            return std::string(call.command->name) + " has no option --" + option->name;
        }
    }
    wrong = OptionParser({globalOptions(), call.command->options}, false)
                    .parse(rest, call.arguments);
    if (!wrong.empty()) return std::string(call.command->name) + ": " + wrong;
    call.help = call.arguments.has("help");
    const size_t count = call.arguments.operands.size();
    if (!call.help && count < call.command->fewestOperands) {
        return std::string(call.command->name) + " needs " + call.command->operands;
    }
    if (!call.help && count > call.command->mostOperands) {
        return std::string(call.command->name) +
               ": too much: " + call.arguments.operands[call.command->mostOperands];
    }
    return "";
}

std::string optionLine(const Option& option) {
    std::string text =
            option.letter != 0 ? std::string("  -") + option.letter + ", --" : "      --";
    text += option.name;
    if (option.value != nullptr) text.append("=").append(option.value);
    text.resize(std::max(text.size() + 2, size_t{30}), ' ');
    return text + option.help + "\n";
}

std::optional<std::string> optional(const Arguments& arguments, std::string_view name) {
    const std::string* value = arguments.value(name);
    return value != nullptr ? std::optional(*value) : std::nullopt;
}

}  // namespace

const std::string* Arguments::value(std::string_view name) const {
    for (auto given = options.rbegin(); given != options.rend(); ++given) {
        if (given->first->name == name) return &given->second;
    }
    return nullptr;
}

std::string helpOf(const Command& command) {
    std::string text = std::string("Usage: zulctl [OPTION...] ") + command.name;
    if (!command.options.empty()) text += " [OPTION...]";
    if (*command.operands != '\0') text.append(" ").append(command.operands);
    text.append("\n\n").append(command.summary).append(".\n");
    if (!command.options.empty()) text += "\n";
    for (const Option& option : command.options)
        text += optionLine(option);
    text += "\nOptions of all commands:\n";
    for (const Option& option : globalOptions())
        text += optionLine(option);
    if (*command.details != '\0') text.append("\n").append(command.details).append("\n");
    return text;
}

std::string helpOfAll() {
    std::string text =
            "Usage: zulctl [OPTION...] [COMMAND [OPTION...] [OPERAND...]]\n\n"
            "Shows and cleans what the capture daemon zuld keeps, on a device or in a copy.\n\n";
    for (const Command* command : commands()) {
        std::string line = std::string("  ") + command->name + " " + command->operands;
        line.resize(std::max(line.size() + 2, size_t{30}), ' ');
        text += line + command->summary + (command == defaultCommand() ? " (the default)\n" : "\n");
    }
    text += "\nOptions of all commands:\n";
    for (const Option& option : globalOptions())
        text += optionLine(option);
    text += "\nExit status: 0 fine; 1 nothing matched, or a check failed; 2 wrong call; 3 partly\n"
            "unreadable, the rest is shown. zulctl COMMAND --help tells more.\n";
    return text;
}

Status run(const std::vector<std::string>& arguments, FILE* out, FILE* err) {
    Call call;
    const std::vector<std::string> words(arguments.begin() + (arguments.empty() ? 0 : 1),
                                         arguments.end());
    const std::string wrong = parseCall(words, call);
    if (call.help && (wrong.empty() || call.command == nullptr)) {
        const bool one = call.named && call.command != nullptr;
        fputs((one ? helpOf(*call.command) : helpOfAll()).c_str(), out);
        return fflush(out) == 0 ? Status::FINE : Status::PARTLY;
    }
    if (!wrong.empty()) {
        fprintf(err, "zulctl: %s (--help tells more)\n", printable(wrong).c_str());
        return Status::WRONG_CALL;
    }

    const Arguments& given = call.arguments;
    Session session({.root = optional(given, "root"),
                     .log = optional(given, "log"),
                     .json = given.has("json"),
                     .legend = !given.has("no-legend")},
                    call.command->name, out, err);
    const Status status = call.command->run(session, given);
    if (fflush(out) != 0 || ferror(out) != 0) {
        session.problem(std::string("the output cannot be written: ") + strerror(errno));
    }
    return status != Status::WRONG_CALL && session.hadProblem() ? Status::PARTLY : status;
}

}  // namespace zulctl
