// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace bench {

/** What the collectors of all contenders write one byte each to. */
inline constexpr char kCollectorRuns[] = "/tmp/collector_runs";
inline constexpr char kLog[] = "/tmp/bench.log";

/** The descriptor that joins a child process to this one. */
inline constexpr int kChannel = 3;

/** A child process, ended by SIGKILL at the end of its owner's life if it still runs. */
class Process {
  public:
    /**
     * Starts a program with an empty standard input, standard output appended to kCollectorRuns and
     * standard error to kLog. `channel` becomes its kChannel, unless it is -1.
     */
    explicit Process(const std::vector<std::string>& arguments, int channel = -1);
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    bool started() const { return mPid > 0; }
    pid_t pid() const { return mPid; }
    /** Waits for its end; true for status 0. */
    bool succeeds();

  private:
    pid_t mPid = -1;
};

}  // namespace bench
