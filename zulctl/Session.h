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

/** A folder of our own, which is removed with all that is in it. */
struct FolderRemover {
    void operator()(const std::string* path) const;
};
using TemporaryFolder = std::unique_ptr<const std::string, FolderRemover>;

/** A device that a call is about: this one, or one of which there is a copy. */
struct Device {
    /** That of the folder which its copy is in; empty for this device. */
    std::string name;
    /** Null where there is none, and none is needed. */
    std::unique_ptr<Store> store;
    /** "-" is the standard input; nothing: no log is at hand. */
    std::optional<std::string> log;
    /** Of a log that is read twice and came as a stream. */
    zul::ScopedFd kept{-1};
    /** What was unpacked for it, and goes with it. */
    TemporaryFolder unpacked = nullptr;
};

/** The log in a copy's folder, where no other is named. */
inline constexpr char kLogName[] = "zuld.log";

/** What all parts of one call share. */
class Session {
  public:
    Session(const Options& options, const Command& command, FILE* out, FILE* err);
    Session(const Session&) = delete;

    const Options& options() const { return mOptions; }
    Output& out() { return mOut; }

    /** Runs `each` for the devices that can be opened, and has objects tell of them. */
    template <class Each>
    void forEachDevice(Each each) {
        for (size_t i = 0; i < deviceCount(); i++) {
            Device device = open(i);
            if (mCommand.needsStore && device.store == nullptr) continue;
            mOut.setDevice(device.name, deviceCount() > 1);
            each(device);
        }
    }

    /** Tells of something that could not be read; the call ends with PARTLY. */
    void problem(std::string_view text);
    /** Tells what is worth knowing and no failure. */
    void remark(std::string_view text);
    /** Tells why the call was wrong, which is the worst that it can end with. */
    Status wrongCall(std::string_view text);
    /** What the call ends with, whose command has come to `status`. */
    Status worst(Status status) const;

  private:
    size_t deviceCount() const { return mOptions.roots.empty() ? 1 : mOptions.roots.size(); }
    Device open(size_t number);

    const Options& mOptions;
    const Command& mCommand;
    FILE* const mErr;
    Output mOut;
    Status mWorst = Status::FINE;
};

}  // namespace zulctl
