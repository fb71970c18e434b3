// SPDX-License-Identifier: Apache-2.0
#include "bench/DaemonRun.h"

#include <cutils/properties.h>

#include <filesystem>
#include <string_view>

#include "sim/engine/EngineCore.h"

namespace bench {

namespace {

constexpr std::chrono::seconds kRegistrationLimit{10};

/** The engine of a mode, published at its first use; null when that fails. */
sim::EngineCore* engine(bool aidl) {
    static sim::EngineCore cores[] = {{kCallbacks, sim::DieIn::NEVER},
                                      {kCallbacks, sim::DieIn::NEVER}};
    static bool published[2] = {};
    sim::EngineCore& core = cores[aidl];
    if (!published[aidl]) {
        const std::string error = aidl ? sim::publishAidl(core) : sim::publishHidl(core);
        if (!error.empty()) return nullptr;
        published[aidl] = true;
    }
    return &core;
}

}  // namespace

std::unique_ptr<DaemonRun> DaemonRun::start(const char* mode) {
    const bool aidl = std::string_view(mode) == "aidl";
    sim::EngineCore* core = engine(aidl);
    if (core == nullptr) return nullptr;
    property_set("hwservicemanager.disabled", aidl ? "true" : "false");
    property_set("ro.build.type", "userdebug");

    std::unique_ptr<DaemonRun> run(new DaemonRun(core->callbacks()));
    if (core->callbacks().waitFor(kCallbacks, kRegistrationLimit) != kCallbacks) return nullptr;
    run->mCallbacks = core->callbacks().all();
    return run;
}

DaemonRun::DaemonRun(sim::CallbackList& all)
      : mAll(all), mDaemon(new Process({"/system_ext/bin/zuld"})) {}

DaemonRun::~DaemonRun() {
    mCallbacks.clear();
    mDaemon.reset();
    // The layer notices the end on another thread.
    while (mAll.size() > 0) {
    }
}

int DaemonRun::threads() const {
    const std::filesystem::path tasks = "/proc/" + std::to_string(mDaemon->pid()) + "/task";
    std::error_code error;
    return static_cast<int>(std::distance(std::filesystem::directory_iterator(tasks, error), {}));
}

bool DaemonRun::capture(size_t callback, const std::string& tag, const std::string& text) const {
    sim::Event event;
    event.kind = sim::EventKind::ZUL;
    event.sceneType = tag;
    event.extraInfo = text;
    return mCallbacks[callback]->deliver(event).answered;
}

bool installCollector() {
    std::error_code error;
    return std::filesystem::copy_file("/zul/bin/zul_bench_collector",
                                      "/system_ext/bin/zul_dumpstate",
                                      std::filesystem::copy_options::overwrite_existing, error);
}

}  // namespace bench
