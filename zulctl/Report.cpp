// SPDX-License-Identifier: Apache-2.0

#include <algorithm>
#include <string>

#include "zulctl/Commands.h"
#include "zulctl/Markup.h"
#include "zulctl/ReportStyle.h"
#include "zulctl/ReportTables.h"
#include "zulctl/ReportTimeline.h"
#include "zulctl/Session.h"
#include "zulctl/Story.h"
#include "zulctl/WrittenFile.h"

namespace zulctl {

namespace {

constexpr Option kOptions[] = {
        {'o', "output", "FILE.html", "the page to write; - is the standard output"},
};

/** How large a page may be, with what begins and ends it. */
constexpr size_t kMostBytes = 2000 * 1000;
constexpr size_t kFrameBytes = 16 * 1024;
constexpr size_t kLongestNote = 150;

/** The first sentence: what there is, and from when to when. */
std::string summarize(const Story& story) {
    uint64_t bytes = 0;
    LogTime first = INT64_MAX;
    LogTime last = INT64_MIN;
    for (const CaptureStory& capture : story.captures) {
        bytes += capture.use.bytes;
        first = std::min(first, capture.start);
        last = std::max(last, capture.start);
    }
    std::string text = counted(story.captures.size() + story.moreCaptures, "capture");
    if (!story.captures.empty()) {
        text += " from " + formatLogSecond(first) + " to " + formatLogSecond(last) + ", " +
                humanSize(bytes) + " on disk";
    }
    if (story.hasLog) {
        size_t dropped = 0;
        for (const auto& [reason, count] : story.drops)
            dropped += count;
        text += "; " + counted(story.events.size(), "event") + " in the log, " +
                std::to_string(dropped) + " of them dropped";
    }
    return text + ".";
}

/** From when the page is, and what it may lack: it goes to those who did not see the call. */
void addReservations(const Session& session, const Story& story, Markup& page) {
    std::string text;
    if (story.now > 0) text = "As of " + formatWallTime(story.now) + ", in the device's time.";
    if (!story.hasLog) {
        text.append(text.empty() ? "" : " ")
                .append("Without a log (--log) nothing is known of dropped events, and what a "
                        "capture took is told by the times of files (~).");
    }
    if (!text.empty()) page.add("p", {{"class", "soft"}}, text);
    for (const std::string& told : session.told())
        page.add("p", {}, "Note: " + shortened(told, kLongestNote));
}

Markup makePage(const Session& session, const Story& story, const Rules& rules) {
    Markup tables;
    addTags(story, tables);
    addDrops(story, tables);
    addTurns(story, tables);
    addSurplus(story, tables);
    addConfiguration(story, rules, tables);
    Markup picture;
    drawTimeline(story, story.captures.size(), picture);
    // The list takes what room is left. Where it cannot hold all, the marks have to know.
    Markup list;
    const size_t taken = kFrameBytes + tables.size() + picture.size();
    const size_t listed = addCaptures(story, kMostBytes - std::min(kMostBytes, taken), list);
    if (listed < story.captures.size()) {
        picture = Markup();
        drawTimeline(story, listed, picture);
    }

    Markup page;
    page.insertAsIs("<!DOCTYPE html>\n");
    page.open("html", {{"xmlns", "http://www.w3.org/1999/xhtml"}, {"lang", "en"}});
    page.open("head");
    page.addEmpty("meta", {{"charset", "utf-8"}});
    page.addEmpty("meta", {{"http-equiv", "Content-Security-Policy"},
                           {"content", "default-src 'none'; style-src 'unsafe-inline'"}});
    page.addEmpty("meta", {{"name", "viewport"}, {"content", "width=device-width"}});
    page.add("title", {}, "Captures");
    page.open("style").insertAsIs(kReportStyle).close();
    page.close();

    page.open("body").open("main");
    page.add("h1", {}, "Captures");
    page.add("p", {}, summarize(story));
    addReservations(session, story, page);
    page.add("h2", {}, "Timeline");
    page.insert(picture).insert(tables);
    page.insert(list);
    page.close().close().close();
    return page;
}

Status runReport(Session& session, const Arguments& arguments) {
    const std::string* name = arguments.value("output");
    if (name == nullptr) return session.wrongCall("needs -o FILE.html");
    const Store* store = session.store();
    if (store == nullptr) return Status::PARTLY;
    const Story story = tellStory(session, *store);
    const Rules rules = rulesOf(readStartFiles(session, *store));
    return writeWhole(session, *name, makePage(session, story, rules).string()) ? Status::FINE
                                                                                : Status::PARTLY;
}

}  // namespace

const Command kReportCommand = {"report",
                                "",
                                0,
                                0,
                                "Writes a page that shows all captures: when, how long, how large",
                                "The page is one file without scripts that asks for nothing else. "
                                "With --log it also shows which\n"
                                "events were dropped and why, and when daemon and engine started. "
                                "The newest 100,000 captures\n"
                                "are drawn; they are listed as far as 2 MB reach.",
                                kOptions,
                                runReport};

}  // namespace zulctl
