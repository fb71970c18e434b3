// SPDX-License-Identifier: Apache-2.0
#include "sim/engine/ControlServer.h"

#include <cutils/sockets.h>
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/socket.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>
#include <vector>

#include "sim/control/Command.h"
#include "sim/control/Control.h"

namespace sim {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kStepLimitSeconds = 5;
constexpr std::chrono::milliseconds kWaitLimit{30000};

std::string inMs(double ms) {
    char text[32];
    snprintf(text, sizeof(text), "%.1f ms", ms);
    return text;
}

/** What `fire` ends with. */
std::string exitLine(int status, const std::string& why = "") {
    return kExit + std::to_string(status) + (why.empty() ? "" : ' ' + why) + '\n';
}

/**
 * Sends the events, so many in flight at once, and reports each when it is answered or has failed. Event i
 * goes to callback i modulo their number. Once nobody listens no further event starts.
 */
std::string fire(const Control& client, const Command& command, const CallbackList::Sinks& sinks) {
    if (sinks.empty()) return exitLine(kExitNoCallback, "no callback is registered");
    std::atomic<uint32_t> next{0};
    std::atomic<bool> listening{true};
    std::mutex lock;  // guards what follows, and keeps lines apart
    std::vector<double> times;
    uint32_t answered = 0;

    auto work = [&] {
        for (uint32_t i = 0; listening && (i = next++) < command.count;) {
            const auto start = Clock::now();
            const Delivery delivery = sinks[i % sinks.size()]->deliver(command.event);
            const std::chrono::duration<double, std::milli> took = Clock::now() - start;
            const std::string outcome =
                    delivery.answered ? "ok" : "FAILED (" + printable(delivery.status) + ")";
            std::lock_guard guard(lock);
            times.push_back(took.count());
            answered += delivery.answered;
            if (!client.send("event " + std::to_string(i) + ' ' + command.name + ' ' + outcome +
                             ' ' + inMs(took.count()) + '\n'))
                listening = false;
        }
    };
    std::vector<std::thread> workers;
    for (uint32_t i = 1; i < std::min(command.parallel, command.count); i++)
        workers.emplace_back(work);
    work();
    for (std::thread& worker : workers)
        worker.join();

    std::sort(times.begin(), times.end());
    std::string summary;
    if (command.count > 1) {
        summary = "series " + std::to_string(times.size()) + " events, " +
                  std::to_string(answered) + " ok, " + std::to_string(times.size() - answered) +
                  " failed, median " + inMs(times[times.size() / 2]) + ", longest " +
                  inMs(times.back()) + '\n';
    }
    return summary + exitLine(answered == command.count ? 0 : 1);
}

std::string answer(const Control& client, const Command& command, CallbackList& callbacks) {
    if (command.what == Command::FIRE) return fire(client, command, callbacks.all());
    const size_t wanted = command.callbacks;
    const size_t registered = callbacks.waitFor(wanted, kWaitLimit);
    const std::string line = "callbacks " + std::to_string(registered) + '\n';
    if (registered >= wanted) return line + exitLine(0);
    return line + exitLine(1, "timed out waiting for " + std::to_string(wanted) + " callbacks");
}

void serveClient(Control client, CallbackList& callbacks) {
    std::string line;
    if (!client.receive(&line)) return;
    Command command;
    const std::string error = parseCommand(splitWords(line), &command);
    client.send(error.empty() ? answer(client, command, callbacks)
                              : exitLine(kExitUsage, printable(error)));
}

}  // namespace

std::string openControl(zul::ScopedFd* listener) {
    *listener = zul::ScopedFd(android_get_control_socket(kControlName));
    if (!listener->ok()) return std::string("init passed no socket ") + kControlName;
    if (fcntl(listener->get(), F_SETFD, FD_CLOEXEC) != 0 || listen(listener->get(), 16) != 0) {
        return std::string("cannot listen on ") + kControlSocket + ": " + strerror(errno);
    }
    return "";
}

void serveControl(const zul::ScopedFd& listener, CallbackList& callbacks) {
    for (;;) {
        const int client = accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC);
        if (client < 0) {
            // Out of descriptors is the one lasting reason; clients that end will give some back.
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            continue;
        }
        std::thread([client, &callbacks] {
            serveClient(Control(zul::ScopedFd(client), kStepLimitSeconds), callbacks);
        }).detach();
    }
}

}  // namespace sim
