// SPDX-License-Identifier: Apache-2.0

/**
 * zul_fault_table hidl|aidl [KIND...]: makes every call into the system fail that the daemon makes
 * for an event, one after the other, and looks whether the daemon bears it. Kinds are chosen by how
 * their names begin. Exit status 1 when anything was not as it should be.
 */
#include <errno.h>
#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <array>

#include "tests/faults/Trial.h"

namespace zul::test {
namespace {

/** A fault that does not go away, or would be met for ever. */
constexpr uint32_t kMostNumbers = 1000;

struct Tally {
    unsigned tried = 0;
    unsigned survived = 0;
};

std::string errorName(int32_t error) {
    return error == sim::kShort ? "short" : strerrorname_np(error);
}

std::string describe(const Kind& kind, const Fault& fault, const std::string& wrong) {
    return std::string(kind.name) + ": " + sim::kCallNames[static_cast<size_t>(fault.call)] +
           " number " + std::to_string(fault.number) + ", " + errorName(fault.error) + ": " + wrong;
}

/** All points of one kind of event; what is wrong is told at once. */
class Table {
  public:
    explicit Table(Device& device) : mDevice(device), mTallies(kErrors.size()) {}

    void tryKind(const Kind& kind) {
        Trial trial(mDevice, kind);
        trial.reset(true);
        // A real pause, in which others do their part.
        mDevice.page().secondMs = 1000;
        const std::string wrong = trial.tryFault({}, Harm::NOTHING).wrong;
        if (!wrong.empty()) return fail(std::string(kind.name) + " without a fault: " + wrong);
        std::array<uint32_t, sim::kCallCount> made;
        std::copy(std::begin(mDevice.page().seen), std::end(mDevice.page().seen), made.begin());
        for (size_t row = 0; row < kErrors.size(); row++) {
            const Errors& errors = kErrors[row];
            if (made[static_cast<size_t>(errors.call)] == 0) continue;
            for (const int32_t error : errors.errors)
                tryError(kind, trial, row, {errors.call, error}, errors.harm);
            for (const int32_t error : errors.harmless)
                tryError(kind, trial, row, {errors.call, error}, Harm::NOTHING);
        }
    }

    /** Prints the table. @return whether all points were survived. */
    bool print() const {
        printf("\n%-16s %-32s %7s %9s\n", "call", "errors", "points", "survived");
        Tally all;
        for (size_t row = 0; row < kErrors.size(); row++) {
            const Tally& tally = mTallies[row];
            std::string errors;
            for (const auto& list : {kErrors[row].errors, kErrors[row].harmless})
                for (const int32_t error : list)
                    errors += errorName(error) + " ";
            printf("%-16s %-32s %7u %9u\n", sim::kCallNames[static_cast<size_t>(kErrors[row].call)],
                   errors.c_str(), tally.tried, tally.survived);
            all.tried += tally.tried;
            all.survived += tally.survived;
        }
        printf("%-16s %-32s %7u %9u\n", "all", "", all.tried, all.survived);
        return mFailures == 0;
    }

  private:
    void tryError(const Kind& kind, Trial& trial, size_t row, Fault fault, Harm harm) {
        bool broken = false;
        for (fault.number = 1; fault.number <= kMostNumbers; fault.number++) {
            trial.reset(kind.setting.archives > 0 || broken);
            const Outcome outcome = trial.tryFault(fault, harm);
            broken = !outcome.wrong.empty();
            if (broken) fail(describe(kind, fault, outcome.wrong));
            if (!outcome.fired) return;
            mTallies[row].tried++;
            mTallies[row].survived += !broken;
        }
        fail(describe(kind, fault, "the calls do not end"));
    }

    void fail(const std::string& what) {
        printf("FAILED %s\n", what.c_str());
        mFailures++;
    }

    Device& mDevice;
    std::vector<Tally> mTallies;
    unsigned mFailures = 0;
};

}  // namespace
}  // namespace zul::test

int main(int argc, char** argv) {
    using namespace zul::test;
    setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    const std::string mode = argc > 1 ? argv[1] : "hidl";
    Device device(mode);
    device.startEngine();
    Table table(device);
    for (const Kind& kind : kindsOf(mode)) {
        const std::string_view name = kind.name;
        const auto chosen = [name](const char* word) { return name.starts_with(word); };
        if (argc > 2 && std::none_of(argv + 2, argv + argc, chosen)) continue;
        printf("%s\n", kind.name);
        table.tryKind(kind);
    }
    return table.print() ? 0 : 1;
}
