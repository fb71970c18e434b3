// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace bench {

/** One operation of the daemon, at several sizes of what it works on. */
struct Curve {
    const char* name;
    int smallest;
    int largest;
    /** From one size to the next. */
    int factor;
    /** Makes what the operation works on; false when that cannot be made. */
    bool (*prepare)(int size);
    /** Before each run, and not measured: as if there had been none. */
    void (*reset)();
    void (*run)();
    /** After each run, and not measured: whether everything was done. */
    bool (*done)();
};

extern const Curve kConfig;
/** The line of the history found, its archive gone. */
extern const Curve kHistory;
/** The same with an archive that is there, and is removed. */
extern const Curve kHistoryRemoval;
/** The folder of one more capture of a tag that keeps all its archives. */
extern const Curve kArchives;

}  // namespace bench
