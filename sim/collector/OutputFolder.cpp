// SPDX-License-Identifier: Apache-2.0
#include "sim/collector/OutputFolder.h"

#include <string.h>

#include "base/RemoveTree.h"
#include "sim/Files.h"

namespace sim {

OutputFolder::OutputFolder(const std::string& path)
      : mFd(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)) {}

bool OutputFolder::isEmpty() const {
    return zul::forEachEntry(zul::openInner(mFd.get(), "."),
                             [](int, const dirent&) { return false; });
}

void OutputFolder::add(const std::string& name, std::string_view text) const {
    const zul::ScopedFd file = createFile(name, 0600, mFd.get());
    if (file.ok() && zul::writeAll(file.get(), text)) return;
    fprintf(stderr, "zul_dumpstate: cannot write %s: %s\n", name.c_str(), strerror(errno));
}

}  // namespace sim
