// SPDX-License-Identifier: Apache-2.0

/**
 * with_socket NAME COMMAND [ARGUMENT...]: runs a command in its own place, with the control socket NAME
 * as init's option `socket` gives it to a service.
 *
 * Unlike init, which knows that its service is gone, it leaves a socket that somebody serves alone.
 * Exit status 2 when the socket cannot be made or the command cannot run, after a line that says why.
 */
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

int refuse(const std::string& what, const char* why) {
    fprintf(stderr, "with_socket: %s: %s\n", what.c_str(), why);
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) return refuse("usage", "with_socket NAME COMMAND [ARGUMENT...]");
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    snprintf(address.sun_path, sizeof(address.sun_path), ANDROID_SOCKET_DIR "/%s", argv[1]);
    const auto* name = reinterpret_cast<const sockaddr*>(&address);

    // Not close-on-exec. Only a socket whose owner is gone refuses, or one that is not listened on yet.
    int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    if (connect(fd, name, sizeof(address)) == 0)
        return refuse(address.sun_path, "another process serves it");
    if (errno == ECONNREFUSED) unlink(address.sun_path);
    if (bind(fd, name, sizeof(address)) != 0) return refuse(address.sun_path, strerror(errno));

    setenv((std::string(ANDROID_SOCKET_ENV_PREFIX) + argv[1]).c_str(), std::to_string(fd).c_str(),
           1);
    execvp(argv[2], argv + 2);
    return refuse(std::string("cannot run ") + argv[2], strerror(errno));
}
