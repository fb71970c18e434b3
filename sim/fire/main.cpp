// SPDX-License-Identifier: Apache-2.0
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <string>
#include <vector>

#include "sim/control/Command.h"
#include "sim/control/Control.h"

namespace {

int fail(int status, const std::string& why) {
    fflush(stdout);
    fprintf(stderr, "fire: %s\n", why.c_str());
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    const std::vector<std::string> words(argv + std::min(argc, 1), argv + argc);
    if (words == std::vector<std::string>{"--help"}) {
        fputs(sim::kFireHelp, stdout);
        return 0;
    }
    // The engine parses them again; errors are reported even where no engine runs.
    sim::Command command;
    if (const std::string error = sim::parseCommand(words, &command); !error.empty())
        return fail(sim::kExitUsage, sim::printable(error) + "; see fire --help");

    sim::Control engine = sim::Control::connect();
    if (!engine.isOpen()) {
        return fail(1, std::string("no engine at ") + sim::kControlSocket + ": " + strerror(errno));
    }
    if (!engine.send(sim::joinWords(words)))
        return fail(1, "the engine does not accept the request");
    size_t events = 0;
    for (std::string line; engine.receive(&line); events++) {
        if (!line.starts_with(sim::kExit)) {
            puts(line.c_str());
            continue;
        }
        const int status = atoi(line.c_str() + strlen(sim::kExit));
        const size_t why = line.find(' ', strlen(sim::kExit));
        return why == std::string::npos ? status : fail(status, line.substr(why + 1));
    }
    return fail(1, "the engine went away after " + std::to_string(events) + " of " +
                           std::to_string(command.count) + " events");
}
