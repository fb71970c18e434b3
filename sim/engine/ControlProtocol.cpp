// SPDX-License-Identifier: Apache-2.0
#include "sim/engine/ControlProtocol.h"

#include <errno.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <utility>

namespace sim {
namespace {

// Both ends are the same machine, so numbers travel in its own byte order.
class BodyWriter {
  public:
    template <class T>
    BodyWriter& number(T value) {
        mBody.append(reinterpret_cast<const char*>(&value), sizeof(value));
        return *this;
    }
    BodyWriter& text(std::string_view value) {
        number(static_cast<uint32_t>(value.size()));
        mBody.append(value);
        return *this;
    }
    std::string take() { return std::move(mBody); }

  private:
    std::string mBody;
};

class BodyReader {
  public:
    explicit BodyReader(std::string_view body) : mRest(body) {}

    template <class T>
    bool number(T* value) {
        if (mRest.size() < sizeof(T)) {
            return false;
        }
        memcpy(value, mRest.data(), sizeof(T));
        mRest.remove_prefix(sizeof(T));
        return true;
    }
    template <class Enum>
    bool choice(Enum* value, Enum last) {
        uint8_t raw = 0;
        if (!number(&raw) || raw > static_cast<uint8_t>(last)) {
            return false;
        }
        *value = static_cast<Enum>(raw);
        return true;
    }
    bool text(std::string* value) {
        uint32_t size = 0;
        if (!number(&size) || size > kMaxTextBytes || size > mRest.size()) {
            return false;
        }
        value->assign(mRest.substr(0, size));
        mRest.remove_prefix(size);
        return value->find('\0') == std::string::npos;
    }
    bool atEnd() const { return mRest.empty(); }

  private:
    std::string_view mRest;
};

using Clock = std::chrono::steady_clock;

bool receiveAll(int fd, Clock::time_point deadline, char* data, size_t size) {
    while (size > 0) {
        int waitMs = -1;
        if (deadline != Clock::time_point::max()) {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
            waitMs = static_cast<int>(std::max<int64_t>(left.count(), 0));
        }
        pollfd waiting{fd, POLLIN, 0};
        const int ready = poll(&waiting, 1, waitMs);
        if (ready < 0 && errno == EINTR) {
            continue;
        }
        if (ready <= 0) {
            return false;
        }
        const ssize_t got = recv(fd, data, size, MSG_DONTWAIT);
        if (got < 0 && (errno == EINTR || errno == EAGAIN)) {
            continue;
        }
        if (got <= 0) {
            return false;
        }
        data += got;
        size -= static_cast<size_t>(got);
    }
    return true;
}

}  // namespace

std::string encode(const ControlRequest& request) {
    const Event& event = request.event;
    return BodyWriter()
            .number(request.command)
            .number(request.callbacks)
            .number(request.count)
            .number(request.parallel)
            .number(event.kind)
            .text(event.sceneType)
            .number(event.flag)
            .number(event.pid)
            .text(event.multiPid)
            .text(event.extraInfo)
            .take();
}

bool decode(std::string_view body, ControlRequest* request) {
    BodyReader reader(body);
    Event& event = request->event;
    return reader.choice(&request->command, Command::STATUS) &&
           reader.number(&request->callbacks) && reader.number(&request->count) &&
           reader.number(&request->parallel) && reader.choice(&event.kind, EventKind::MULTI) &&
           reader.text(&event.sceneType) && reader.number(&event.flag) &&
           reader.number(&event.pid) && reader.text(&event.multiPid) &&
           reader.text(&event.extraInfo) && reader.atEnd() && request->count >= 1 &&
           request->count <= kMaxEvents && request->parallel >= 1 &&
           request->parallel <= kMaxParallel;
}

std::string encode(const ControlReply& reply) {
    return BodyWriter()
            .number(reply.kind)
            .number(reply.number)
            .number(static_cast<uint8_t>(reply.answered))
            .number(reply.micros)
            .text(std::string_view(reply.status).substr(0, kMaxTextBytes))
            .take();
}

bool decode(std::string_view body, ControlReply* reply) {
    BodyReader reader(body);
    uint8_t answered = 0;
    const bool good = reader.choice(&reply->kind, ReplyKind::REFUSED) &&
                      reader.number(&reply->number) && reader.number(&answered) &&
                      reader.number(&reply->micros) && reader.text(&reply->status) &&
                      reader.atEnd();
    reply->answered = answered != 0;
    return good;
}

UniqueFd connectToControl() {
    UniqueFd fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    static_assert(sizeof(kControlSocket) <= sizeof(address.sun_path));
    memcpy(address.sun_path, kControlSocket, sizeof(kControlSocket));
    if (connect(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        const int error = errno;
        fd = UniqueFd();
        errno = error;
    }
    return fd;
}

bool sendFrame(int fd, std::string_view body) {
    const std::string frame = BodyWriter().text(body).take();
    std::string_view rest = frame;
    while (!rest.empty()) {
        const ssize_t sent = send(fd, rest.data(), rest.size(), MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR) {
            continue;
        }
        if (sent <= 0) {
            return false;
        }
        rest.remove_prefix(static_cast<size_t>(sent));
    }
    return true;
}

bool receiveFrame(int fd, int limitMs, std::string* body) {
    const auto deadline = limitMs < 0 ? Clock::time_point::max()
                                      : Clock::now() + std::chrono::milliseconds(limitMs);
    uint32_t size = 0;
    if (!receiveAll(fd, deadline, reinterpret_cast<char*>(&size), sizeof(size)) ||
        size > kMaxFrameBytes) {
        return false;
    }
    body->resize(size);
    return receiveAll(fd, deadline, body->data(), size);
}

}  // namespace sim
