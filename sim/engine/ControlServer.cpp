// SPDX-License-Identifier: Apache-2.0
#include "sim/engine/ControlServer.h"

#include <cutils/sockets.h>
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <chrono>
#include <thread>

#include "sim/engine/ControlProtocol.h"
#include "sim/engine/EventSeries.h"

namespace sim {
namespace {

constexpr int kRequestLimitMs = 5000;
constexpr timeval kSendLimit{5, 0};
constexpr std::chrono::milliseconds kWaitLimit{30000};

}  // namespace

std::string ControlServer::open() {
    UniqueFd listener(android_get_control_socket(kControlName));
    if (!listener.isOpen()) {
        return std::string("init has passed no socket ") + kControlName;
    }
    if (fcntl(listener.get(), F_SETFD, FD_CLOEXEC) != 0 ||
        listen(listener.get(), kMaxClients) != 0) {
        return std::string("cannot listen on ") + kControlSocket + ": " + strerror(errno);
    }
    mListener = std::move(listener);
    return "";
}

void ControlServer::enter() {
    std::unique_lock lock(mClientLock);
    mClientLeft.wait(lock, [this] { return mClients < kMaxClients; });
    mClients++;
}

void ControlServer::leave() {
    std::lock_guard lock(mClientLock);
    mClients--;
    mClientLeft.notify_one();
}

void ControlServer::serve() {
    for (;;) {
        enter();
        const int client = accept4(mListener.get(), nullptr, nullptr, SOCK_CLOEXEC);
        if (client < 0) {
            leave();
            // Out of descriptors is the one lasting reason; running clients will give some back.
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            continue;
        }
        std::thread([this, client] {
            serveClient(client);
            leave();
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
