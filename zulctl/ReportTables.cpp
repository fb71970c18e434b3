// SPDX-License-Identifier: Apache-2.0

#include "zulctl/ReportTables.h"

#include <algorithm>
#include <initializer_list>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "zulctl/Masks.h"
#include "zulctl/Output.h"
#include "zulctl/ReportTimeline.h"

namespace zulctl {

namespace {

constexpr size_t kMostTags = 200;
constexpr size_t kLongestText = 300;
constexpr size_t kMostTurns = 100;
constexpr size_t kMostEntries = 200;
/** Tags that are named for one entry of the configuration. */
constexpr size_t kMostNamed = 20;

/** What the cells of a column hold. */
enum class Cell { TEXT, NUMBER, NAME, /** A percentage, drawn as a bar. */ SHARE };

/** Their classes in the style. */
constexpr const char* kCellClasses[] = {"t", "n", "m", "s"};

struct Heading {
    const char* text;
    Cell cell;
};

/** Makes one table; its columns may scroll by themselves where the page is narrow. */
class ReportTable {
  public:
    ReportTable(Markup& page, const char* name, std::initializer_list<Heading> headings)
          : mPage(page), mHeadings(headings) {
        mPage.open(
                "div",
                {{"class", "wrap"}, {"role", "region"}, {"aria-label", name}, {"tabindex", "0"}});
        mPage.open("table").open("tr");
        for (const Heading& heading : mHeadings)
            mPage.add("th", {{"scope", "col"}, {"class", classOf(heading.cell)}}, heading.text);
        mPage.close();
    }
    ~ReportTable() { mPage.close().close(); }
    ReportTable(const ReportTable&) = delete;
    ReportTable& operator=(const ReportTable&) = delete;

    /** A row with a text for each heading; `anchor` may be empty. */
    void row(const std::vector<std::string>& texts, const std::string& anchor = "") {
        if (anchor.empty()) {
            mPage.open("tr");
        } else {
            mPage.open("tr", {{"id", anchor}});
        }
        for (size_t i = 0; i < texts.size(); i++)
            addCell(mHeadings[i].cell, texts[i]);
        mPage.close();
    }

  private:
    void addCell(Cell cell, const std::string& whole) {
        const std::string text = shortened(whole, kLongestText);
        if (cell == Cell::TEXT) {
            mPage.add("td", {}, text);
            return;
        }
        if (cell != Cell::SHARE) {
            mPage.add("td", {{"class", classOf(cell)}}, text);
            return;
        }
        mPage.open("td").open("svg", {{"width", "80"}, {"height", "18"}, {"aria-hidden", "true"}});
        mPage.addEmpty("rect", {{"class", "share"}, {"y", "6"}, {"width", text}, {"height", "8"}});
        mPage.close().close();
    }

    static const char* classOf(Cell cell) { return kCellClasses[static_cast<size_t>(cell)]; }

    Markup& mPage;
    const std::vector<Heading> mHeadings;
};

/** What became of one tag's captures. */
struct TagSum {
    size_t captured = 0;
    size_t kept = 0;
    size_t left = 0;
    size_t dropped = 0;
    uint64_t bytes = 0;
    std::vector<int64_t> times;
    /** A time is exact only where all that it is made from are. */
    bool allFromLog = true;
};

std::map<std::string, TagSum> sumUp(const Story& story) {
    std::map<std::string, TagSum> sums;
    for (const CaptureStory& capture : story.captures) {
        TagSum& sum = sums[capture.tag];
        sum.captured++;
        if (capture.state == State::LEFT) {
            sum.left++;
        } else if (capture.use.known && capture.state != State::RUNNING) {
            sum.kept++;
        }
        sum.bytes += capture.use.bytes;
        if (!capture.took.isKnown()) continue;
        sum.times.push_back(capture.took.milliseconds);
        sum.allFromLog = sum.allFromLog && capture.took.fromLog;
    }
    for (const Event& event : story.events)
        if (isDropped(event.outcome)) sums[event.tag].dropped++;
    return sums;
}

double shareOf(uint64_t part, uint64_t all) {
    return all > 0 ? static_cast<double>(part) / static_cast<double>(all) : 0;
}

void tellRest(size_t all, size_t shown, const char* what, Markup& page) {
    if (all > shown) page.add("p", {{"class", "soft"}}, "And " + counted(all - shown, what) + ".");
}

}  // namespace

void addTags(const Story& story, Markup& page) {
    std::vector<std::pair<std::string, TagSum>> sums;
    for (auto& [tag, sum] : sumUp(story))
        sums.emplace_back(tag, std::move(sum));
    std::stable_sort(sums.begin(), sums.end(),
                     [](const auto& a, const auto& b) { return a.second.bytes > b.second.bytes; });
    uint64_t all = 0;
    for (const auto& [tag, sum] : sums)
        all += sum.bytes;
    page.add("h2", {}, "Tags");
    {
        ReportTable table(page, "Tags",
                          {{"Tag", Cell::NAME},
                           {"Captured", Cell::NUMBER},
                           {"Kept", Cell::NUMBER},
                           {"Left", Cell::NUMBER},
                           {"Dropped", Cell::NUMBER},
                           {"On disk", Cell::NUMBER},
                           {"", Cell::SHARE},
                           {"Median", Cell::NUMBER},
                           {"Longest", Cell::NUMBER}});
        for (size_t i = 0; i < std::min(sums.size(), kMostTags); i++) {
            auto& [tag, sum] = sums[i];
            Took median;
            Took longest;
            if (!sum.times.empty()) {
                median = {medianOf(sum.times), sum.allFromLog};
                longest = {*std::max_element(sum.times.begin(), sum.times.end()), sum.allFromLog};
            }
            table.row({tag, std::to_string(sum.captured), std::to_string(sum.kept),
                       std::to_string(sum.left),
                       story.hasLog ? std::to_string(sum.dropped) : std::string("-"),
                       humanSize(sum.bytes), percent(shareOf(sum.bytes, all)), median.text(),
                       longest.text()});
        }
    }
    tellRest(sums.size(), kMostTags, "more tag", page);
}

void addDrops(const Story& story, Markup& page) {
    page.add("h2", {}, "Dropped events");
    if (!story.hasLog) {
        page.add("p", {}, "Not known: there was no log to read (--log).");
        return;
    }
    if (story.drops.empty()) {
        page.add("p", {}, "None.");
        return;
    }
    ReportTable table(page, "Dropped events", {{"Why", Cell::TEXT}, {"Events", Cell::NUMBER}});
    for (const auto& [reason, count] : story.drops) {
        table.row({std::string(reason), std::to_string(count)}, reasonAnchor(story, reason.data()));
    }
}

void addTurns(const Story& story, Markup& page) {
    if (!story.hasLog) return;
    page.add("h2", {}, "Starts of the daemon, and of the engine");
    if (story.turns.empty()) {
        page.add("p", {}, "None.");
        return;
    }
    {
        ReportTable table(page, "Starts",
                          {{"Time", Cell::NAME}, {"What", Cell::TEXT}, {"Process", Cell::NUMBER}});
        for (size_t i = 0; i < std::min(story.turns.size(), kMostTurns); i++) {
            const Turn& turn = story.turns[story.turns.size() - 1 - i];
            table.row({formatLogSecond(turn.time), nameOf(turn.kind), std::to_string(turn.daemon)});
        }
    }
    tellRest(story.turns.size(), kMostTurns, "earlier one", page);
}

void addSurplus(const Story& story, Markup& page) {
    const Surplus& surplus = story.surplus;
    page.add("h2", {}, "What could be freed");
    page.add("p", {},
             counted(surplus.archives, "archive") +
                     " that the daemon does not prune any more, and " +
                     counted(surplus.folders, "folder") +
                     " that collectors have left: " + humanSize(surplus.bytes.value_or(0)) +
                     (surplus.archives + surplus.folders > 0
                              ? ". On the device: zulctl clean -n --unlisted --left"
                              : ""));
}

void addConfiguration(const Story& story, const Rules& rules, Markup& page) {
    page.add("h2", {}, "Configuration");
    if (rules.entries.empty()) {
        page.add("p", {}, "No entry.");
        return;
    }
    std::set<std::string> tags;
    for (const auto& [tag, known] : rules.knownTags)
        tags.insert(tag);
    for (const CaptureStory& capture : story.captures)
        tags.insert(capture.tag);
    for (const Event& event : story.events)
        tags.insert(event.tag);
    std::map<const zul::ConfigEntry*, std::vector<std::string>> hits;
    for (const std::string& tag : tags) {
        if (const auto* entry = zul::findConfigEntry(rules.entries, tag))
            hits[entry].push_back(tag);
    }

    {
        ReportTable table(page, "Configuration",
                          {{"Tag", Cell::NAME},
                           {"Legal", Cell::TEXT},
                           {"Packages", Cell::NAME},
                           {"Bits", Cell::NAME},
                           {"Commands", Cell::NAME},
                           {"Paths", Cell::NAME},
                           {"Counts for", Cell::NAME}});
        for (size_t i = 0; i < std::min(rules.entries.size(), kMostEntries); i++) {
            const zul::ConfigEntry& entry = rules.entries[i];
            const std::vector<std::string>& hit = hits[&entry];
            std::string named;
            for (size_t j = 0; j < std::min(hit.size(), kMostNamed); j++)
                named += (j == 0 ? "" : " ") + hit[j];
            if (hit.size() > kMostNamed) {
                named += " and " + std::to_string(hit.size() - kMostNamed) + " more";
            }
            table.row({entry.tag,
                       entry.enable == "1"   ? "made so"
                       : entry.enable == "0" ? "no"
                                             : "",
                       entry.pkgname,
                       entry.flag != 0 ? hexMask(static_cast<uint64_t>(entry.flag)) : "",
                       entry.cmds, entry.paths, hit.empty() ? "no tag" : named});
        }
    }
    tellRest(rules.entries.size(), kMostEntries, "more one", page);
}

size_t addCaptures(const Story& story, size_t bytes, Markup& page) {
    const size_t all = story.captures.size() + story.moreCaptures;
    page.add("h2", {{"id", "captures"}}, "Captures");
    if (all == 0) {
        page.add("p", {}, "None.");
        return 0;
    }
    const size_t start = page.size();
    size_t listed = 0;
    {
        ReportTable table(page, "Captures",
                          {{"Name: tag, time, number", Cell::NAME},
                           {"State", Cell::TEXT},
                           {"Size", Cell::NUMBER},
                           {"Took", Cell::NUMBER},
                           {"Event", Cell::TEXT}});
        for (const CaptureStory& capture : story.captures) {
            if (page.size() - start > bytes) break;
            table.row({capture.name, nameOf(capture.state),
                       capture.use.known ? humanSize(capture.use.bytes) : "-", capture.took.text(),
                       reasonOf(story, capture)},
                      captureAnchor(listed++));
        }
    }
    tellRest(all, listed, "older one", page);
    return listed;
}

}  // namespace zulctl
