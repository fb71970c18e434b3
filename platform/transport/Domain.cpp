// SPDX-License-Identifier: Apache-2.0
#include <android/log.h>
#include <errno.h>
#include <poll.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <transport/Domain.h>
#include <unistd.h>

#include <chrono>
#include <mutex>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Fork.h"
#include "Log.h"
#include "Proxy.h"
#include "Rendezvous.h"
#include "Serving.h"
#include "ThreadPool.h"

namespace transport {

namespace {

constexpr char kDeclared[] = "/vendor/etc/vintf/declared";
constexpr std::chrono::seconds kWarningPeriod(1);

/** The process that has used the layer, or 0. A fork handler would cost each child two page faults. */
pid_t gOwner = 0;

/** Serves a service to everybody who connects to it. */
class Listener final : public ObjectSocket {
  public:
    using ObjectSocket::ObjectSocket;

    bool handleReady() override {
        FileDescriptor channel(accept4(mSocket.get(), nullptr, nullptr, SOCK_CLOEXEC));
        if (channel.isValid()) {
            serve(mPool, std::move(channel), mObject);
        } else if (errno != EINTR && errno != EAGAIN && errno != ECONNABORTED) {
            __android_log_print(ANDROID_LOG_ERROR, kLogTag, "accept4: %s", strerror(errno));
            // Usually there is no descriptor left: without a pause this would spin until one is.
            poll(nullptr, 0, 100);
        }
        return true;
    }
};

/** Tells who asked for it that a service has come. */
class Announcer final : public Endpoint {
  public:
    using Listener = std::function<void(bool preexisting)>;

    int descriptor() const override { return mArrivals.descriptor(); }

    void add(const std::string& addressFile, Listener listener) {
        std::lock_guard lock(mLock);
        mListeners.emplace_back(addressFile, std::move(listener));
    }

    bool handleReady() override {
        for (const std::string& arrival : mArrivals.take()) {
            std::vector<std::pair<std::string, Listener>> listeners;
            {
                std::lock_guard lock(mLock);
                listeners = mListeners;
            }
            for (const auto& [addressFile, listener] : listeners) {
                if (addressFile == arrival) listener(false);
            }
        }
        return true;
    }

  private:
    Arrivals mArrivals;

    std::mutex mLock;  // guards what follows
    std::vector<std::pair<std::string, Listener>> mListeners;
};

}  // namespace

bool isForkedChild() {
    return gOwner != 0 && getpid() != gOwner;
}

void abortInForkedChild() {
    if (!isForkedChild()) return;
    __android_log_print(ANDROID_LOG_FATAL, kLogTag, "binder used in a forked child");
    abort();
}

struct Domain::State {
    struct Published {
        std::shared_ptr<Object> object;
        uint64_t listenerKey = 0;
    };

    State(const char* prefixOfAll, size_t maxThreads) : prefix(prefixOfAll), pool(maxThreads) {}

    const std::string prefix;
    ThreadPool pool;
    std::mutex lock;  // guards what follows
    std::unordered_map<std::string, Published> published;
    std::shared_ptr<Announcer> announcer;  // made when first needed
};

// Both stay for ever: pool threads may still run while static objects are destroyed.
Domain& Domain::binder() {
    static Domain& domain = *new Domain("binder", 15);
    return domain;
}

Domain& Domain::hwbinder() {
    static Domain& domain = *new Domain("hwbinder", 1);
    return domain;
}

Domain::Domain(const char* prefix, size_t maxThreads) : mState(new State(prefix, maxThreads)) {
    static std::once_flag once;
    std::call_once(once, [] { gOwner = getpid(); });
}

android::status_t Domain::publish(const std::string& name, std::shared_ptr<Object> object) {
    abortInForkedChild();
    FileDescriptor socket;
    const android::status_t status = takeAddress(mState->prefix, name, &socket);
    if (status != android::OK) return status;
    const uint64_t key =
            mState->pool.add(std::make_shared<Listener>(mState->pool, std::move(socket), object));
    if (key == 0) return android::UNKNOWN_ERROR;
    State::Published service{std::move(object), key};
    {
        std::lock_guard lock(mState->lock);
        std::swap(mState->published[name], service);
    }
    mState->pool.remove(service.listenerKey);
    return android::OK;
}

std::shared_ptr<Object> Domain::lookup(const std::string& name) {
    abortInForkedChild();
    {
        std::lock_guard lock(mState->lock);
        auto own = mState->published.find(name);
        if (own != mState->published.end()) return own->second.object;
    }
    FileDescriptor channel = connectTo(mState->prefix, name);
    if (!channel.isValid()) return nullptr;
    return Proxy::make(mState->pool, std::move(channel));
}

bool Domain::notify(const std::string& name, std::function<void(bool preexisting)> listener) {
    abortInForkedChild();
    {
        std::lock_guard lock(mState->lock);
        if (mState->announcer == nullptr) {
            auto announcer = std::make_shared<Announcer>();
            if (mState->pool.add(announcer) == 0) return false;
            mState->announcer = std::move(announcer);
        }
        mState->announcer->add(addressFile(mState->prefix, name), listener);
    }
    if (!connectTo(mState->prefix, name).isValid()) return true;
    return mState->pool.run([listener] { listener(true); });
}

bool Domain::isDeclared(const std::string& name) {
    // A stream's locales would be half of every program that this is linked into.
    FILE* const names = fopen(kDeclared, "re");
    if (names == nullptr) return false;
    char line[256];
    bool declared = false;
    while (!declared && fgets(line, sizeof(line), names) != nullptr)
        declared = name + "\n" == line;
    fclose(names);
    return declared;
}

std::shared_ptr<Object> Domain::waitFor(const std::string& name,
                                        const std::function<void()>& warn) {
    std::shared_ptr<Object> found = lookup(name);
    if (found != nullptr) return found;
    // From here on no arrival is missed: what came before the watch is found by the next look-up.
    Arrivals arrivals;
    auto warning = std::chrono::steady_clock::now() + kWarningPeriod;
    while ((found = lookup(name)) == nullptr) {
        const auto rest = std::chrono::ceil<std::chrono::milliseconds>(
                warning - std::chrono::steady_clock::now());
        pollfd readable{arrivals.descriptor(), POLLIN, 0};
        if (rest.count() > 0 && poll(&readable, 1, static_cast<int>(rest.count())) != 0) {
            arrivals.take();
            continue;
        }
        warn();
        warning += kWarningPeriod;
    }
    return found;
}

void Domain::configureThreads(size_t maxThreads, bool callerWillJoin) {
    abortInForkedChild();
    mState->pool.configure(maxThreads, callerWillJoin);
}

void Domain::startThreads() {
    abortInForkedChild();
    mState->pool.start();
}

void Domain::joinThreads() {
    abortInForkedChild();
    mState->pool.join();
}

}  // namespace transport
