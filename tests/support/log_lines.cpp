// SPDX-License-Identifier: Apache-2.0
//
// Prints the daemon's lines of the log on standard input, each as "PID TID PRIORITY TEXT".

#include <iostream>

#include "tests/support/LogLine.h"

int main() {
    std::ios::sync_with_stdio(false);
    for (std::string text; std::getline(std::cin, text);) {
        const auto line = zul::test::parseLogLine(text);
        if (!line || !line->isOfDaemon()) continue;
        std::cout << line->pid << ' ' << line->tid << ' ' << line->priority << ' ' << line->text
                  << '\n';
    }
}
