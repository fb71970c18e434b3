// SPDX-License-Identifier: Apache-2.0
#include "sim/collector/OutputFolder.h"

#include <dirent.h>
#include <string.h>

#include <memory>

#include "sim/Files.h"

namespace sim {

OutputFolder::OutputFolder(const std::string& path)
      : mFd(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)) {}

bool OutputFolder::isEmpty() const {
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(
            fdopendir(fcntl(mFd.get(), F_DUPFD_CLOEXEC, 0)), closedir);
    if (folder == nullptr) return false;
    size_t entries = 0;
    while (readdir(folder.get()) != nullptr)
        entries++;
    return entries == 2;  // "." and ".."
}

void OutputFolder::add(const std::string& name, std::string_view text) const {
    const UniqueFd file = createFile(name, 0600, mFd.get());
    if (file.isOpen() && writeAll(file.get(), text)) return;
    fprintf(stderr, "zul_dumpstate: cannot write %s: %s\n", name.c_str(), strerror(errno));
}

}  // namespace sim
