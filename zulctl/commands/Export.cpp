// SPDX-License-Identifier: Apache-2.0

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include "base/Paths.h"
#include "zulctl/commands/Commands.h"
#include "zulctl/commands/ConfigChecker.h"
#include "zulctl/commands/Mask.h"
#include "zulctl/store/Captures.h"
#include "zulctl/store/Rules.h"
#include "zulctl/store/Tar.h"

namespace zulctl {

namespace {

constexpr Option kOptions[] = {
        {'o', "output", "FILE.tar", "what to make; - is the standard output", &Options::output},
};

constexpr char kHelp[] =
        R"(Packs an archive with all that is known of it
A store with this capture alone, below NAME/: data/ZUL/0xffff/NAME.zul, data/ZUL/zul_history
(its line), data/ZUL/config (the entry that counts for its tag) and, with --log, zuld.log (the
lines of its event). FILE.tar must not be there yet. --root=FILE.tar looks into it.)";

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

/** The texts that go with an archive, by their names. */
using Companions = std::vector<std::pair<std::string, std::string>>;

Companions collect(Session& session, const Device& device, Captures& captures,
                   const Capture& capture) {
    const std::string tag(capture.tag);
    std::string history;
    if (capture.recorded) {
        history = tag + "|" + formatWallTime(capture.time) + "|";
        history.append(capture.archive).append("|").append(capture.build).append("\n");
    }
    Companions companions = {{zul::kHistoryFile, history}};
    if (const auto event = captures.eventOf(capture, true)) {
        companions.emplace_back(std::string("/") + kLogName, join(event->lines, "\n") + "\n");
    } else if (device.log) {
        session.remark("the log has no event for it");
    }
    const Rules rules = readStartFiles(session, device.store.get()).rules();
    if (const auto* entry = zul::findConfigEntry(rules.entries, tag)) {
        companions.emplace_back(zul::kConfigFile, entryText(*entry) + "\n");
    }
    return companions;
}

Status exportOf(Session& session, Device& device) {
    keepLog(session, device);
    Captures captures(session, device);
    const auto capture = captures.find(session.options().operands[0]);
    if (!capture) return Status::NOTHING;
    const std::string name(capture->name());
    if (capture->entry == nullptr || !capture->entry->hasArchive) {
        session.remark("there is no archive: " + name + " is " + nameOf(capture->state));
        return Status::NOTHING;
    }

    const zul::ScopedFd folder = capture->entry->folder->open();
    const zul::ScopedFd archive = openRegularAt(folder.get(), (name + zul::kArchiveSuffix).c_str());
    struct stat file = {};
    if (!archive.ok() || fstat(archive.get(), &file) != 0) {
        session.problem(std::string(capture->archive) + ": " + whyNotOpened(errno));
        return Status::PARTLY;
    }
    const Companions companions = collect(session, device, captures, *capture);
    const std::string& outputName = *session.options().output;
    OutputFile output(outputName);
    TarWriter tar(output.get(), time(nullptr));
    bool good = output.ok() && tar.addFile(name + std::string(capture->archive), archive.get(),
                                           static_cast<uint64_t>(file.st_size));
    for (const auto& [path, text] : companions)
        good = good && tar.addText(name + path, text);
    if (!good || !tar.finish()) {
        session.problem(outputName + ": " + (errno != 0 ? strerror(errno) : "the archive was cut"));
        return Status::PARTLY;
    }
    output.done();
    return Status::FINE;
}

Status runExport(Session& session) {
    const Options& options = session.options();
    if (!options.output) return session.wrongCall("needs -o FILE.tar");
    if (options.roots.size() > 1) return session.wrongCall("exports of one --root alone");
    if (*options.output == "-" && isatty(STDOUT_FILENO) != 0) {
        return session.wrongCall("a terminal is no place for an archive");
    }
    Status status = Status::NOTHING;
    session.forEachDevice([&](Device& device) { status = exportOf(session, device); });
    return status;
}

}  // namespace

const Command kExportCommand = {"export", "ARCHIVE|TAG", 1, 1, kHelp, kOptions, true, runExport};

}  // namespace zulctl
