// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "sim/faults/FaultPage.h"
#include "tests/support/Eventually.h"
#include "tests/support/Files.h"

namespace zul::test {

/** An event in the words of `fire`: kind, tag, and last the text that it carries, if any. */
using Event = std::vector<std::string>;

struct Fault {
    sim::Call call = sim::Call::none;
    int32_t error = 0;
    uint32_t number = 0;
};

/** What the daemon holds in memory. */
struct Tables {
    int64_t count = 0;
    int64_t listed = 0;
};

/** The daemon with its fault points and its engine, on a device where everything else runs already. */
class Device {
  public:
    /** `mode` is hidl or aidl. */
    explicit Device(const std::string& mode);

    sim::FaultPage& page() { return *mPage; }
    void arm(const Fault& fault);
    void endDaemon();
    /** Ends the daemon and starts another one, with a fault from its first call on. */
    void startDaemon(const Fault& fault);
    /** Ends the engine, if there is one, and starts another one with one callback. */
    void startEngine();
    bool isAlive();
    /** Waits until every thread of the daemon's pool waits for events; false: they do not, or it ended. */
    bool settle();

    size_t callbacks() const;
    /** Sends one event, a second after the last one by the daemon's clock; none: no answer. */
    std::optional<bool> fire(const Event& event);
    time_t now() const { return mNow; }

    /** Without sockets and the like: how many connections there are is the platform layer's affair. */
    size_t openFiles() const;
    size_t children() const;
    /** None when the daemon's lock cannot be had. */
    std::optional<Tables> tables();
    /** What the daemon has written. */
    std::string log() const;

  private:
    sim::FaultPage* mPage;
    const std::string mMode;
    pid_t mDaemon = -1;
    pid_t mEngine = -1;
    time_t mNow = 1700000000;
};

}  // namespace zul::test
