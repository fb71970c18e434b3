// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdio.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "zulctl/Command.h"
#include "zulctl/Output.h"
#include "zulctl/store/Store.h"

namespace zulctl {

/** What all commands of one call share. */
class Session {
  public:
    struct Options {
        /** Nothing: this device. */
        std::optional<std::string> root;
        /** "-" is the standard input; nothing: no log is at hand. */
        std::optional<std::string> log;
        bool json = false;
        bool legend = true;
    };

    Session(const Options& options, const char* command, FILE* out, FILE* err);
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    const Options& options() const { return mOptions; }
    Output& out() { return mOut; }

    /** The store, opened at the first call; null where there is none, which was told as a problem. */
    const Store* store();

    /** The same; but that this machine is no device, where no root was named, is no problem. */
    const Store* storeIfAny();

    /** Tells of something that could not be read; the call ends with PARTLY. */
    void problem(std::string_view text);
    /** Tells what is worth knowing and no failure. */
    void remark(std::string_view text);
    /** Tells why the call was wrong. */
    Status wrongCall(std::string_view text);

    bool hadProblem() const { return mHadProblem; }

  private:
    void say(std::string_view text);
    const Store* openStore(bool mustBe);

    const Options mOptions;
    const char* const mCommand;
    FILE* const mErr;
    Output mOut;
    std::unique_ptr<Store> mStore;
    bool mTriedStore = false;
    bool mHadProblem = false;
};

}  // namespace zulctl
