// SPDX-License-Identifier: Apache-2.0
#include "sim/collector/Archive.h"

#include <spawn.h>
#include <string.h>
#include <sys/wait.h>

#include "base/RemoveTree.h"
#include "sim/Files.h"

namespace sim {
namespace {

bool complain(const std::string& what, int error) {
    fprintf(stderr, "zul_dumpstate: %s: %s\n", what.c_str(), strerror(error));
    return false;
}

/** Runs `tar` with its standard output on `archive`, so that it opens no path of a name of ours. */
bool runTar(const std::string& parent, const std::string& name, int archive) {
    const std::string directory = "--directory=" + parent;
    const char* arguments[] = {"tar", "--create",   "--file=-", directory.c_str(),
                               "--",  name.c_str(), nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, archive, STDOUT_FILENO);
    pid_t child = 0;
    const int error = posix_spawnp(&child, arguments[0], &actions, nullptr,
                                   const_cast<char**>(arguments), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) return complain("cannot start tar", error);

    int status = 0;
    if (TEMP_FAILURE_RETRY(waitpid(child, &status, 0)) < 0) {
        return complain("cannot wait for tar", errno);
    }
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return true;
    fprintf(stderr, "zul_dumpstate: tar failed with wait status 0x%x\n", status);
    return false;
}

bool pack(const std::string& folder, const std::string& temporary) {
    const size_t slash = folder.rfind('/');
    unlink(temporary.c_str());
    const zul::ScopedFd archive = createFile(temporary, 0600);
    if (!archive.ok()) return complain(temporary, errno);
    if (!runTar(folder.substr(0, slash + 1), folder.substr(slash + 1), archive.get())) return false;
    if (fsync(archive.get()) != 0) return complain(temporary, errno);

    const std::string whole = folder + ".zul";
    return rename(temporary.c_str(), whole.c_str()) == 0 || complain(whole, errno);
}

}  // namespace

bool replaceByArchive(const std::string& folder) {
    const size_t slash = folder.rfind('/');
    // The dot keeps it out of every list of archives while it is unfinished.
    const std::string temporary =
            folder.substr(0, slash + 1) + '.' + folder.substr(slash + 1) + ".part";
    if (!pack(folder, temporary)) {
        unlink(temporary.c_str());
        return false;
    }
    return zul::removeTree(AT_FDCWD, folder.c_str()) || complain(folder, errno);
}

}  // namespace sim
