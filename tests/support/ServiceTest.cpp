// SPDX-License-Identifier: Apache-2.0

#include "tests/support/ServiceTest.h"

#include <cutils/properties.h>
#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "tests/support/ServiceState.h"

namespace zul::test {

namespace fs = std::filesystem;

namespace {

constexpr char kOrders[] = "/data/ZUL/collector_orders";
constexpr char kTagTable[] = "/system_ext/etc/zulid_config.tsv";
constexpr char kRecord[] = "/data/ZUL/collector_record";

CollectorRun readArguments(std::istream& record) {
    CollectorRun run;
    size_t count = 0;
    record >> count;
    for (size_t i = 0; i < count; i++) {
        size_t index = 0;
        size_t length = 0;
        record >> index >> length;
        EXPECT_EQ(index, i);
        record.ignore(1);
        std::string argument(length, '\0');
        record.read(argument.data(), static_cast<std::streamsize>(length));
        run.arguments.push_back(argument);
    }
    return run;
}

}  // namespace

ServiceTest::ServiceTest() {
    for (const char* folder : {"/data/ZUL", "/morvfs/stuck_logo", "/dev/__properties__"}) {
        emptyFolder(folder);
    }
    fs::remove_all("/sys/kernel/debug");
    makeTraceInstances("/sys/kernel/tracing/instances/", {"perf", "power", "stab", "com", "cam"});
    resetServiceState();
    // Unloaded, so that the next look-up reads the table of its test.
    if (ZulService::mTagLibrary != nullptr) dlclose(ZulService::mTagLibrary);
    ZulService::mTagLibrary = nullptr;
    FakeSystem::reset();
    FakeTime::reset();
    umask(022);
}

ServiceTest::~ServiceTest() {
    EXPECT_EQ(openFiles(), mOpenFiles);
    std::error_code error;
    fs::copy_file("/zul/system_ext/etc/zulid_config.tsv", kTagTable,
                  fs::copy_options::overwrite_existing, error);
    FakeSystem::reset();
    FakeTime::reset();
}

void ServiceTest::orderCollector(const std::string& orders) {
    writeFile(kOrders, "record\nquick\n" + orders);
}

std::vector<CollectorRun> ServiceTest::collectorRuns() {
    std::vector<CollectorRun> runs;
    std::istringstream record(readFile(kRecord));
    std::string word;
    while (record >> word) {
        if (word == "arguments") {
            runs.push_back(readArguments(record));
        } else if (word == "fd") {
            int fd = -1;
            record >> fd;
            runs.back().descriptors.push_back(fd);
        }
    }
    return runs;
}

void inThreads(int count, const std::function<void(int)>& act) {
    std::vector<std::thread> threads;
    for (int i = 0; i < count; i++)
        threads.emplace_back(act, i);
    for (std::thread& thread : threads)
        thread.join();
}

std::string ServiceTest::property(const std::string& name) {
    char value[PROPERTY_VALUE_MAX] = {};
    property_get(name.c_str(), value, "(unset)");
    return value;
}

std::vector<std::string> ServiceTest::list(const std::string& folder) {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder))
        names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<std::string> ServiceTest::openFiles() {
    std::vector<std::string> paths;
    for (const std::string& fd : list("/proc/self/fd")) {
        std::error_code closed;
        const std::string target = fs::read_symlink("/proc/self/fd/" + fd, closed);
        // What the platform's stand-ins keep is none of these.
        const bool isFile = target.starts_with('/') && !target.starts_with("/dev/socket/");
        if (isFile && !target.starts_with("/proc/")) paths.push_back(target);
    }
    return paths;
}

void ServiceTest::makeTraceInstances(const std::string& root,
                                     const std::vector<std::string>& names) {
    for (const std::string& name : names) {
        fs::create_directories(root + name);
        writeFile(root + name + "/trace_marker", "");
        writeFile(root + name + "/buffer_size_kb", "1408\n");
    }
}

std::string ServiceTest::traceFile(const std::string& instance, const std::string& file) {
    return "/sys/kernel/tracing/instances/" + instance + "/" + file;
}

void ServiceTest::writeTagTable(const std::string& rows) {
    fs::create_directories("/system_ext/etc");
    writeFile(kTagTable, "tagId\tflag\tcmd\textraInfo\teventType\teventSubType\n" + rows);
}

}  // namespace zul::test
