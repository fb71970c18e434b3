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

constexpr char kInfoHelp[] =
        R"(Tells all that is known of one capture
A capture is named by its folder or its archive, with or without the path, by what only its
name begins with ("0xffff0101 2025-03-04 05:06"), or by its tag: the newest one of that.
Type, kind, flags, cmd and text of the tag are the tag library's. Whether the tag is legal,
and which entry of the configuration counts for it, is what the next start would find.)";

void addLibrary(Facts& facts, const zul::RowData* row) {
    if (row == nullptr) return;
    facts.add("tag's type", "type", row->eventType);
    facts.add("tag's kind", "subtype", row->eventSubType);
    facts.add("tag's flags", "flags", row->flag);
    facts.add("tag's cmd", "command", row->cmd);
    facts.add("tag's text", "text", row->extraInfo);
}

void addRules(Facts& facts, const Rules& rules, const std::string& tag) {
    facts.add("legal", "legal", Cell::yesNo(rules.legalTags.count(tag) > 0));
    const zul::ConfigEntry* entry = zul::findConfigEntry(rules.entries, tag);
    if (entry != nullptr) facts.add("entry", "entry", entryText(*entry));
}

void addEvent(Facts& facts, const Event& event, const std::string& tag) {
    std::string why = event.reason;
    if (!event.detail.empty()) why += ": " + event.detail;
    const std::string outcome = outcomeName(event.outcome);
    facts.add("outcome", "outcome", {outcome, outcome + (why.empty() ? "" : ", " + why)});
    if (const auto mask = parseMask("0x" + event.mask)) {
        facts.add("mask", "mask", hexMask(*mask));
        facts.add("asked for", "asked_for", bitsText(*mask, tag));
    }
    facts.add("processes", "processes", event.processes);
    facts.add("text", "event_text", event.text);
}

Status runInfo(Session& session) {
    Status status = Status::NOTHING;
    session.forEachDevice([&](Device& device) {
        keepLog(session, device);
        Captures captures(session, device, readStory(session, device));
        const auto capture = captures.find(session.options().operands[0]);
        if (!capture) return;
        status = Status::FINE;
        const std::string& tag = capture->tag;
        Facts facts(session.out(), "", 12);
        if (session.out().severalDevices()) facts.add("device", nullptr, device.name);
        facts.add("name", "name", capture->name());
        facts.add("tag", "tag", tag);
        facts.add("time", "time", formatWallTime(capture->time));
        facts.add("state", "state", nameOf(capture->state));
        facts.add("archive", "archive", capture->archive);
        facts.add("recorded", "recorded", Cell::yesNo(capture->recorded));
        facts.add("build", "build", capture->build);
        if (const auto bytes = captures.bytesOf(*capture)) {
            Cell size = Cell::size(*bytes);
            size.shown += " (" + std::to_string(*bytes) + " bytes)";
            facts.add("size", "size", size);
        }
        const Took took = captures.tookOf(*capture);
        facts.add("took", "took_ms", took.time);
        facts.add(nullptr, "took_from", took.from);
        TagLibrary library(*device.store);
        addLibrary(facts, library.find(tag));
        addRules(facts, readStartFiles(session, device.store.get()).rules(), tag);
        if (const auto event = captures.eventOf(*capture, false)) addEvent(facts, *event, tag);
        facts.finish();
    });
    return status;
}

constexpr Option kExportOptions[] = {
        {'o', "output", "FILE.tar", "what to make; - is the standard output", &Options::output},
};

constexpr char kExportHelp[] =
        R"(Packs an archive with all that is known of it
A store with this capture alone, below NAME/: data/ZUL/0xffff/NAME.zul, data/ZUL/zul_history
(its line), data/ZUL/config (the entry that counts for its tag) and, with --log, zuld.log (the
lines of its event). FILE.tar must not be there yet. --root=FILE.tar looks into it.)";

/** The texts that go with an archive, by their names. */
using Companions = std::vector<std::pair<std::string, std::string>>;

Companions collect(Session& session, const Device& device, Captures& captures,
                   const Capture& capture) {
    const std::string record = capture.tag + "|" + formatWallTime(capture.time) + "|" +
                               capture.archive + "|" + capture.build + "\n";
    Companions companions = {{zul::kHistoryFile, capture.recorded ? record : ""}};
    if (const auto event = captures.eventOf(capture, true)) {
        companions.emplace_back(std::string("/") + kLogName, join(event->lines, "\n") + "\n");
    } else if (device.log) {
        session.remark("the log has no event for it");
    }
    const Rules rules = readStartFiles(session, device.store.get()).rules();
    if (const auto* entry = zul::findConfigEntry(rules.entries, capture.tag)) {
        companions.emplace_back(zul::kConfigFile, entryText(*entry) + "\n");
    }
    return companions;
}

Status exportOf(Session& session, Device& device) {
    keepLog(session, device);
    Captures captures(session, device, readStory(session, device));
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
        session.problem(capture->archive + ": " + whyNotOpened(errno));
        return Status::PARTLY;
    }
    const Companions companions = collect(session, device, captures, *capture);
    const std::string& outputName = *session.options().output;
    const bool isFile = outputName != "-";
    const zul::ScopedFd output(
            isFile ? open(outputName.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600)
                   : fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0));
    TarWriter tar(output.get(), time(nullptr));
    bool good = output.ok() && tar.addFile(name + capture->archive, archive.get(),
                                           static_cast<uint64_t>(file.st_size));
    for (const auto& [path, text] : companions)
        good = good && tar.addText(name + path, text);
    if (!good || !tar.finish()) {
        session.problem(outputName + ": " + (errno != 0 ? strerror(errno) : "the archive was cut"));
        if (isFile && output.ok()) unlink(outputName.c_str());
        return Status::PARTLY;
    }
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

const Command kInfoCommand = {"info", "ARCHIVE|TAG", 1, 1, kInfoHelp, {}, true, runInfo};

const Command kExportCommand = {"export",    "ARCHIVE|TAG",  1,    1,
                                kExportHelp, kExportOptions, true, runExport};

}  // namespace zulctl
