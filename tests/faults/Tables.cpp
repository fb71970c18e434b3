// SPDX-License-Identifier: Apache-2.0
#include "tests/faults/Tables.h"

#include <errno.h>
#include <unistd.h>

namespace zul::test {

using enum Harm;
using sim::Call;
using sim::kShort;

const std::vector<Errors> kErrors = {
        {Call::close, NOTHING, {}, {EIO}},
        {Call::dlopen, CAPTURE, {ENOMEM}},
        {Call::execl, CAPTURE, {ENOENT, ENOMEM}},
        {Call::execv, CAPTURE, {ENOENT, E2BIG}},
        {Call::fchmod, FILES, {EPERM}},
        {Call::fcntl, FILES, {ENOLCK, EINTR}},
        {Call::fdopen, CAPTURE, {ENOMEM}},
        {Call::fdopendir, CAPTURE, {ENOMEM}},
        {Call::fgets, FILES, {EIO}},
        {Call::fork, CAPTURE, {EAGAIN, ENOMEM}},
        {Call::fstat, CAPTURE, {EIO}},
        {Call::fsync, FILES, {EIO, EINTR}},
        {Call::mkdirat, CAPTURE, {ENOSPC, EEXIST}},
        {Call::open, CAPTURE, {ENOSPC, EMFILE}},
        {Call::openat, CAPTURE, {ENOSPC, EMFILE}},
        {Call::opendir, FILES, {EMFILE}},
        {Call::pread, FILES, {EIO, EINTR}},
        {Call::pthread_create, FILES, {EAGAIN}},
        {Call::readdir, FILES, {EIO}},
        {Call::renameat, FILES, {ENOSPC}},
        {Call::unlinkat, FILES, {EBUSY}},
        {Call::vfork, CAPTURE, {EAGAIN, ENOMEM}},
        {Call::waitpid, NOTHING, {}, {EINTR, ECHILD}},
        {Call::write, FILES, {ENOSPC, EINTR, kShort}},
};

namespace {

constexpr char kTag[] = "0xffff0101";
constexpr char kDatabase[] = "/data/vendor/aee_exp/db.fatal.08.EE/db.fatal.08.EE.dbg";
constexpr char kMarker[] = "/sys/kernel/tracing/instances/stab/trace_marker";

/** An event that the engine describes, about one process. */
Event event(const char* tag, int64_t flag, int pid, const char* text) {
    return {"zul", tag, std::to_string(flag), std::to_string(pid), text};
}

}  // namespace

std::vector<Kind> kindsOf(const std::string& mode) {
    using enum Effect;
    // What the tag library knows of the tag.
    const std::string mask = "292", command = "ps -A -o pid,rss,name";
    const std::string self = std::to_string(getpid());

    const Event zul = event(kTag, 8, 0, "a b");
    const Event simp = {"simp", kTag, "0"};
    const Event simpMulti = {"simpmulti", kTag, "1,2"};
    const Event multi = {"multi", kTag, "8", "1,2", "a b"};
    const std::vector<std::string> zulGot = {"8", "0", "a b", "", "", "", ""};
    const std::vector<std::string> simpGot = {mask, "0", "", "memory", "leak", command, ""};
    const std::vector<std::string> simpMultiGot = {mask, "0", "", "memory", "leak", command, "1,2"};
    const std::vector<std::string> multiGot = {"8", "0", "a b", "", "", "", "1,2"};

    // clang-format off
    std::vector<Kind> kinds = {
        {"zul", CAPTURE, zul, zulGot},
        {"simp", CAPTURE, simp, simpGot},
        {"simpmulti", CAPTURE, simpMulti, simpMultiGot},
        {"multi", CAPTURE, multi, multiGot},
        {"start", CAPTURE, simp, simpGot, {.archives = 2, .withStart = true}},
        {"engine_returns", CAPTURE, zul, zulGot, {.engineReturns = true}},
    };
    const std::vector<Kind> hidl = {
        {"tag_limit", CAPTURE, zul, zulGot, {.archives = 20}},
        {"store_limit", CAPTURE, zul, zulGot, {.archives = 5, .limit = 2}},
        {"database", CAPTURE, event(kTag, 8, 0, kDatabase),
         {"8", "0", "/data/ZUL/db.fatal.08.EE.dbg", "", "", "", ""}},
    };
    const std::vector<Kind> aidl = {
        {"update", UPDATE, event("0xffffffff", 0, 0, "tag:0xbeef,enable:1,flag:0x10")},
        {"mark", MARK, event("0xffff1001", 0, 0, "a mark")},
        {"mark_and_collect", MARK_AND_COLLECT, event("0xffff1003", int64_t{1} << 62, 7, "a mark"),
         {"4611686018427387904", "7", kMarker, "", "", "", ""}},
        {"leftover", CAPTURE, zul, zulGot, {.findsLeftover = true}},
        {"stuck_logo", CAPTURE, event("0xffffff06", 8, 0, "a b"), zulGot},
        {"package", CAPTURE, event(kTag, 8, getpid(), "a b"), {"10", self, "a b/p#c", "", "", "", ""},
         {.config = "tag:0xffff01,pkgname:zul_fault_table,flag:2,cmd:c,path:/p"}},
    };
    // clang-format on
    const std::vector<Kind>& others = mode == "hidl" ? hidl : aidl;
    kinds.insert(kinds.end(), others.begin(), others.end());
    return kinds;
}

}  // namespace zul::test
