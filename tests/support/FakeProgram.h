// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <signal.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace zul::test {

/** While one lives, a program is a script of the shell, or missing where there is no script. */
class FakeProgram {
  public:
    explicit FakeProgram(const std::string& path, const std::string& script = "") : mPath(path) {
        std::filesystem::rename(path, path + ".away");
        if (script.empty()) return;
        std::ofstream(path) << "#!/bin/sh\n" << script;
        std::filesystem::permissions(path, std::filesystem::perms::all);
    }
    ~FakeProgram() { std::filesystem::rename(mPath + ".away", mPath); }
    FakeProgram(const FakeProgram&) = delete;
    FakeProgram& operator=(const FakeProgram&) = delete;

  private:
    const std::string mPath;
};

/** While one lives, SIGUSR1 does nothing but interrupt. */
class InterruptingSignal {
  public:
    InterruptingSignal() {
        struct sigaction quiet = {};
        quiet.sa_handler = [](int) {};
        sigaction(SIGUSR1, &quiet, &mBefore);
    }
    ~InterruptingSignal() { sigaction(SIGUSR1, &mBefore, nullptr); }

  private:
    struct sigaction mBefore = {};
};

/** A script that interrupts the daemon's wait for it by that, and then ends as others do. */
inline constexpr char kInterrupting[] =
        "kill -USR1 $PPID\nsleep 0.05\nkill -USR1 $PPID\nsleep 0.05\nexit 3\n";

}  // namespace zul::test
