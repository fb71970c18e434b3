// SPDX-License-Identifier: Apache-2.0

#include <errno.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "base/Paths.h"
#include "base/RemoveTree.h"
#include "zulctl/commands/Commands.h"
#include "zulctl/store/Captures.h"

namespace zulctl {

namespace {

constexpr Option kOptions[] = {
        {'n', "dry-run", nullptr, "show what would be removed"},
        {'f', "force", nullptr, "remove it"},
        {0, "left", nullptr, "folders that failed collectors left"},
        {0, "unlisted", nullptr, "archives of which a tag has more than it may keep"},
        {0, "older-than", "AGE", "only of captures before this age: 90s 15m 12h 30d 2w"},
};

constexpr char kDetails[] =
        "Without --left and --unlisted: both. Other files in the store are never removed, nor is "
        "what\n"
        "the daemon keeps by its own rules. -f waits where a folder is so new that its collector "
        "may\n"
        "not have started yet. A copy is not cleaned (--root), nor a device where the processes "
        "of\n"
        "others cannot be seen: what runs could not be told from what was left.";

/** From a folder's making to its collector's start are two writes to a disk that may be busy. */
constexpr int64_t kSettledAfter = 30;

/** What was asked for. */
struct Order {
    bool left = false;
    bool unlisted = false;
    /** Of the captures before this time. */
    std::optional<WallTime> before;
    bool remove = false;
};

/** One file or folder that goes. */
struct Candidate {
    const DiskEntry* entry;
    bool isFolder;
    uint64_t bytes;
};

/** Empty, or what is wrong with the call. */
std::string readOrder(const Session& session, const Arguments& arguments, Order& order) {
    if (session.options().root) return "a copy is not cleaned: call it without --root";
    order.remove = arguments.has("force");
    if (order.remove == arguments.has("dry-run")) {
        return "needs one of -n (show what would be removed) and -f (remove it)";
    }
    order.left = arguments.has("left");
    order.unlisted = arguments.has("unlisted");
    if (!order.left && !order.unlisted) order.left = order.unlisted = true;
    if (const std::string* text = arguments.value("older-than")) {
        const auto age = parseAge(*text);
        if (!age) return "no age for --older-than: " + *text;
        order.before = wallTimeNow() - *age;
    }
    return "";
}

std::vector<Candidate> choose(const Order& order, Captures& captures) {
    std::vector<Candidate> chosen;
    for (const DiskEntry& entry : captures.disk().entries()) {
        if (order.before && entry.time >= *order.before) continue;
        if (order.left && captures.isLeft(entry)) {
            chosen.push_back({&entry, true, captures.folderBytes(entry)});
        }
        if (order.unlisted && entry.unlisted) {
            chosen.push_back({&entry, false, captures.useOf(&entry).bytes});
        }
    }
    return chosen;
}

/** Seconds until a folder has settled; 0 once it has. */
int64_t secondsToWait(const Candidate& candidate, const DiskIndex& disk) {
    if (!candidate.isFolder) return 0;
    const zul::ScopedFd parent = DiskIndex::open(disk.folderOf(*candidate.entry));
    const std::string name(disk.nameOf(*candidate.entry));
    struct stat status = {};
    if (fstatat(parent.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) return 0;
    if (!S_ISDIR(status.st_mode)) return 0;
    const int64_t age = time(nullptr) - status.st_mtime;
    return age >= 0 && age < kSettledAfter ? kSettledAfter - age : 0;
}

int64_t longestWait(const std::vector<Candidate>& candidates, const DiskIndex& disk) {
    int64_t seconds = 0;
    for (const Candidate& candidate : candidates)
        seconds = std::max(seconds, secondsToWait(candidate, disk));
    return seconds;
}

/** Removes it, if it still is what it was. */
bool removeCandidate(const Candidate& candidate, const DiskIndex& disk) {
    const zul::ScopedFd parent = DiskIndex::open(disk.folderOf(*candidate.entry));
    std::string name(disk.nameOf(*candidate.entry));
    if (!parent.ok()) return false;
    if (candidate.isFolder) return zul::removeTree(parent.get(), name.c_str());
    name += zul::kArchiveSuffix;
    return unlinkat(parent.get(), name.c_str(), 0) == 0 || errno == ENOENT;
}

std::string pathOf(const Candidate& candidate, const DiskIndex& disk) {
    return disk.pathOf(*candidate.entry) + (candidate.isFolder ? "" : zul::kArchiveSuffix);
}

void print(Output& out, const Candidate& candidate, const std::string& path, bool removed) {
    const char* reason = nameOf(candidate.isFolder ? State::LEFT : State::UNLISTED);
    if (out.json()) {
        out.print(JsonObject()
                          .add("path", path)
                          .add("state", reason)
                          .add("size", static_cast<int64_t>(candidate.bytes))
                          .add("removed", removed));
        return;
    }
    std::string line = removed ? "removed  " : "would remove  ";
    line += reason;
    line.resize(std::max(line.size(), size_t{22}), ' ');
    out.line(line + "  " + humanSize(candidate.bytes) + "  " + printable(path));
}

Status runClean(Session& session, const Arguments& arguments) {
    Order order;
    const std::string wrong = readOrder(session, arguments, order);
    if (!wrong.empty()) return session.wrongCall(wrong);
    const Store* store = session.store();
    if (store == nullptr) return Status::PARTLY;

    auto captures = std::make_unique<Captures>(session, *store);
    if (!captures->lookAtProcesses()) return Status::PARTLY;
    std::vector<Candidate> candidates = choose(order, *captures);
    const int64_t wait = order.remove ? longestWait(candidates, captures->disk()) : 0;
    if (wait > 0) {
        session.remark("waits " + formatDuration(wait) + ": a folder is new");
        sleep(static_cast<unsigned>(wait));
        captures = std::make_unique<Captures>(session, *store);
        if (!captures->lookAtProcesses()) return Status::PARTLY;
        candidates = choose(order, *captures);
        // What has come since waits for the next call.
        std::erase_if(candidates, [&](const Candidate& candidate) {
            return secondsToWait(candidate, captures->disk()) > 0;
        });
    }

    size_t counts[2] = {};
    uint64_t bytes = 0;
    for (const Candidate& candidate : candidates) {
        const std::string path = pathOf(candidate, captures->disk());
        if (order.remove && !removeCandidate(candidate, captures->disk())) {
            session.problem("not removed: " + path);
            continue;
        }
        print(session.out(), candidate, path, order.remove);
        counts[candidate.isFolder ? 1 : 0]++;
        bytes += candidate.bytes;
    }
    session.out().legend(std::string(order.remove ? "removed " : "would remove ") +
                         counted(counts[0], "archive") + " and " + counted(counts[1], "folder") +
                         ", " + humanSize(bytes));
    return candidates.empty() ? Status::NOTHING : Status::FINE;
}

}  // namespace

const Command kCleanCommand = {"clean",
                               "",
                               0,
                               0,
                               "Removes what failed collectors left, and archives beyond the rules",
                               kDetails,
                               kOptions,
                               runClean};

}  // namespace zulctl
