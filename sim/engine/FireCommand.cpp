// SPDX-License-Identifier: Apache-2.0
#include "sim/engine/FireCommand.h"

#include <algorithm>
#include <iterator>
#include <limits>

#include "sim/engine/Numbers.h"

namespace sim {

const char kFireHelp[] =
        "Reports events to the clients of a running zul_engine.\n"
        "\n"
        "  fire [--count N] [--parallel K] zul SCENE FLAG PID EXTRA\n"
        "  fire [--count N] [--parallel K] simp SCENE PID\n"
        "  fire [--count N] [--parallel K] simpmulti SCENE PIDS\n"
        "  fire [--count N] [--parallel K] multi SCENE FLAG PIDS EXTRA\n"
        "      Sends N events (1 to 100000, else 1), K of them at once (1 to 64, else 1). Event i\n"
        "      goes to callback i modulo the number of callbacks. FLAG is a 64-bit number in\n"
        "      decimal, octal (0...) or hexadecimal (0x...), also negative.\n"
        "  fire wait N\n"
        "      Waits up to 30 seconds until N callbacks are registered.\n"
        "  fire status\n"
        "      Prints the number of registered callbacks.\n"
        "\n"
        "Exit status: 0 all answered; 1 an event failed, the wait ran out or there is no engine;\n"
        "2 wrong usage; 3 no callback is registered.\n";

namespace {

enum class Field { SCENE, FLAG, PID, PIDS, EXTRA };

struct KindSyntax {
    const char* word;
    EventKind kind;
    std::vector<Field> fields;
};

const std::vector<KindSyntax>& kindSyntaxes() {
    static const std::vector<KindSyntax> syntaxes = {
            {"simp", EventKind::SIMP, {Field::SCENE, Field::PID}},
            {"zul", EventKind::ZUL, {Field::SCENE, Field::FLAG, Field::PID, Field::EXTRA}},
            {"simpmulti", EventKind::SIMP_MULTI, {Field::SCENE, Field::PIDS}},
            {"multi", EventKind::MULTI, {Field::SCENE, Field::FLAG, Field::PIDS, Field::EXTRA}},
    };
    return syntaxes;
}

std::string setText(std::string_view word, std::string* text) {
    if (word.size() > kMaxTextBytes) {
        return "a text is longer than " + std::to_string(kMaxTextBytes) + " bytes";
    }
    *text = word;
    return "";
}

std::string notA(const char* what, std::string_view word) {
    return "'" + std::string(word) + "' is no " + what;
}

std::string setField(Field field, std::string_view word, Event* event) {
    switch (field) {
        case Field::SCENE:
            return setText(word, &event->sceneType);
        case Field::PIDS:
            return setText(word, &event->multiPid);
        case Field::EXTRA:
            return setText(word, &event->extraInfo);
        case Field::FLAG:
            if (const auto flag = parseMask(word)) {
                event->flag = *flag;
                return "";
            }
            return notA("64-bit number", word);
        case Field::PID:
            using Limits = std::numeric_limits<int32_t>;
            if (const auto pid = parseDecimal(word, Limits::min(), Limits::max())) {
                event->pid = static_cast<int32_t>(*pid);
                return "";
            }
            return notA("process id", word);
    }
    return "";
}

std::string setCount(std::string_view word, uint32_t lowest, uint32_t highest, uint32_t* number) {
    const auto value = parseDecimal(word, lowest, highest);
    if (!value) {
        return notA("number from ", word) + std::to_string(lowest) + " to " +
               std::to_string(highest);
    }
    *number = static_cast<uint32_t>(*value);
    return "";
}

std::string parseEvent(const std::vector<std::string_view>& words, Event* event) {
    const auto& syntaxes = kindSyntaxes();
    const auto syntax = std::find_if(syntaxes.begin(), syntaxes.end(),
                                     [&](const auto& it) { return it.word == words[0]; });
    if (syntax == syntaxes.end()) {
        return "unknown command '" + std::string(words[0]) + "'";
    }
    if (words.size() != syntax->fields.size() + 1) {
        return std::string(syntax->word) + " takes " + std::to_string(syntax->fields.size()) +
               " arguments, not " + std::to_string(words.size() - 1);
    }
    event->kind = syntax->kind;
    for (size_t i = 0; i < syntax->fields.size(); ++i) {
        if (std::string error = setField(syntax->fields[i], words[i + 1], event); !error.empty()) {
            return error;
        }
    }
    return "";
}

}  // namespace

const char* kindName(EventKind kind) {
    for (const KindSyntax& syntax : kindSyntaxes()) {
        if (syntax.kind == kind) {
            return syntax.word;
        }
    }
    return "?";
}

std::string parseFireCommand(const std::vector<std::string_view>& words, ControlRequest* request) {
    auto next = words.begin();
    while (next != words.end() && next->starts_with("--")) {
        const bool isCount = *next == "--count";
        if (!isCount && *next != "--parallel") {
            return "unknown option '" + std::string(*next) + "'";
        }
        if (std::next(next) == words.end()) {
            return std::string(*next) + " lacks a value";
        }
        std::string error = setCount(next[1], 1, isCount ? kMaxEvents : kMaxParallel,
                                     isCount ? &request->count : &request->parallel);
        if (!error.empty()) {
            return error;
        }
        next += 2;
    }

    const std::vector<std::string_view> rest(next, words.end());
    if (rest.empty()) {
        return "no command is given";
    }
    if (rest[0] == "wait" || rest[0] == "status") {
        const bool isWait = rest[0] == "wait";
        request->command = isWait ? Command::WAIT : Command::STATUS;
        if (next != words.begin() || rest.size() != (isWait ? 2 : 1)) {
            return isWait ? "wait takes one argument and no option"
                          : "status takes no argument and no option";
        }
        return isWait ? setCount(rest[1], 0, kMaxEvents, &request->callbacks) : "";
    }
    request->command = Command::FIRE;
    return parseEvent(rest, &request->event);
}

}  // namespace sim
