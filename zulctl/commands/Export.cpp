// SPDX-License-Identifier: Apache-2.0

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include "base/Paths.h"
#include "zulctl/commands/Commands.h"
#include "zulctl/commands/ConfigCheck.h"
#include "zulctl/store/OneCapture.h"
#include "zulctl/store/StartFiles.h"
#include "zulctl/store/Tar.h"

namespace zulctl {

namespace {

constexpr Option kOptions[] = {
        {'o', "output", "FILE.tar", "what to make; - is the standard output"},
        kNewestOption,
};

/** The file to make, which is removed again unless it was completed. */
class OutputFile {
  public:
    explicit OutputFile(const std::string& name)
          : mName(name),
            mFd(name == "-" ? fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0)
                            : open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600)) {}
    ~OutputFile() {
        if (mFd.ok() && !mDone && mName != "-") unlink(mName.c_str());
    }
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    bool ok() const { return mFd.ok(); }
    int get() const { return mFd.get(); }
    void done() { mDone = true; }

  private:
    const std::string mName;
    const zul::ScopedFd mFd;
    bool mDone = false;
};

/** What goes with the archive, by the names of the members. */
struct Companions {
    std::string history;
    std::string log;
    std::string config;
};

Companions collect(Session& session, const Store& store, const OneCapture& capture) {
    Companions companions;
    if (capture.recorded) {
        companions.history = capture.tag + "|" + formatWallTime(capture.time) + "|" +
                             capture.archive + "|" + capture.build + "\n";
    }
    if (const auto event = findEvent(session, capture.archive, true)) {
        for (const std::string& line : event->lines)
            companions.log += line + "\n";
    } else if (session.options().log) {
        session.remark("the log has no event for it");
    }
    const Rules rules = rulesOf(readStartFiles(session, store));
    if (const auto* entry = zul::findConfigEntry(rules.entries, capture.tag)) {
        companions.config = entryText(*entry) + "\n";
    }
    return companions;
}

bool writeTar(TarWriter& tar, const OneCapture& capture, int archive, uint64_t size,
              const Companions& companions) {
    const std::string folder = capture.name + "/";
    const auto add = [&](const char* name, const std::string& text) {
        return text.empty() || tar.addText(folder + name, text);
    };
    return tar.addFile(folder + capture.name + zul::kArchiveSuffix, archive, size) &&
           add("history", companions.history) && add("log", companions.log) &&
           add("config", companions.config) && tar.finish();
}

Status runExport(Session& session, const Arguments& arguments) {
    const std::string* name = arguments.value("output");
    if (name == nullptr) return session.wrongCall("needs -o FILE.tar");
    if (*name == "-" && isatty(STDOUT_FILENO) != 0) {
        return session.wrongCall("a terminal is no place for an archive");
    }
    if (!namesCapture(session, arguments)) return Status::WRONG_CALL;
    const Store* store = session.store();
    if (store == nullptr) return Status::PARTLY;
    Captures captures(session, *store);
    const std::optional<OneCapture> found = findCapture(session, arguments, captures);
    if (!found) return Status::NOTHING;
    if (found->entry == nullptr || !found->entry->hasArchive) {
        session.remark("there is no archive: " + found->name + " is " + nameOf(found->state));
        return Status::NOTHING;
    }

    const zul::ScopedFd folder = DiskIndex::open(captures.disk().folderOf(*found->entry));
    const zul::ScopedFd archive(
            openRegularAt(folder.get(), (found->name + zul::kArchiveSuffix).c_str()));
    struct stat file = {};
    if (!archive.ok() || fstat(archive.get(), &file) != 0) {
        session.problem(found->archive + ": " + whyNotOpened(errno));
        return Status::PARTLY;
    }
    const Companions companions = collect(session, *store, *found);
    OutputFile output(*name);
    TarWriter tar(output.get(), time(nullptr));
    if (!output.ok() ||
        !writeTar(tar, *found, archive.get(), static_cast<uint64_t>(file.st_size), companions)) {
        session.problem(*name + ": " + (errno != 0 ? strerror(errno) : "the archive was cut"));
        return Status::PARTLY;
    }
    output.done();
    return Status::FINE;
}

}  // namespace

const Command kExportCommand = {"export",
                                "ARCHIVE|TAG|-1",
                                0,
                                1,
                                "Packs an archive with all that is known of it",
                                "The members are NAME/NAME.zul, NAME/history (its line), "
                                "NAME/config (the entry that counts\n"
                                "for its tag) and, with --log, NAME/log (the lines of its event); "
                                "what there is nothing of is\n"
                                "left out. FILE.tar must not be there yet.",
                                kOptions,
                                runExport};

}  // namespace zulctl
