// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace bench {

/**
 * One capture as a process is asked for it on its channel; all texts are made beforehand. It
 * answers by a double: the seconds that it took, or -1.
 */
struct FloorRequest {
    char tag[64];
    char folder[256];
    char historyFile[64];
    char historyLine[256];
    /** The archive that goes; empty for none. */
    char oldArchive[256];
    /** The event's text. */
    char text[16];
    bool withVfork;
};

}  // namespace bench
