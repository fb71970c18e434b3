// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "bench/Process.h"
#include "sim/engine/CallbackList.h"

namespace bench {

/** How many callbacks the engine wants, and so the most that can be under way at once. */
inline constexpr int kCallbacks = 8;

/** A daemon in its own process, whose engine is this process. */
class DaemonRun {
  public:
    /**
     * Starts the daemon on whatever /data/ZUL holds. `mode` is "hidl" or "aidl". Null when it does
     * not register all its callbacks.
     */
    static std::unique_ptr<DaemonRun> start(const char* mode);
    ~DaemonRun();

    const sim::CallbackList::Sinks& callbacks() const { return mCallbacks; }
    /** How many threads it has by now. */
    int threads() const;

    /** Makes one event of this tag and text known to a callback; true when it was answered. */
    bool capture(size_t callback, const std::string& tag, const std::string& text) const;

  private:
    explicit DaemonRun(sim::CallbackList& all);

    sim::CallbackList& mAll;
    std::unique_ptr<Process> mDaemon;
    sim::CallbackList::Sinks mCallbacks;
};

/** Puts the benchmark's collector in the place of the collector; false when that fails. */
bool installCollector();

}  // namespace bench
