// SPDX-License-Identifier: Apache-2.0

#include "zulctl/ReportTimeline.h"

#include <algorithm>
#include <array>
#include <map>
#include <set>

#include "zulctl/ReportStyle.h"
#include "zulctl/TimeAxis.h"

namespace zulctl {

namespace {

constexpr size_t kMostRows = 40;
/** A row with more marks than this shows how many lie together instead. */
constexpr size_t kMostMarks = 48;
/** Into how many parts a dense row is divided. */
constexpr size_t kParts = 60;
constexpr size_t kMostTurns = 200;
constexpr size_t kLongestLabel = 40;
constexpr size_t kLongestReason = 120;
/** Dates on the axis keep this distance, which is their width in the narrowest picture. */
constexpr double kLabelDistance = 0.26;

// In pixels.
constexpr int kAxisHeight = 34;
constexpr int kRowHeight = 40;
constexpr int kLabelAt = 13;
constexpr int kTrackAt = 27;
constexpr size_t kTallest = 16;

struct Shape {
    const char* name;
    const char* meaning;
};

/** Each is a class and, behind "s-", a shape of the style. */
constexpr Shape kDropped = {"dropped", "dropped: nothing was kept"};
constexpr Shape kCut = {"cut", "time is cut out"};
constexpr Shape kSeveral = {"several", "several: the higher, the more"};
constexpr State kStates[] = {State::PRESENT,     State::MISSING,    State::RUNNING, State::LEFT,
                             State::OVERWRITTEN, State::UNRECORDED, State::UNLISTED};
constexpr Shape kTurnShapes[] = {
        {"turn", "the daemon starts"}, {"gone", "the engine is gone"}, {"back", "it is back"}};

/** A capture or a dropped event. */
struct Mark {
    LogTime start;
    LogTime end;
    const char* shape;
    std::string label;
    std::string link;
};

struct Row {
    /** Short enough for its label. */
    std::string name;
    std::vector<Mark> marks;
};

std::string describe(const Story& story, const CaptureStory& capture) {
    std::string text = shortened(capture.tag, kLongestLabel) + ", " +
                       formatLogSecond(capture.start) + ", " + nameOf(capture.state);
    if (capture.use.known) text += ", " + humanSize(capture.use.bytes);
    if (capture.took.isKnown()) text += ", took " + capture.took.text();
    const std::string reason = reasonOf(story, capture);
    return reason.empty() ? text : text + ", " + shortened(reason, kLongestReason);
}

std::string describe(const Event& event) {
    return shortened(event.tag, kLongestLabel) + ", " + formatLogSecond(event.start) + ", " +
           shortened(reasonOf(event), kLongestReason);
}

/** What is drawn, by the tags; those with the most marks first, the rest in one row. */
std::vector<Row> makeRows(const Story& story, size_t listed) {
    std::map<std::string, std::vector<Mark>> byTag;
    std::set<size_t> told;
    for (size_t i = 0; i < story.captures.size(); i++) {
        const CaptureStory& capture = story.captures[i];
        if (capture.event) told.insert(*capture.event);
        byTag[capture.tag].push_back(
                {.start = capture.start,
                 .end = capture.start + std::max<int64_t>(capture.took.milliseconds, 0),
                 .shape = nameOf(capture.state),
                 .label = describe(story, capture),
                 .link = "#" + (i < listed ? captureAnchor(i) : std::string("captures"))});
    }
    for (size_t i = 0; i < story.events.size(); i++) {
        const Event& event = story.events[i];
        if (!isDropped(event.outcome) || told.contains(i)) continue;
        byTag[event.tag].push_back({.start = event.start,
                                    .end = event.start,
                                    .shape = kDropped.name,
                                    .label = describe(event),
                                    .link = "#" + reasonAnchor(story, event.reason)});
    }

    std::vector<Row> rows;
    rows.reserve(byTag.size());
    for (auto& [tag, marks] : byTag)
        rows.push_back({shortened(tag, kLongestLabel), std::move(marks)});
    std::stable_sort(rows.begin(), rows.end(),
                     [](const Row& a, const Row& b) { return a.marks.size() > b.marks.size(); });
    if (rows.size() > kMostRows) {
        Row rest = {std::to_string(rows.size() - kMostRows + 1) + " other tags", {}};
        for (size_t i = kMostRows - 1; i < rows.size(); i++) {
            std::move(rows[i].marks.begin(), rows[i].marks.end(), std::back_inserter(rest.marks));
        }
        rows.resize(kMostRows - 1);
        rows.push_back(std::move(rest));
    }
    for (Row& row : rows) {
        std::stable_sort(row.marks.begin(), row.marks.end(),
                         [](const Mark& a, const Mark& b) { return a.start < b.start; });
    }
    return rows;
}

/** Draws into one SVG. */
class Drawing {
  public:
    Drawing(const Story& story, std::vector<Row> rows, const TimeAxis& axis, Markup& page)
          : mStory(story), mRows(std::move(rows)), mAxis(axis), mPage(page) {}

    void draw() {
        mHeight = kAxisHeight + kRowHeight * static_cast<int>(mRows.size());
        mPage.open("svg", {{"width", "100%"},
                           {"height", std::to_string(mHeight)},
                           {"role", "group"},
                           {"aria-label", "Timeline of captures and dropped events"}});
        mPage.insertAsIs(kReportShapes);
        drawAxis();
        drawTurns();
        int top = kAxisHeight;
        for (const Row& row : mRows) {
            drawRow(row, top);
            top += kRowHeight;
        }
        mPage.close();
    }

    const std::set<std::string_view>& shapes() const { return mShapes; }

  private:
    void drawAxis() {
        double label = -1;
        const TimeAxis::Piece* before = nullptr;
        for (const TimeAxis::Piece& piece : mAxis.pieces()) {
            if (before != nullptr) drawCut(*before, piece);
            before = &piece;
            const bool fits = piece.from - label >= kLabelDistance &&
                              (piece.from == 0 || piece.from < 1 - 2 * kLabelDistance);
            if (label >= 0 && !fits) continue;
            label = piece.from;
            drawTime(piece.from, piece.time.begin, "start");
        }
        const LogTime last = mAxis.pieces().back().time.end;
        if (last != mAxis.pieces().front().time.begin) drawTime(1, last, "end");
    }

    void drawTime(double at, LogTime time, const char* anchor) {
        const std::string text = formatLogSecond(time);
        const std::string x = percent(at);
        mPage.add("text", {{"class", "soft"}, {"x", x}, {"y", "10"}, {"text-anchor", anchor}},
                  std::string_view(text).substr(0, 10));
        mPage.add("text", {{"class", "soft"}, {"x", x}, {"y", "24"}, {"text-anchor", anchor}},
                  std::string_view(text).substr(11));
    }

    void drawCut(const TimeAxis::Piece& before, const TimeAxis::Piece& behind) {
        mShapes.insert(kCut.name);
        const int64_t pause = (behind.time.begin - before.time.end) / 1000;
        mPage.open("rect", {{"class", "cut"},
                            {"x", percent(before.to + kCutMargin)},
                            {"y", "28"},
                            {"width", percent(behind.from - before.to - 2 * kCutMargin)},
                            {"height", std::to_string(mHeight - 28)}});
        mPage.add("title", {}, "nothing for " + formatDuration(pause)).close();
    }

    void drawTurns() {
        size_t drawn = 0;
        for (auto turn = mStory.turns.rbegin(); turn != mStory.turns.rend(); ++turn) {
            if (drawn++ == kMostTurns) break;
            const char* const shape = kTurnShapes[static_cast<size_t>(turn->kind)].name;
            mShapes.insert(shape);
            const std::string x = percent(mAxis.at(turn->time));
            mPage.open("line", {{"class", shape},
                                {"x1", x},
                                {"x2", x},
                                {"y1", "28"},
                                {"y2", std::to_string(mHeight)}});
            mPage.add("title", {},
                      std::string(nameOf(turn->kind)) + ", " + formatLogSecond(turn->time));
            mPage.close();
        }
    }

    void drawRow(const Row& row, int top) {
        mPage.open("g", {{"role", "group"}, {"aria-label", row.name}});
        mPage.add("text", {{"x", "0"}, {"y", std::to_string(top + kLabelAt)}}, row.name);
        const std::string y = std::to_string(top + kTrackAt);
        mPage.addEmpty("line",
                       {{"class", "track"}, {"x1", "0"}, {"x2", "100%"}, {"y1", y}, {"y2", y}});
        if (row.marks.size() <= kMostMarks) {
            for (const Mark& mark : row.marks)
                drawMark(mark, top);
        } else {
            drawParts(row, top);
        }
        mPage.close();
    }

    void drawMark(const Mark& mark, int top) {
        mShapes.insert(mark.shape);
        const double from = mAxis.at(mark.start);
        const double width = mAxis.at(mark.end) - from;
        const std::string x = percent(from);
        mPage.open("a", {{"href", mark.link}, {"class", mark.shape}, {"aria-label", mark.label}});
        mPage.add("title", {}, mark.label);
        if (width > 0) {
            mPage.addEmpty("rect", {{"class", "bar"},
                                    {"x", x},
                                    {"y", std::to_string(top + kTrackAt - 3)},
                                    {"width", percent(width)},
                                    {"height", "6"}});
        }
        mPage.addEmpty("use", {{"href", std::string("#s-") + mark.shape},
                               {"x", x},
                               {"y", std::to_string(top + kTrackAt)}});
        mPage.close();
    }

    /** Draws what lies in one part of the row as one, the higher the more it is. */
    void drawParts(const Row& row, int top) {
        std::array<std::vector<const Mark*>, kParts> parts;
        size_t most = 0;
        for (const Mark& mark : row.marks) {
            const auto number = static_cast<size_t>(mAxis.at(mark.start) * kParts);
            std::vector<const Mark*>& part = parts[std::min(number, kParts - 1)];
            part.push_back(&mark);
            most = std::max(most, part.size());
        }
        for (size_t i = 0; i < kParts; i++) {
            if (parts[i].size() == 1) drawMark(*parts[i][0], top);
            if (parts[i].size() > 1) drawPart(row, i, parts[i], most, top);
        }
    }

    void drawPart(const Row& row, size_t number, const std::vector<const Mark*>& marks, size_t most,
                  int top) {
        mShapes.insert(kSeveral.name);
        const std::string label = row.name + ", " + formatLogSecond(marks.front()->start) + " to " +
                                  formatLogSecond(marks.back()->start) + ": " + tellShapes(marks);
        const auto height = static_cast<int>(kTallest * marks.size() / most) + 2;
        mPage.open("a",
                   {{"href", marks.back()->link}, {"class", kSeveral.name}, {"aria-label", label}});
        mPage.add("title", {}, label);
        mPage.addEmpty("rect", {{"class", "heap"},
                                {"x", percent(static_cast<double>(number) / kParts)},
                                {"y", std::to_string(top + kTrackAt + 5 - height)},
                                {"width", percent(0.8 / kParts)},
                                {"height", std::to_string(height)}});
        mPage.close();
    }

    /** For instance: 12 present, 3 dropped. */
    static std::string tellShapes(const std::vector<const Mark*>& marks) {
        std::map<std::string, size_t> counts;
        for (const Mark* mark : marks)
            counts[mark->shape]++;
        std::string text;
        for (const auto& [shape, count] : counts)
            text += (text.empty() ? "" : ", ") + std::to_string(count) + " " + shape;
        return text;
    }

    /** Between a cut's box and the pieces beside it. */
    static constexpr double kCutMargin = 0.004;

    const Story& mStory;
    const std::vector<Row> mRows;
    const TimeAxis& mAxis;
    Markup& mPage;
    int mHeight = 0;
    std::set<std::string_view> mShapes;
};

TimeAxis axisOf(const Story& story, const std::vector<Row>& rows) {
    std::vector<TimeSpan> busy;
    for (const Row& row : rows) {
        for (const Mark& mark : row.marks)
            busy.push_back({mark.start, mark.end});
    }
    for (const Turn& turn : story.turns)
        busy.push_back({turn.time, turn.time});
    return TimeAxis(std::move(busy));
}

void addLegend(const std::set<std::string_view>& shapes, Markup& page) {
    page.open("ul", {{"class", "legend"}});
    const auto addSign = [&page](const Shape& shape,
                                 void (*draw)(const Shape& shape, Markup& page)) {
        page.open("li");
        page.open("svg", {{"width", "14"},
                          {"height", "14"},
                          {"class", shape.name},
                          {"aria-hidden", "true"}});
        draw(shape, page);
        page.close().text(shape.meaning).close();
    };
    const auto mark = [](const Shape& shape, Markup& out) {
        out.addEmpty("use", {{"href", std::string("#s-") + shape.name}, {"x", "7"}, {"y", "7"}});
    };
    const auto line = [](const Shape& shape, Markup& out) {
        out.addEmpty("line",
                     {{"class", shape.name}, {"x1", "7"}, {"x2", "7"}, {"y1", "0"}, {"y2", "14"}});
    };
    const auto box = [](const Shape& shape, Markup& out) {
        out.addEmpty("rect",
                     {{"class", shape.name}, {"x", "2"}, {"width", "10"}, {"height", "14"}});
    };
    for (const State state : kStates) {
        if (shapes.contains(nameOf(state))) addSign({nameOf(state), nameOf(state)}, mark);
    }
    for (const Shape& shape : {kDropped, kSeveral}) {
        if (shapes.contains(shape.name)) addSign(shape, mark);
    }
    for (const Shape& shape : kTurnShapes) {
        if (shapes.contains(shape.name)) addSign(shape, line);
    }
    if (shapes.contains(kCut.name)) addSign(kCut, box);
    page.close();
}

}  // namespace

std::string captureAnchor(size_t number) {
    return "c" + std::to_string(number);
}

std::string reasonAnchor(const Story& story, const char* reason) {
    return "r" + std::to_string(std::distance(story.drops.begin(), story.drops.find(reason)));
}

void drawTimeline(const Story& story, size_t listed, Markup& page) {
    std::vector<Row> rows = makeRows(story, listed);
    const TimeAxis axis = axisOf(story, rows);
    if (axis.pieces().empty()) {
        page.add("p", {}, "No capture, and no event.");
        return;
    }
    page.open("div", {{"class", "picture"}});
    Drawing drawing(story, std::move(rows), axis, page);
    drawing.draw();
    addLegend(drawing.shapes(), page);
    page.close();
}

}  // namespace zulctl
