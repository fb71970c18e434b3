// SPDX-License-Identifier: Apache-2.0

#include "zulctl/commands/Commands.h"
#include "zulctl/commands/ConfigChecker.h"
#include "zulctl/commands/Mask.h"
#include "zulctl/store/Captures.h"
#include "zulctl/store/Rules.h"

namespace zulctl {

namespace {

constexpr char kHelp[] =
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

}  // namespace

const Command kInfoCommand = {"info", "ARCHIVE|TAG", 1, 1, kHelp, {}, true, runInfo};

}  // namespace zulctl
