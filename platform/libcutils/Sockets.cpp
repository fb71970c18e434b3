// SPDX-License-Identifier: Apache-2.0
#include <cutils/sockets.h>

#include <ctype.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <charconv>
#include <string>
#include <string_view>

namespace {

std::string environmentName(std::string_view name) {
    std::string result = ANDROID_SOCKET_ENV_PREFIX;
    for (const char c : name)
        result += isalnum(static_cast<unsigned char>(c)) != 0 ? c : '_';
    return result;
}

/** The descriptor that the environment names, or -1. */
int descriptorFor(const char* name) {
    const char* value = getenv(environmentName(name).c_str());
    if (value == nullptr) return -1;
    int fd = -1;
    const char* end = value + strlen(value);
    const auto result = std::from_chars(value, end, fd);
    return result.ec == std::errc() && result.ptr == end && fd >= 0 ? fd : -1;
}

}  // namespace

int android_get_control_socket(const char* name) {
    const int fd = descriptorFor(name);
    sockaddr_un address{};
    socklen_t size = sizeof(address);
    if (fd < 0 || getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size) != 0) return -1;
    const std::string path = std::string(ANDROID_SOCKET_DIR "/") + name;
    return address.sun_family == AF_UNIX && path == address.sun_path ? fd : -1;
}
