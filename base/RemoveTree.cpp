// SPDX-License-Identifier: Apache-2.0

#include "base/RemoveTree.h"

#include <errno.h>

namespace zul {

bool removeTree(int folder, const char* name, int depth) {
    if (unlinkat(folder, name, 0) == 0 || errno == ENOENT) return true;
    if (depth == kDeepestFolder) return false;
    ScopedFd inner = openInner(folder, name);
    if (!inner.ok()) return false;
    forEachName(std::move(inner), [depth](int inside, const char* each) {
        removeTree(inside, each, depth + 1);
        return true;
    });
    return unlinkat(folder, name, AT_REMOVEDIR) == 0 || errno == ENOENT;
}

}  // namespace zul
