// SPDX-License-Identifier: Apache-2.0
#include <signal.h>
#include <stdio.h>

#include <limits>
#include <optional>
#include <string>
#include <string_view>

#include "sim/control/Numbers.h"
#include "sim/engine/ControlServer.h"
#include "sim/engine/EngineCore.h"

namespace {

constexpr int kExitRefused = 2;

struct Options {
    std::string (*publish)(sim::EngineCore&) = nullptr;
    std::optional<int32_t> threadNumber;
    sim::DieIn dieIn = sim::DieIn::NEVER;
};

bool setOption(std::string_view name, const std::string& value, Options* options) {
    if (name == "--mode" && (value == "hidl" || value == "aidl")) {
        options->publish = value == "hidl" ? sim::publishHidl : sim::publishAidl;
        return true;
    }
    if (name == "--threads") {
        using Limits = std::numeric_limits<int32_t>;
        const auto number = sim::parseDecimal(value, Limits::min(), Limits::max());
        if (number) {
            options->threadNumber = static_cast<int32_t>(*number);
        }
        return number.has_value();
    }
    if (name == "--die-in" && (value == "thread-number" || value == "register")) {
        options->dieIn = value == "register" ? sim::DieIn::REGISTER : sim::DieIn::THREAD_NUMBER;
        return true;
    }
    return false;
}

int refuse(const std::string& why) {
    fprintf(stderr, "engine: %s\n", why.c_str());
    return kExitRefused;
}

int refuseUsage(const std::string& why) {
    return refuse(why +
                  "; usage: zul_engine --mode hidl|aidl --threads NUMBER"
                  " [--die-in thread-number|register]");
}

}  // namespace

int main(int argc, char** argv) {
    // What starts the engine reads its lines through a pipe, as they come, and may stop reading.
    setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    signal(SIGPIPE, SIG_IGN);

    Options options;
    for (int i = 1; i < argc; i += 2) {
        if (i + 1 == argc) {
            return refuseUsage(std::string(argv[i]) + " needs a value");
        }
        if (!setOption(argv[i], argv[i + 1], &options)) {
            return refuseUsage(std::string("invalid: ") + argv[i] + " " + argv[i + 1]);
        }
    }
    if (options.publish == nullptr || !options.threadNumber) {
        return refuseUsage("--mode and --threads are required");
    }

    static sim::EngineCore core(*options.threadNumber, options.dieIn);
    zul::ScopedFd control(-1);
    if (const std::string error = sim::openControl(&control); !error.empty()) return refuse(error);
    if (const std::string error = options.publish(core); !error.empty()) return refuse(error);
    printf("engine: ready\n");
    sim::serveControl(control, core.callbacks());
}
