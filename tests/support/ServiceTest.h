// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "service/ZulService.h"
#include "tests/support/CaseName.h"
#include "tests/support/FakeSystem.h"
#include "tests/support/FakeTime.h"
#include "tests/support/Files.h"
#include "tests/support/LogCapture.h"

namespace zul::test {

// The matchers that tests speak with.
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::Pair;
using testing::SizeIs;
using testing::StartsWith;
using testing::UnorderedElementsAre;

/** What the collector stand-in recorded of one run. */
struct CollectorRun {
    std::vector<std::string> arguments;
    /** Its open descriptors. */
    std::vector<int> descriptors;
};

/** The daemon in its box, as at start: shared state empty, output roots empty, no property set. */
class ServiceTest : public testing::Test {
  protected:
    ServiceTest();
    ~ServiceTest() override;

    /** Makes the collector record every run and do nothing else, then obey `orders`, one a line. */
    static void orderCollector(const std::string& orders = "");
    static std::vector<CollectorRun> collectorRuns();

    /** As the function of that name, but a failure is the test's. */
    static void writeFile(const std::string& path, const std::string& text) {
        EXPECT_TRUE(test::writeFile(path, text)) << path;
    }
    /** "(unset)" where there is none. */
    static std::string property(const std::string& name);
    /** The names in a folder, sorted. */
    static std::vector<std::string> list(const std::string& folder);
    /** The paths that this process has open. */
    static std::vector<std::string> openFiles();
    /** Makes plain files for trace instances under `root`. */
    static void makeTraceInstances(const std::string& root, const std::vector<std::string>& names);
    /** A file of a trace instance, where a new kernel has it. */
    static std::string traceFile(const std::string& instance, const std::string& file);
    /** What the tag library knows, from the next look-up of this test on. */
    static void writeTagTable(const std::string& rows);
    static void admit(const std::string& tag) { ZulService::mTagTable[tag]; }
    static std::vector<std::string>& archives(const std::string& tag) {
        return ZulService::mTagTable.at(tag);
    }

    const android::sp<ZulService> mService = new ZulService();
    LogCapture mLog;

  private:
    /** Before a test, as after it. */
    const std::vector<std::string> mOpenFiles = openFiles();
};

/** Calls `act` with 0, 1, ... at once, each in a thread of its own, and waits for all of them. */
void inThreads(int count, const std::function<void(int)>& act);

/** A fixture whose tests take one row of a table at a time. */
template <class Case, class Base = ServiceTest>
class TableTest : public Base, public testing::WithParamInterface<Case> {};

}  // namespace zul::test
