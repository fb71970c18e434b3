// SPDX-License-Identifier: Apache-2.0
#include "sim/control/Command.h"

#include <algorithm>
#include <iterator>
#include <limits>

#include "sim/control/Control.h"
#include "sim/control/Numbers.h"

namespace sim {

const char kFireHelp[] =
        "Reports events to the clients of a running zul_engine.\n"
        "\n"
        "  fire [--count N] [--parallel K] zul SCENE FLAG PID EXTRA\n"
        "  fire [--count N] [--parallel K] simp SCENE PID\n"
        "  fire [--count N] [--parallel K] simpmulti SCENE PIDS\n"
        "  fire [--count N] [--parallel K] multi SCENE FLAG PIDS EXTRA\n"
        "      Sends N events (1 to 100000, default 1), K of them at once (1 to 64, default 1). "
        "Event i\n"
        "      goes to callback i modulo the number of callbacks. FLAG is a 64-bit number in\n"
        "      decimal, octal (0...) or hexadecimal (0x...); it may be negative.\n"
        "  fire wait N\n"
        "      Waits up to 30 seconds until N callbacks are registered.\n"
        "  fire status\n"
        "      Prints the number of registered callbacks.\n"
        "\n"
        "Exit status: 0 all answered; 1 an event failed, the wait timed out or there is no "
        "engine;\n"
        "2 wrong usage; 3 no callback is registered.\n";

namespace {

constexpr size_t kMaxTextBytes = 256 * 1024;
constexpr uint32_t kMaxEvents = 100000;
constexpr uint32_t kMaxParallel = 64;

enum class Field { SCENE, FLAG, PID, PIDS, EXTRA };

const struct {
    const char* word;
    EventKind kind;
    std::vector<Field> fields;
} kKinds[] = {
        {"simp", EventKind::SIMP, {Field::SCENE, Field::PID}},
        {"zul", EventKind::ZUL, {Field::SCENE, Field::FLAG, Field::PID, Field::EXTRA}},
        {"simpmulti", EventKind::SIMP_MULTI, {Field::SCENE, Field::PIDS}},
        {"multi", EventKind::MULTI, {Field::SCENE, Field::FLAG, Field::PIDS, Field::EXTRA}},
};

std::string notA(const std::string& what, const std::string& word) {
    return "'" + word + "' is not a " + what;
}

std::string setField(Field field, const std::string& word, Event* event) {
    using Limits = std::numeric_limits<int32_t>;
    if (field == Field::FLAG) {
        const auto flag = parseMask(word);
        event->flag = flag.value_or(0);
        return flag ? "" : notA("64-bit number", word);
    }
    if (field == Field::PID) {
        const auto pid = parseDecimal(word, Limits::min(), Limits::max());
        event->pid = static_cast<int32_t>(pid.value_or(0));
        return pid ? "" : notA("process id", word);
    }
    std::string& text = field == Field::SCENE  ? event->sceneType
                        : field == Field::PIDS ? event->multiPid
                                               : event->extraInfo;
    text = word;
    const bool fits = word.size() <= kMaxTextBytes;
    return fits ? "" : "a text is longer than " + std::to_string(kMaxTextBytes) + " bytes";
}

std::string setCount(const std::string& word, uint32_t lowest, uint32_t highest, uint32_t* number) {
    const auto value = parseDecimal(word, lowest, highest);
    *number = static_cast<uint32_t>(value.value_or(0));
    return value ? ""
                 : notA("number from " + std::to_string(lowest) + " to " + std::to_string(highest),
                        word);
}

std::string parseEvent(const std::vector<std::string>& words, Command* command) {
    const auto kind = std::find_if(std::begin(kKinds), std::end(kKinds),
                                   [&](const auto& it) { return it.word == words[0]; });
    if (kind == std::end(kKinds)) return "unknown command '" + words[0] + "'";
    if (words.size() != kind->fields.size() + 1) {
        return words[0] + " takes " + std::to_string(kind->fields.size()) + " arguments, not " +
               std::to_string(words.size() - 1);
    }
    command->what = Command::FIRE;
    command->name = words[0] + ' ' + printable(words[1]);
    command->event.kind = kind->kind;
    std::string error;
    for (size_t i = 1; i < words.size() && error.empty(); i++)
        error = setField(kind->fields[i - 1], words[i], &command->event);
    return error;
}

}  // namespace

std::string parseCommand(const std::vector<std::string>& words, Command* command) {
    auto next = words.begin();
    while (next != words.end() && next->starts_with("--")) {
        const bool isCount = *next == "--count";
        if (!isCount && *next != "--parallel") return "unknown option '" + *next + "'";
        if (std::next(next) == words.end()) return *next + " needs a value";
        const std::string error = setCount(next[1], 1, isCount ? kMaxEvents : kMaxParallel,
                                           isCount ? &command->count : &command->parallel);
        if (!error.empty()) return error;
        next += 2;
    }

    const std::vector<std::string> rest(next, words.end());
    if (rest.empty()) return "no command given";
    const bool isWait = rest[0] == "wait";
    if (!isWait && rest[0] != "status") return parseEvent(rest, command);
    command->what = isWait ? Command::WAIT : Command::STATUS;
    if (next != words.begin() || rest.size() != (isWait ? 2 : 1)) {
        return isWait ? "wait takes one argument and no options"
                      : "status takes no arguments or options";
    }
    return isWait ? setCount(rest[1], 0, kMaxEvents, &command->callbacks) : "";
}

}  // namespace sim
