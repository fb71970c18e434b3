// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "sim/control/Event.h"

namespace sim {

/** Makes the call for an event. The two binders' callbacks differ only in their types. */
template <class Callback>
auto callWith(Callback& callback, const Event& event) {
    switch (event.kind) {
        case EventKind::SIMP:
            return callback.onRunSimpZULCallback(event.sceneType, event.pid);
        case EventKind::ZUL:
            return callback.onRunZULCallback(event.sceneType, event.flag, event.pid,
                                             event.extraInfo);
        case EventKind::SIMP_MULTI:
            return callback.onRunSimpMultiPidZULCallback(event.sceneType, event.multiPid);
        case EventKind::MULTI:
            break;
    }
    return callback.onRunMultiPidZULCallback(event.sceneType, event.flag, event.multiPid,
                                             event.extraInfo);
}

}  // namespace sim
