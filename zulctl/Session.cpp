// SPDX-License-Identifier: Apache-2.0

#include "zulctl/Session.h"

#include <stdlib.h>

namespace zulctl {

Session::Session(const Options& options, const char* command, FILE* out, FILE* err)
      : mOptions(options), mCommand(command), mErr(err), mOut(out, options.json, options.legend) {
    if (!options.root) return;
    // "." and "copy/.." are folders with names too.
    const std::unique_ptr<char, decltype(&free)> path(realpath(options.root->c_str(), nullptr),
                                                      free);
    const std::string_view text = path != nullptr ? path.get() : std::string_view(*options.root);
    mOut.setDevice(text.substr(text.rfind('/') + 1));
}

const Store* Session::openStore(bool mustBe) {
    if (!mTriedStore) {
        mTriedStore = true;
        std::string reason;
        mStore = Store::open(mOptions.root, reason);
        if (mStore == nullptr && !mOptions.root) reason += " (--root=DIR reads a copy)";
        if (!reason.empty() && (mStore != nullptr || mustBe)) problem(reason);
    }
    return mStore.get();
}

const Store* Session::store() {
    return openStore(true);
}

const Store* Session::storeIfAny() {
    return openStore(mOptions.root.has_value());
}

void Session::problem(std::string_view text) {
    mHadProblem = true;
    say(text);
}

void Session::remark(std::string_view text) {
    say(text);
}

Status Session::wrongCall(std::string_view text) {
    say(std::string(mCommand).append(": ").append(text));
    return Status::WRONG_CALL;
}

void Session::say(std::string_view text) {
    fprintf(mErr, "zulctl: %s\n", printable(text).c_str());
}

}  // namespace zulctl
