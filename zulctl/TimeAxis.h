// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "zulctl/LogFile.h"

namespace zulctl {

/** From a first to a last millisecond. */
struct TimeSpan {
    LogTime begin;
    LogTime end;
};

/**
 * Puts times on a line from 0 to 1. The longest stretches in which nothing happened are cut out of it, so that
 * bursts which lie days apart can be told from each other.
 */
class TimeAxis {
  public:
    /** A stretch of the line that shows all of its time; between two of them time is cut out. */
    struct Piece {
        TimeSpan time;
        double from;
        double to;
    };

    /** `busy` is what has to be seen, in any order. */
    explicit TimeAxis(std::vector<TimeSpan> busy);

    /** Where a time is; one that is cut out, where it was cut. */
    double at(LogTime time) const;

    /** In the order of time; none where nothing was busy. */
    const std::vector<Piece>& pieces() const { return mPieces; }

  private:
    std::vector<Piece> mPieces;
};

}  // namespace zulctl
