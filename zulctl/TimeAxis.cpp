// SPDX-License-Identifier: Apache-2.0

#include "zulctl/TimeAxis.h"

#include <algorithm>

namespace zulctl {

namespace {

/** A pause is cut out when it is longer than this, and than this share of all that is shown. */
constexpr LogTime kShortestCut = 60 * 1000;
constexpr double kLongestShare = 0.3;
constexpr size_t kMostCuts = 12;
// Shares of the line: 12 cuts and 13 pieces leave an eighth to be shared by length.
constexpr double kCutWidth = 0.025;
constexpr double kLeastWidth = 0.044;

LogTime lengthOf(const TimeSpan& span) {
    return span.end - span.begin;
}

/** The spans in order, those that touch each other as one. */
std::vector<TimeSpan> merge(std::vector<TimeSpan> spans) {
    std::sort(spans.begin(), spans.end(),
              [](const TimeSpan& a, const TimeSpan& b) { return a.begin < b.begin; });
    std::vector<TimeSpan> merged;
    for (const TimeSpan& span : spans) {
        if (merged.empty() || span.begin > merged.back().end) {
            merged.push_back(span);
        } else {
            merged.back().end = std::max(merged.back().end, span.end);
        }
    }
    return merged;
}

/** Where the line is cut: behind the spans of these numbers. */
std::vector<size_t> chooseCuts(const std::vector<TimeSpan>& spans) {
    std::vector<std::pair<LogTime, size_t>> pauses;
    for (size_t i = 0; i + 1 < spans.size(); i++)
        pauses.emplace_back(spans[i + 1].begin - spans[i].end, i);
    std::sort(pauses.rbegin(), pauses.rend());

    std::vector<size_t> cuts;
    LogTime shown = spans.back().end - spans.front().begin;
    for (const auto& [pause, number] : pauses) {
        const bool isLong = pause > kShortestCut &&
                            static_cast<double>(pause) > kLongestShare * static_cast<double>(shown);
        if (!isLong || cuts.size() == kMostCuts) break;
        cuts.push_back(number);
        shown -= pause;
    }
    std::sort(cuts.begin(), cuts.end());
    return cuts;
}

}  // namespace

TimeAxis::TimeAxis(std::vector<TimeSpan> busy) {
    const std::vector<TimeSpan> spans = merge(std::move(busy));
    if (spans.empty()) return;
    LogTime shown = 0;
    size_t first = 0;
    std::vector<size_t> lasts = chooseCuts(spans);
    lasts.push_back(spans.size() - 1);
    for (const size_t last : lasts) {
        mPieces.push_back({.time = {spans[first].begin, spans[last].end}, .from = 0, .to = 0});
        shown += lengthOf(mPieces.back().time);
        first = last + 1;
    }

    const auto count = static_cast<double>(mPieces.size());
    const double shared = 1 - (count - 1) * kCutWidth - count * kLeastWidth;
    double at = 0;
    for (Piece& piece : mPieces) {
        const double share =
                shown > 0 ? static_cast<double>(lengthOf(piece.time)) / static_cast<double>(shown)
                          : 1 / count;
        piece.from = at;
        piece.to = at + kLeastWidth + shared * share;
        at = piece.to + kCutWidth;
    }
}

double TimeAxis::at(LogTime time) const {
    if (mPieces.empty()) return 0;
    const auto behind = std::find_if(mPieces.begin(), mPieces.end(),
                                     [time](const Piece& piece) { return piece.time.end >= time; });
    if (behind == mPieces.end()) return mPieces.back().to;
    const LogTime length = lengthOf(behind->time);
    // A single moment stands in the middle.
    if (length == 0) return (behind->from + behind->to) / 2;
    if (time <= behind->time.begin) return behind->from;
    const double share =
            static_cast<double>(time - behind->time.begin) / static_cast<double>(length);
    return behind->from + share * (behind->to - behind->from);
}

}  // namespace zulctl
