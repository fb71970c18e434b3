// SPDX-License-Identifier: Apache-2.0
#include "sim/engine/EngineCore.h"

#include <signal.h>
#include <unistd.h>

#include <utility>

namespace sim {

int32_t EngineCore::getThreadNumber() const {
    if (mDieIn == DieIn::THREAD_NUMBER) {
        kill(getpid(), SIGKILL);
    }
    return mThreadNumber;
}

uint64_t EngineCore::registerCallback(std::shared_ptr<EventSink> sink) {
    if (mDieIn == DieIn::REGISTER) {
        kill(getpid(), SIGKILL);
    }
    return mCallbacks.add(std::move(sink));
}

std::string describePublishing(const std::string& name, int32_t error, int32_t taken) {
    if (error == 0) {
        return "";
    }
    return "cannot publish " + name + ": " +
           (error == taken ? "the name is taken" : "error " + std::to_string(error));
}

}  // namespace sim
