// SPDX-License-Identifier: Apache-2.0

#include <errno.h>
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
        {'n', "dry-run", nullptr, "show what would be removed", &Options::dryRun},
        {'f', "force", nullptr, "remove it", &Options::force},
        {0, "left", nullptr, "folders that failed collectors left", &Options::left},
        {0, "unlisted", nullptr, "archives that the daemon does not know any more",
         &Options::unlisted},
        {0, "older-than", "AGE", "only of captures before this age: 5m30s 12h 30d 2w",
         &Options::olderThan},
        {0, "to", "SIZE", "oldest captures of any kind, until all that stay are below 500M or 2G",
         &Options::size},
};

constexpr char kHelp[] =
        R"(Removes what failed collectors left, and archives that the daemon has lost
Without --left, --unlisted and --to: what failed collectors left, and what the daemon does
not know any more. Other files in the store are never removed, nor is what runs, nor a
folder so new that its collector may not have started yet. -n works on a copy as well. -f
does not, nor on a device where processes are hidden: what runs could not be told from what
was left.)";

/** From a folder's making to its collector's start are two writes to a disk that may be busy. */
constexpr time_t kSettledAfter = 30;
/** Two captures whose clocks are further apart were not made by one clock that went on. */
constexpr WallTime kClockJump = 86400;

/** 500M as bytes; nothing for what is no size. */
std::optional<uint64_t> parseSize(const std::string& text) {
    const size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
    constexpr std::string_view kUnits = "BKMGT";
    const size_t unit = digits == text.size() ? 0 : kUnits.find(text[digits]);
    if (digits == 0 || digits > 9 || unit == kUnits.npos || text.size() > digits + 1) {
        return std::nullopt;
    }
    return std::stoull(text.substr(0, digits)) << (10 * unit);
}

/** Empty, or what is wrong with the call. */
std::string complaintOn(const Options& options) {
    if (options.force == options.dryRun) {
        return "needs one of -n (show what would be removed) and -f (remove it)";
    }
    if (options.force && !options.roots.empty()) {
        return "a copy is not cleaned: call it without --root, or with -n";
    }
    if (options.olderThan && !parseAge(*options.olderThan)) {
        return "no age for --older-than: " + *options.olderThan;
    }
    if (!options.size) return "";
    if (!parseSize(*options.size)) return "no size for --to: " + *options.size;
    return options.left || options.unlisted ? "--to takes all kinds of captures" : "";
}

/** Where neither kind is named, both are meant. */
bool takes(const Options& options, State state) {
    return options.size || (state == State::LEFT && (options.left || !options.unlisted)) ||
           (state == State::UNLISTED && (options.unlisted || !options.left));
}

/** Its collector may be about to start. */
bool isNew(const DiskEntry& entry) {
    struct stat status = {};
    if (fstatat(entry.folder->open().get(), entry.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) !=
        0) {
        return false;
    }
    const time_t age = time(nullptr) - status.st_mtime;
    return age >= 0 && age < kSettledAfter;
}

/** One file or folder that goes, and its bytes. */
using Candidate = std::pair<Capture, uint64_t>;

/** What is asked for, oldest first. */
std::vector<Candidate> choose(Session& session, const Device& device, Captures& captures) {
    const Options& options = session.options();
    const WallTime before =
            options.olderThan ? captures.now() - *parseAge(*options.olderThan) : INT64_MAX;
    const auto size = options.size ? parseSize(*options.size) : std::nullopt;
    std::vector<Candidate> all;
    uint64_t total = 0;
    captures.visitAll([&](const Capture& capture) {
        if (capture.entry == nullptr) return true;
        total += all.emplace_back(capture, captures.bytesOf(capture).value_or(0)).second;
        return true;
    });
    std::reverse(all.begin(), all.end());

    std::vector<Candidate> chosen;
    size_t inDoubt = 0;
    size_t tooNew = 0;
    WallTime latest = 0;
    for (const auto& [capture, bytes] : all) {
        if (capture.state == State::RUNNING) continue;
        // A clock that was far behind may have made it after the daemon's start.
        const bool doubtful = capture.time + kClockJump < latest;
        latest = std::max(latest, capture.time);
        if (!takes(options, capture.state) || capture.time >= before) continue;
        if (size && total <= *size) break;
        if (capture.state == State::UNLISTED && doubtful && !size) {
            inDoubt++;
        } else if (capture.isFolder() && !device.store->isCopy && isNew(*capture.entry)) {
            tooNew++;
        } else {
            chosen.emplace_back(capture, bytes);
            total -= bytes;
        }
    }
    if (inDoubt > 0) {
        session.remark("the clock was set back: " + counted(inDoubt, "archive") +
                       " may be known to the daemon, and stay");
    }
    if (tooNew > 0) {
        session.remark(counted(tooNew, "folder") +
                       " may be about to get a collector: left for the next call");
    }
    return chosen;
}

/** Removes it, if it still is what it was. */
bool remove(const Capture& capture) {
    const zul::ScopedFd parent = capture.entry->folder->open();
    std::string name(capture.name());
    if (!parent.ok()) return false;
    if (capture.isFolder()) return zul::removeTree(parent.get(), name.c_str());
    name += zul::kArchiveSuffix;
    return unlinkat(parent.get(), name.c_str(), 0) == 0 || errno == ENOENT;
}

Status runClean(Session& session) {
    const Options& options = session.options();
    const std::string wrong = complaintOn(options);
    if (!wrong.empty()) return session.wrongCall(wrong);

    Table table(session.out(), {{"REMOVED", "removed", 8},
                                {"STATE", "state", 11},
                                {"SIZE", "size", 5, true},
                                {"PATH", "path"}});
    size_t counts[2] = {};
    uint64_t bytes = 0;
    session.forEachDevice([&](const Device& device) {
        Captures captures(session, device, readStory(session, device));
        if (!device.store->isCopy && !captures.lookAtProcesses()) return;
        for (const auto& [capture, size] : choose(session, device, captures)) {
            const std::string path = capture.isFolder() ? capture.entry->path() : capture.archive;
            if (options.force && !remove(capture)) {
                session.problem("not removed: " + path);
                continue;
            }
            table.row({{options.force, options.force ? "removed" : "would be"},
                       nameOf(capture.state),
                       Cell::size(size),
                       path});
            counts[capture.isFolder() ? 1 : 0]++;
            bytes += size;
        }
    });
    session.out().legend(std::string(options.force ? "removed " : "would remove ") +
                         counted(counts[0], "archive") + " and " + counted(counts[1], "folder") +
                         ", " + humanSize(bytes));
    return table.count() == 0 ? Status::NOTHING : Status::FINE;
}

}  // namespace

const Command kCleanCommand = {"clean", "", 0, 0, kHelp, kOptions, true, runClean};

}  // namespace zulctl
