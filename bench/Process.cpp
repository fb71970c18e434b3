// SPDX-License-Identifier: Apache-2.0
#include "bench/Process.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace bench {

Process::Process(const std::vector<std::string>& arguments, int channel) {
    std::vector<char*> words;
    for (const std::string& argument : arguments)
        words.push_back(const_cast<char*>(argument.c_str()));
    words.push_back(nullptr);

    constexpr int kAppend = O_WRONLY | O_CREAT | O_APPEND;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, kCollectorRuns, kAppend, 0666);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, kLog, kAppend, 0666);
    if (channel >= 0) posix_spawn_file_actions_adddup2(&actions, channel, kChannel);
    if (posix_spawn(&mPid, words[0], &actions, nullptr, words.data(), environ) != 0) mPid = -1;
    posix_spawn_file_actions_destroy(&actions);
}

Process::~Process() {
    if (!started()) return;
    kill(mPid, SIGKILL);
    waitpid(mPid, nullptr, 0);
}

bool Process::succeeds() {
    int status = -1;
    const bool ended = started() && waitpid(mPid, &status, 0) == mPid;
    mPid = -1;
    return ended && status == 0;
}

}  // namespace bench
