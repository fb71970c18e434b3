// SPDX-License-Identifier: Apache-2.0

#include <algorithm>

#include "zulctl/commands/Commands.h"
#include "zulctl/commands/ConfigCheck.h"
#include "zulctl/commands/Masks.h"
#include "zulctl/log/LogEvents.h"
#include "zulctl/store/OneCapture.h"
#include "zulctl/store/StartFiles.h"
#include "zulctl/store/TagLibrary.h"

namespace zulctl {

namespace {

constexpr Option kOptions[] = {kNewestOption};

/** One fact after the other, as lines or as one object. */
class Facts {
  public:
    explicit Facts(Output& out) : mOut(out) {}

    void add(const char* name, const std::string& value) {
        if (mOut.json()) {
            mObject.add(name, value);
        } else if (!value.empty()) {
            std::string line = name;
            line.resize(std::max(line.size() + 1, size_t{11}), ' ');
            mOut.line(line + printable(value));
        }
    }
    /** A number, which lines show as a text with another name. */
    void addNumber(const char* name, int64_t value, const char* textName, const std::string& text) {
        mOut.json() ? void(mObject.add(name, value)) : add(textName, text);
    }
    /** How long it took, and what tells it; lines have a ~ for what is no more than a guess. */
    void addTook(const Took& took) {
        if (!took.isKnown()) return;
        addNumber("took_ms", took.milliseconds, "took", took.text());
        if (mOut.json()) mObject.add("took_from", took.fromLog ? "log" : "file");
    }
    void addYesNo(const char* name, bool value) {
        mOut.json() ? void(mObject.add(name, value)) : add(name, value ? "yes" : "no");
    }
    void finish() {
        if (mOut.json()) mOut.print(mObject);
    }

  private:
    Output& mOut;
    JsonObject mObject;
};

void addDisk(Facts& facts, const DiskUse& use, const std::optional<Event>& event) {
    if (use.known) {
        facts.addNumber("size", static_cast<int64_t>(use.bytes), "size",
                        humanSize(use.bytes) + " (" + std::to_string(use.bytes) + " bytes)");
    }
    facts.addTook(event && event->whole ? tookOf(*event) : use.took);
}

void addLibrary(Facts& facts, const zul::RowData* row) {
    if (row == nullptr) return;
    facts.add("type", row->eventType);
    facts.add("subtype", row->eventSubType);
    facts.add("flags", row->flag);
    facts.add("command", row->cmd);
    facts.add("text", row->extraInfo);
}

void addRules(Facts& facts, const Rules& rules, const std::string& tag) {
    facts.addYesNo("legal", rules.legalTags.contains(tag));
    const zul::ConfigEntry* entry = zul::findConfigEntry(rules.entries, tag);
    if (entry != nullptr) facts.add("entry", entryText(*entry));
}

void addEvent(Facts& facts, const Event& event, const std::string& tag) {
    facts.add("outcome", outcomeName(event.outcome));
    if (const auto mask = parseMask("0x" + event.mask)) {
        facts.add("mask", hexMask(*mask));
        facts.add("asked_for", namesOf(*mask, vocabularyOf(tag)));
    }
    facts.add("processes", event.processes);
    facts.add("event_text", event.text);
}

Status runInfo(Session& session, const Arguments& arguments) {
    if (!namesCapture(session, arguments)) return Status::WRONG_CALL;
    const Store* store = session.store();
    if (store == nullptr) return Status::PARTLY;
    Captures captures(session, *store);
    const std::optional<OneCapture> found = findCapture(session, arguments, captures);
    if (!found) return Status::NOTHING;
    const std::optional<Event> event = findEvent(session, found->archive, false);

    Facts facts(session.out());
    facts.add("name", found->name);
    facts.add("tag", found->tag);
    facts.add("time", formatWallTime(found->time));
    facts.add("state", nameOf(found->state));
    facts.add("archive", found->archive);
    facts.addYesNo("recorded", found->recorded);
    facts.add("build", found->build);
    addDisk(facts, captures.useOf(found->entry), event);
    TagLibrary library;
    addLibrary(facts, store->isCopy() ? nullptr : library.find(found->tag));
    addRules(facts, rulesOf(readStartFiles(session, *store)), found->tag);
    if (event) addEvent(facts, *event, found->tag);
    facts.finish();
    return Status::FINE;
}

}  // namespace

const Command kInfoCommand = {"info",
                              "ARCHIVE|TAG|-1",
                              0,
                              1,
                              "Tells all that is known of one capture",
                              "A capture is named by its folder or its archive, with or without "
                              "the path, or by its tag: the\n"
                              "newest one of that. Whether the tag is legal, and which entry of "
                              "the configuration counts for\n"
                              "it, is what the next start would find.",
                              kOptions,
                              runInfo};

}  // namespace zulctl
