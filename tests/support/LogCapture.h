// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace zul::test {

/** Takes this process's standard error, and that of its children, for as long as it lives. */
class LogCapture {
  public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    /**
     * The daemon's log lines since the last call, as priority letter, blank and message, for instance
     * "D startWork....". Line breaks inside or at the end of a message are kept.
     */
    std::vector<std::string> take();
    /** As take, without the debug lines. */
    std::vector<std::string> takeAboveDebug();

    /** Gives standard error back early, for a death test that reads it. */
    void release();

  private:
    int mFile;
    int mStderr;
    off_t mRead = 0;
};

}  // namespace zul::test
