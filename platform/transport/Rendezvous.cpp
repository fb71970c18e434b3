// SPDX-License-Identifier: Apache-2.0
#include "Rendezvous.h"

#include <android/log.h>
#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <sys/inotify.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>

#include "Log.h"

namespace transport {

namespace {

constexpr int kBacklog = 128;

constexpr char kFolder[] = "/dev/socket/";

std::string addressOf(const std::string& domain, const std::string& name) {
    return kFolder + addressFile(domain, name);
}

bool fill(const std::string& path, sockaddr_un* address) {
    *address = {};
    address->sun_family = AF_UNIX;
    if (path.size() >= sizeof(address->sun_path)) return false;
    memcpy(address->sun_path, path.c_str(), path.size());
    return true;
}

android::status_t fail(const std::string& name, const char* what, android::status_t status) {
    __android_log_print(ANDROID_LOG_ERROR, kLogTag, "service %s: %s", name.c_str(), what);
    return status;
}

}  // namespace

std::string addressFile(const std::string& domain, const std::string& name) {
    // Names contain slashes and may contain dots; the escape character keeps the mapping one to one.
    std::string file = domain + ".";
    for (char c : name) {
        if (c == '/') {
            file += "%2F";
        } else if (c == '%') {
            file += "%25";
        } else {
            file += c;
        }
    }
    return file;
}

android::status_t takeAddress(const std::string& domain, const std::string& name,
                              FileDescriptor* listener) {
    static std::atomic<int> count{0};
    const std::string path = addressOf(domain, name);
    sockaddr_un address;
    if (name.empty() || name.find('\0') != std::string::npos || !fill(path, &address)) {
        return fail(name, "invalid name", android::BAD_VALUE);
    }
    // Listens before it gets its name: whoever learns of the name finds the service.
    const std::string unnamed =
            kFolder + ("%" + std::to_string(getpid()) + "." + std::to_string(count++));
    fill(unnamed, &address);
    unlink(unnamed.c_str());
    *listener = FileDescriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (bind(listener->get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0 ||
        listen(listener->get(), kBacklog) != 0 || rename(unnamed.c_str(), path.c_str()) != 0) {
        return fail(name, strerror(errno), -errno);
    }
    return android::OK;
}

Arrivals::Arrivals() : mEvents(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
    if (inotify_add_watch(mEvents.get(), kFolder, IN_MOVED_TO) < 0) {
        __android_log_print(ANDROID_LOG_ERROR, kLogTag, "cannot wait for services: %s",
                            strerror(errno));
    }
}

std::vector<std::string> Arrivals::take() {
    std::vector<std::string> files;
    alignas(inotify_event) char events[4096];
    ssize_t size;
    while ((size = read(mEvents.get(), events, sizeof(events))) > 0) {
        for (const char* at = events; at < events + size;) {
            const auto* event = reinterpret_cast<const inotify_event*>(at);
            if (event->len > 0) files.emplace_back(event->name);
            at += sizeof(*event) + event->len;
        }
    }
    return files;
}

FileDescriptor connectTo(const std::string& domain, const std::string& name) {
    sockaddr_un address;
    if (!fill(addressOf(domain, name), &address)) return {};
    FileDescriptor connection(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    int result;
    do {
        result = connect(connection.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address));
    } while (result != 0 && errno == EINTR);
    return result == 0 ? std::move(connection) : FileDescriptor();
}

}  // namespace transport
