// SPDX-License-Identifier: Apache-2.0
#include "sim/engine/ControlServer.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "sim/engine/ControlProtocol.h"
#include "sim/engine/EventSeries.h"

namespace sim {
namespace {

constexpr int kRequestLimitMs = 5000;
constexpr timeval kSendLimit{5, 0};
constexpr std::chrono::milliseconds kWaitLimit{30000};

std::string describe(const char* what) {
    return std::string(what) + " " + kControlSocket + ": " + strerror(errno);
}

}  // namespace

std::string ControlServer::open() {
    if (connectToControl().isOpen()) {
        return std::string("the name is taken: another engine serves ") + kControlSocket;
    }
    // Only a socket whose owner is gone refuses; it would keep bind() from succeeding.
    if (errno == ECONNREFUSED) {
        unlink(kControlSocket);
    }

    UniqueFd listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!listener.isOpen()) {
        return describe("cannot make the socket");
    }
    const sockaddr_un address = controlAddress();
    if (bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        return describe("cannot bind");
    }
    if (listen(listener.get(), kMaxClients) != 0) {
        return describe("cannot listen on");
    }
    mListener = std::move(listener);
    return "";
}

void ControlServer::serve() {
    for (;;) {
        mSlots.acquire();
        const int client = accept4(mListener.get(), nullptr, nullptr, SOCK_CLOEXEC);
        if (client < 0) {
            mSlots.release();
            // Out of descriptors is the one lasting reason; running clients will give some back.
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            continue;
        }
        std::thread([this, client] {
            serveClient(client);
            mSlots.release();
        }).detach();
    }
}

void ControlServer::serveClient(int client) {
    UniqueFd owner(client);
    setsockopt(client, SOL_SOCKET, SO_SNDTIMEO, &kSendLimit, sizeof(kSendLimit));

    std::string body;
    ControlRequest request;
    if (!receiveFrame(client, kRequestLimitMs, &body) || !decode(body, &request)) {
        fprintf(stderr, "engine: a malformed control request was refused\n");
        ControlReply refusal;
        refusal.kind = ReplyKind::REFUSED;
        refusal.status = "malformed request";
        sendFrame(client, encode(refusal));
        return;
    }
    if (request.command == Command::FIRE) {
        fire(client, request);
        return;
    }
    ControlReply done;
    done.number = request.command == Command::WAIT
                          ? mCallbacks.waitFor(request.callbacks, kWaitLimit)
                          : mCallbacks.size();
    sendFrame(client, encode(done));
}

void ControlServer::fire(int client, const ControlRequest& request) {
    const CallbackList::Sinks sinks = mCallbacks.all();
    if (!sinks.empty()) {
        runSeries(sinks, request.event, request.count, request.parallel,
                  [client](const EventResult& result) {
                      ControlReply reply;
                      reply.kind = ReplyKind::EVENT;
                      reply.number = result.number;
                      reply.answered = result.delivery.answered;
                      reply.micros = result.took.count();
                      reply.status = result.delivery.status;
                      return sendFrame(client, encode(reply));
                  });
    }
    ControlReply done;
    done.number = sinks.size();
    sendFrame(client, encode(done));
}

}  // namespace sim
