// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "sim/engine/CallbackList.h"

namespace sim {

/** The call in which the engine ends by SIGKILL, as a crashing vendor process would. */
enum class DieIn { NEVER, THREAD_NUMBER, REGISTER };

/** What the engine answers, whichever binder asks. */
class EngineCore {
  public:
    EngineCore(int32_t threadNumber, DieIn dieIn) : mThreadNumber(threadNumber), mDieIn(dieIn) {}

    int32_t getThreadNumber() const;
    /** Returns the callback's key in the list. */
    uint64_t registerCallback(std::shared_ptr<EventSink> sink);
    CallbackList& callbacks() { return mCallbacks; }

  private:
    const int32_t mThreadNumber;
    const DieIn mDieIn;
    CallbackList mCallbacks;
};

/**
 * Publish the engine as the instance "default" and start the threads that serve it; the core must
 * live as long as the process. Each returns an empty text, or why it could not be published.
 */
std::string publishHidl(EngineCore& core);
std::string publishAidl(EngineCore& core);

/** Why a name could not be published; empty for error 0. `taken` is the error of a name in use. */
std::string describePublishing(const std::string& name, int32_t error, int32_t taken);

}  // namespace sim
