// SPDX-License-Identifier: Apache-2.0

/**
 * with_socket NAME COMMAND [ARGUMENT...]: runs a command in its own place, with the control socket NAME
 * as init's option `socket` gives it to a service.
 *
 * Unlike init, which knows that its service is gone, it leaves a socket that somebody serves alone.
 * Exit status 2 when there is no socket to be had or no command to run, after a line that says why.
 */
#include <ctype.h>
#include <cutils/sockets.h>
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <string>

namespace {

int refuse(const std::string& why) {
    fprintf(stderr, "with_socket: %s\n", why.c_str());
    return 2;
}

/** A socket that is bound and not close-on-exec; -1 with `errno`, which is EADDRINUSE when served. */
int bindSocket(const sockaddr_un& address) {
    const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    const auto* name = reinterpret_cast<const sockaddr*>(&address);
    if (fd < 0 || bind(fd, name, sizeof(address)) == 0) return fd;
    if (errno != EADDRINUSE) return -1;
    // Only a socket whose owner is gone refuses, or one that is not listened on yet.
    if (connect(fd, name, sizeof(address)) == 0 || errno != ECONNREFUSED) {
        errno = EADDRINUSE;
        return -1;
    }
    unlink(address.sun_path);
    return bind(fd, name, sizeof(address)) == 0 ? fd : -1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) return refuse("usage: with_socket NAME COMMAND [ARGUMENT...]");
    const std::string path = std::string(ANDROID_SOCKET_DIR "/") + argv[1];
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof(address.sun_path)) return refuse("too long a name: " + path);
    memcpy(address.sun_path, path.c_str(), path.size());

    const int fd = bindSocket(address);
    if (fd < 0) {
        return refuse(path + ": " +
                      (errno == EADDRINUSE ? "the name is taken: another process serves it"
                                           : strerror(errno)));
    }
    std::string variable = std::string(ANDROID_SOCKET_ENV_PREFIX) + argv[1];
    for (char& c : variable)
        if (isalnum(static_cast<unsigned char>(c)) == 0) c = '_';
    setenv(variable.c_str(), std::to_string(fd).c_str(), 1);
    execvp(argv[2], argv + 2);
    return refuse(std::string("cannot run ") + argv[2] + ": " + strerror(errno));
}
