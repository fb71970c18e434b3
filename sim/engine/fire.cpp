// SPDX-License-Identifier: Apache-2.0
#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <sys/socket.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "sim/UniqueFd.h"
#include "sim/engine/ControlProtocol.h"
#include "sim/engine/FireCommand.h"

namespace {

using sim::Command;
using sim::ControlReply;
using sim::ControlRequest;
using sim::ReplyKind;

constexpr int kExitAllAnswered = 0;
constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;
constexpr int kExitNoCallback = 3;

int fail(int status, const std::string& why) {
    fflush(stdout);
    fprintf(stderr, "fire: %s\n", why.c_str());
    return status;
}

// A scene may hold any byte, and a line break in it must not look like a line of ours.
std::string printable(std::string_view text) {
    std::string result;
    for (const unsigned char c : text) {
        if (c >= 0x20 && c != 0x7f) {
            result += static_cast<char>(c);
            continue;
        }
        char escaped[5];
        snprintf(escaped, sizeof(escaped), "\\x%02x", c);
        result += escaped;
    }
    return result;
}

/** Prints the events of a request as they end, and what they amount to. */
class EventPrinter {
  public:
    explicit EventPrinter(const sim::Event& event)
          : mName(std::string(kindName(event.kind)) + " " + printable(event.sceneType)) {}

    void print(const ControlReply& reply) {
        const std::string outcome =
                reply.answered ? "ok" : "FAILED (" + printable(reply.status) + ")";
        printf("event %u %s %s %.1f ms\n", reply.number, mName.c_str(), outcome.c_str(),
               toMs(reply.micros));
        mMicros.push_back(reply.micros);
        mAnswered += reply.answered ? 1 : 0;
    }
    void printSummary() {
        std::sort(mMicros.begin(), mMicros.end());
        printf("series %zu events, %zu ok, %zu failed, median %.1f ms, longest %.1f ms\n",
               mMicros.size(), mAnswered, mMicros.size() - mAnswered,
               toMs(mMicros[mMicros.size() / 2]), toMs(mMicros.back()));
    }
    size_t ended() const { return mMicros.size(); }
    size_t answered() const { return mAnswered; }

  private:
    static double toMs(int64_t micros) { return static_cast<double>(micros) / 1000; }

    const std::string mName;
    std::vector<int64_t> mMicros;
    size_t mAnswered = 0;
};

int finish(const ControlRequest& request, const ControlReply& done, EventPrinter* printer) {
    if (request.command == Command::STATUS) {
        printf("callbacks %u\n", done.number);
        return kExitAllAnswered;
    }
    if (request.command == Command::WAIT) {
        printf("callbacks %u\n", done.number);
        return done.number >= request.callbacks
                       ? kExitAllAnswered
                       : fail(kExitFailed, "waited in vain for " +
                                                   std::to_string(request.callbacks) +
                                                   " callbacks");
    }
    if (done.number == 0) {
        return fail(kExitNoCallback, "no callback is registered");
    }
    if (printer->ended() != request.count) {
        return fail(kExitFailed, "the engine skipped events");
    }
    if (request.count > 1) {
        printer->printSummary();
    }
    return printer->answered() == request.count ? kExitAllAnswered : kExitFailed;
}

int run(const ControlRequest& request) {
    sim::UniqueFd engine(sim::connectToControl());
    if (!engine.isOpen()) {
        return fail(kExitFailed,
                    std::string("no engine at ") + sim::kControlSocket + ": " + strerror(errno));
    }
    if (!sim::sendFrame(engine.get(), encode(request))) {
        return fail(kExitFailed, "the engine does not take the request");
    }

    EventPrinter printer(request.event);
    std::string body;
    ControlReply reply;
    while (sim::receiveFrame(engine.get(), -1, &body) && decode(body, &reply)) {
        switch (reply.kind) {
            case ReplyKind::EVENT:
                printer.print(reply);
                break;
            case ReplyKind::DONE:
                return finish(request, reply, &printer);
            case ReplyKind::REFUSED:
                return fail(kExitFailed, "refused by the engine: " + printable(reply.status));
        }
    }
    return fail(kExitFailed, "the engine went away after " + std::to_string(printer.ended()) +
                                     " of " + std::to_string(request.count) + " events");
}

}  // namespace

int main(int argc, char** argv) {
    setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    const std::vector<std::string_view> words(argv + std::min(argc, 1), argv + argc);
    if (words.size() == 1 && words[0] == "--help") {
        fputs(sim::kFireHelp, stdout);
        return 0;
    }
    ControlRequest request;
    if (const std::string error = sim::parseFireCommand(words, &request); !error.empty()) {
        return fail(kExitUsage, printable(error) + "; see fire --help");
    }
    return run(request);
}
