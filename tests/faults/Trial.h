// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "tests/faults/Device.h"
#include "tests/faults/Tables.h"

namespace zul::test {

/** What came of a trial; an empty text means that nothing is wrong. */
struct Outcome {
    bool fired = false;
    std::string wrong;
};

/** One kind of event, tried on the device again and again. */
class Trial {
  public:
    Trial(Device& device, const Kind& kind) : mDevice(device), mKind(kind) {}

    /** Brings the store back to what the kind starts from, with a new daemon if asked. */
    void reset(bool anew);
    /** One event with a fault, and one without it if the fault was met. */
    Outcome tryFault(const Fault& fault, Harm harm);

  private:
    /** One event and all that must hold after any. */
    std::string run(const Fault& fault);
    /** What came of the event, as far as a failed call must not have harmed it. */
    std::string checkEffect(Harm harm) const;
    std::string checkCollected() const;
    std::string checkLog() const;
    std::string checkProcess();
    std::string checkCounts(const Fault& fault);
    std::string checkFiles(const Fault& fault) const;
    size_t oldArchives() const;
    void predict();

    Device& mDevice;
    const Kind& mKind;
    size_t mOpenFiles = 0;
    /** By how much global pruning has lowered the count below what is listed. */
    int64_t mDrift = 0;
    bool mRegistered = true;

    // As it was before the event.
    size_t mLogStart = 0;
    std::string mHistory;
    size_t mOldArchives = 0;
    /** What the event's folder has to be called. */
    std::string mFolder;
};

}  // namespace zul::test
