// SPDX-License-Identifier: Apache-2.0
#include "sim/control/Control.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>

#include <algorithm>
#include <utility>

namespace sim {
namespace {

/** More than three of the longest texts need when each byte of them is escaped. */
constexpr size_t kMaxLineBytes = 4 * 1024 * 1024;

}  // namespace

Control::Control(zul::ScopedFd fd, int limitSeconds) : mFd(std::move(fd)) {
    const timeval limit{limitSeconds, 0};
    if (limitSeconds == 0) return;
    for (const int direction : {SO_RCVTIMEO, SO_SNDTIMEO})
        setsockopt(mFd.get(), SOL_SOCKET, direction, &limit, sizeof(limit));
}

Control Control::connect() {
    zul::ScopedFd fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    static_assert(sizeof(kControlSocket) <= sizeof(address.sun_path));
    std::copy(std::begin(kControlSocket), std::end(kControlSocket), address.sun_path);
    if (::connect(fd.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) {
        fd = zul::ScopedFd(-1);
    }
    return Control(std::move(fd));
}

bool Control::send(std::string_view line) const {
    while (!line.empty()) {
        const ssize_t sent =
                TEMP_FAILURE_RETRY(::send(mFd.get(), line.data(), line.size(), MSG_NOSIGNAL));
        if (sent <= 0) return false;
        line.remove_prefix(static_cast<size_t>(sent));
    }
    return true;
}

bool Control::receive(std::string* line) {
    size_t end = 0;
    while ((end = mReceived.find('\n')) == std::string::npos) {
        char chunk[64 * 1024];
        const ssize_t got = TEMP_FAILURE_RETRY(recv(mFd.get(), chunk, sizeof(chunk), 0));
        if (got <= 0 || mReceived.size() > kMaxLineBytes) return false;
        mReceived.append(chunk, static_cast<size_t>(got));
    }
    *line = mReceived.substr(0, end);
    mReceived.erase(0, end + 1);
    return true;
}

std::string printable(std::string_view text) {
    std::string result;
    for (const unsigned char c : text) {
        char escaped[5] = {static_cast<char>(c)};
        if (c < 0x20 || c == 0x7f || c == '\\') snprintf(escaped, sizeof(escaped), "\\x%02x", c);
        result += escaped;
    }
    return result;
}

std::string joinWords(const std::vector<std::string>& words) {
    std::string line;
    for (const std::string& word : words)
        line += printable(word) + '\t';
    if (!line.empty()) line.back() = '\n';
    return line;
}

std::vector<std::string> splitWords(std::string_view line) {
    std::vector<std::string> words(1);
    for (size_t i = 0; i < line.size(); i++) {
        if (line[i] == '\t') {
            words.emplace_back();
        } else if (line[i] == '\\' && i + 3 < line.size()) {
            words.back() += static_cast<char>(
                    strtol(std::string(line.substr(i + 2, 2)).c_str(), nullptr, 16));
            i += 3;
        } else {
            words.back() += line[i];
        }
    }
    return words;
}

}  // namespace sim
