// SPDX-License-Identifier: Apache-2.0

#include "zulctl/Session.h"

#include <stdlib.h>
#include <sys/stat.h>

#include <algorithm>

#include "base/RemoveTree.h"
#include "zulctl/store/Tar.h"

namespace zulctl {

void FolderRemover::operator()(const std::string* path) const {
    zul::removeTree(AT_FDCWD, path->c_str());
    delete path;
}

Session::Session(const Options& options, const Command& command, FILE* out, FILE* err)
      : mOptions(options),
        mCommand(command),
        mErr(err),
        mOut(out, options.json, !options.noLegend) {
    mOut.setDevice("", deviceCount() > 1);
}

Device Session::open(size_t number) {
    Device device;
    std::optional<std::string> root;
    if (number < mOptions.roots.size()) {
        root = mOptions.roots[number];
        // "." and "copy/.." are folders with names too.
        const std::unique_ptr<char, decltype(&free)> path(realpath(root->c_str(), nullptr), free);
        device.name = path != nullptr ? path.get() : *root;
        device.name.erase(0, device.name.rfind('/') + 1);
    }
    struct stat status = {};
    if (root && stat(root->c_str(), &status) == 0 && S_ISREG(status.st_mode)) {
        const char* const parent = getenv("TMPDIR");
        std::string path = std::string(parent != nullptr ? parent : "/tmp") + "/zulctl.XXXXXX";
        if (mkdtemp(path.data()) == nullptr) path.clear();
        device.unpacked.reset(new std::string(path));
        const zul::ScopedFd archive = openRegularAt(AT_FDCWD, root->c_str());
        const zul::ScopedFd folder = zul::openInner(AT_FDCWD, path.c_str());
        if (!unpackTar(archive.get(), folder.get()))
            problem(*root + ": no archive of zulctl export");
        zul::forEachEntry(zul::openInner(folder.get(), "."), [&](int, const dirent& entry) {
            root = path + "/" + entry.d_name;
            return false;
        });
    }
    std::string reason;
    device.store = Store::open(root, reason);
    if (device.store == nullptr && !root) reason += " (--root=DIR reads a copy)";
    const bool mustBe = mCommand.needsStore || root;
    if (!reason.empty() && (device.store != nullptr || mustBe)) problem(reason);
    if (number < mOptions.logs.size()) {
        device.log = mOptions.logs[number];
    } else if (root && openRegularAt(AT_FDCWD, (*root + "/" + kLogName).c_str()).ok()) {
        device.log = *root + "/" + kLogName;
    }
    return device;
}

void Session::problem(std::string_view text) {
    mWorst = std::max(mWorst, Status::PARTLY);
    remark(text);
}

void Session::remark(std::string_view text) {
    fprintf(mErr, "zulctl: %s\n", printable(text).c_str());
}

Status Session::wrongCall(std::string_view text) {
    remark(text);
    mWorst = Status::WRONG_CALL;
    return mWorst;
}

Status Session::worst(Status status) const {
    return mWorst != Status::FINE ? mWorst : status;
}

}  // namespace zulctl
