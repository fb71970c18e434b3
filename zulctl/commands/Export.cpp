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
#include "zulctl/store/OneCapture.h"
#include "zulctl/store/StartFiles.h"
#include "zulctl/store/Tar.h"

namespace zulctl {

namespace {

constexpr Option kOptions[] = {
        {'o', "output", "FILE.tar", "what to make; - is the standard output", &Options::output},
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

Companions collect(Session& session, const Device& device, Captures& captures,
                   const OneCapture& found) {
    Companions companions;
    const Capture& capture = found.capture;
    if (capture.recorded) {
        companions.history = found.tag + "|" + formatWallTime(capture.time) + "|" + found.archive +
                             "|" + found.build + "\n";
    }
    if (const auto event = findEvent(session, device, captures, found.archive, true)) {
        for (const std::string& line : event->lines)
            companions.log += line + "\n";
    } else if (device.log) {
        session.remark("the log has no event for it");
    }
    const Rules rules = rulesOf(readStartFiles(session, *device.store));
    if (const auto* entry = zul::findConfigEntry(rules.entries, found.tag)) {
        companions.config = entryText(*entry) + "\n";
    }
    return companions;
}

/** A store with this capture alone, which --root takes. */
bool writeTar(TarWriter& tar, const OneCapture& found, int archive, uint64_t size,
              const Companions& companions) {
    const std::string folder(found.capture.name());
    const auto add = [&](const std::string& path, const std::string& text) {
        return text.empty() || tar.addText(folder + path, text);
    };
    return tar.addFile(folder + found.archive, archive, size) &&
           tar.addText(folder + zul::kHistoryFile, companions.history) &&
           add(std::string("/") + kLogName, companions.log) &&
           add(zul::kConfigFile, companions.config) && tar.finish();
}

Status exportOf(Session& session, Device& device) {
    keepLog(session, device);
    Captures captures(session, device);
    const auto found = findCapture(session, session.options().operands[0], captures);
    if (found == nullptr) return Status::NOTHING;
    const Capture& capture = found->capture;
    const std::string name(capture.name());
    if (capture.entry == nullptr || !capture.entry->hasArchive) {
        session.remark("there is no archive: " + name + " is " + nameOf(capture.state));
        return Status::NOTHING;
    }

    const zul::ScopedFd folder = DiskIndex::open(*capture.entry->folder);
    const zul::ScopedFd archive(openRegularAt(folder.get(), (name + zul::kArchiveSuffix).c_str()));
    struct stat file = {};
    if (!archive.ok() || fstat(archive.get(), &file) != 0) {
        session.problem(found->archive + ": " + whyNotOpened(errno));
        return Status::PARTLY;
    }
    const Companions companions = collect(session, device, captures, *found);
    const std::string& outputName = *session.options().output;
    OutputFile output(outputName);
    TarWriter tar(output.get(), time(nullptr));
    if (!output.ok() ||
        !writeTar(tar, *found, archive.get(), static_cast<uint64_t>(file.st_size), companions)) {
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

const Command kExportCommand = {
        "export",
        "ARCHIVE|TAG",
        1,
        1,
        "Packs an archive with all that is known of it",
        "A store with this capture alone, below NAME/: data/ZUL/0xffff/NAME.zul, "
        "data/ZUL/zul_history\n"
        "(its line), data/ZUL/config (the entry that counts for its tag) and, with --log, zuld.log "
        "(the\n"
        "lines of its event). FILE.tar must not be there yet. --root=FILE.tar looks into it.",
        kOptions,
        true,
        runExport};

}  // namespace zulctl
