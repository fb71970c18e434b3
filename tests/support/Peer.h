// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <map>
#include <string>

#include "tests/support/Eventually.h"

namespace zul::test {

/**
 * A second process of this test program, in which a named function runs. It can report single
 * characters, wait at a gate, and be killed. Its standard error is kept.
 */
class Peer {
  public:
    using Role = void (*)(const std::string& argument);

    /** Makes a function known; to be used for variables at namespace level. */
    struct Register {
        Register(const char* name, Role role) { roles()[name] = role; }
    };

    Peer(const std::string& role, const std::string& argument) {
        int report[2];
        int gate[2];
        EXPECT_TRUE(pipe2(report, O_CLOEXEC) == 0 && pipe2(gate, O_CLOEXEC) == 0);
        mErrors = memfd_create("errors", MFD_CLOEXEC);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_adddup2(&actions, mErrors, STDERR_FILENO);
        // Twice, because the second descriptor may be in the way of the first.
        posix_spawn_file_actions_adddup2(&actions, report[1], kHigh);
        posix_spawn_file_actions_adddup2(&actions, gate[0], kGate);
        posix_spawn_file_actions_adddup2(&actions, kHigh, kReport);
        posix_spawn_file_actions_addclose(&actions, kHigh);
        setenv("ZUL_PEER_ROLE", role.c_str(), 1);
        setenv("ZUL_PEER_ARGUMENT", argument.c_str(), 1);
        char program[] = "/proc/self/exe";
        char filter[] = "--gtest_filter=PeerProcess.DISABLED_Run";
        char disabled[] = "--gtest_also_run_disabled_tests";
        char* arguments[] = {program, filter, disabled, nullptr};
        EXPECT_EQ(posix_spawn(&mPid, program, &actions, nullptr, arguments, environ), 0);
        posix_spawn_file_actions_destroy(&actions);
        unsetenv("ZUL_PEER_ROLE");
        close(report[1]);
        close(gate[0]);
        mReports = report[0];
        mGateKey = gate[1];
    }

    ~Peer() {
        kill();
        openGate();
        EXPECT_EQ(errors().find("Sanitizer"), std::string::npos) << errors();
        close(mReports);
        close(mErrors);
    }

    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    void kill() {
        if (mPid <= 0) return;
        ::kill(mPid, SIGKILL);
        waitpid(mPid, nullptr, 0);
        mPid = -1;
    }

    /** The next character that the peer reports, or '?' when none comes in time. */
    char nextReport(int timeoutMs = 20000) {
        pollfd readable{mReports, POLLIN, 0};
        char value = '?';
        if (poll(&readable, 1, timeoutMs) == 1 && read(mReports, &value, 1) != 1) value = '?';
        return value;
    }

    void openGate() {
        if (mGateKey >= 0) close(mGateKey);
        mGateKey = -1;
    }

    /** What the peer has written to its standard error. */
    std::string errors() const {
        std::string text(static_cast<size_t>(lseek(mErrors, 0, SEEK_END)), '\0');
        const ssize_t got = pread(mErrors, text.data(), text.size(), 0);
        return text.substr(0, got > 0 ? static_cast<size_t>(got) : 0);
    }

    // --- In the peer ---

    static void report(char value) { EXPECT_EQ(write(kReport, &value, 1), 1); }

    static void waitAtGate() {
        char unused;
        while (read(kGate, &unused, 1) < 0) {
        }
    }

    /** Body of the test `PeerProcess.DISABLED_Run`. */
    static void run() {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        const char* role = getenv("ZUL_PEER_ROLE");
        ASSERT_TRUE(role != nullptr && roles().contains(role)) << "not started as a peer";
        roles()[role](getenv("ZUL_PEER_ARGUMENT"));
        while (true)
            pause();
    }

  private:
    static constexpr int kReport = 3;
    static constexpr int kGate = 4;
    static constexpr int kHigh = 100;

    static std::map<std::string, Role>& roles() {
        static std::map<std::string, Role> all;
        return all;
    }

    pid_t mPid = -1;
    int mErrors = -1;
    int mReports = -1;
    int mGateKey = -1;
};

}  // namespace zul::test
