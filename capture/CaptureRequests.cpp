// SPDX-License-Identifier: Apache-2.0

#include <unistd.h>

#include <iterator>
#include <optional>
#include <utility>

#include "base/Files.h"
#include "base/Log.h"
#include "base/Paths.h"
#include "base/Text.h"
#include "rules/ConfigText.h"
#include "rules/SceneTypes.h"
#include "service/ZulService.h"

namespace zul {

namespace {

/** What distinguishes the four requests. */
struct Variation {
    /** For the log lines of the two requests that a tag describes. */
    const char* name;
    /** Mask, texts and command come from the tag library; otherwise mask and text from the engine. */
    bool describedByTag;
    bool logsTagFields;
    bool filtersPackage;
    bool severalProcesses;
};

// clang-format off
//                                      name                    byTag  fields filter several
constexpr Variation kZul =             {"startZul",             false, false, true,  false};
constexpr Variation kSimpZul =         {"startSimpZul",         true,  true,  true,  false};
constexpr Variation kSimpMultiPidZul = {"startSimpMultiPidZul", true,  false, false, true};
constexpr Variation kMultiPidZul =     {"startMultiPidZul",     false, false, false, true};
// clang-format on

constexpr char kTraceProbe[] = "/sys/kernel/debug/tracing/instances/perf/trace_marker";

/** The trace instances of the types '1' to '6'. */
constexpr const char* kTraceInstances[] = {"perf", "power", "stab", "com", "com", "cam"};
constexpr char kFirstType = '1';
constexpr char kLastType = kFirstType + static_cast<int>(std::size(kTraceInstances)) - 1;
constexpr char kStabilityType = '3';
/** FLAG_ZUL_COPY_BUFFER: a stability scene also runs the collector. */
constexpr int64_t kCopyBufferFlag = int64_t{1} << 62;

/** One event on its way through the pipeline. */
struct Request {
    /** Whose capture state it fills. */
    ZulService& service;
    const Variation& variation;
    const std::string sceneType;
    int64_t flag = 0;
    const int pid = 0;
    const std::string multiPid = {};
    /** The event's text: paths, commands, or anything else. */
    std::string extraInfo = {};
    /** Where the kernel's trace instances are, with a "/" at the end. */
    std::string traceRoot = {};
};

// The steps of a request, in order. A step that returns false ends the request.

/**
 * Clears what not every request sets, so that nothing of the last one reaches the collector. Scene
 * type and time of the last folder stay: a run without a folder reports those.
 */
void resetCapture(ZulService& service) {
    service.mZulCmd.clear();
    service.mEventType.clear();
    service.mEventSubType.clear();
    service.mMultiPid.clear();
    service.mPid = 0;
}

/** Takes mask, text and command from the tag library. */
bool describeByTag(Request& request) ZUL_EXCLUDES(ZulService::mServiceLock) {
    const char* name = request.variation.name;
    const char* sceneType = request.sceneType.c_str();
    const RowData row = ZulService::getZulInfoByTag(request.sceneType);
    if (row.tagId.empty()) {
        LOGD("%s Illegal ZUL TAG %s,break", name, sceneType);
        return false;
    }
    LOGD("sceneType===%s,sceneType.length()=%d", sceneType,
         static_cast<int>(request.sceneType.size()));
    if (request.variation.logsTagFields) {
        LOGI("%s flag = %s", name, row.flag.c_str());
        LOGI("%s mZulCmd = %s", name, row.cmd.c_str());
        LOGI("%s extraInfo = %s", name, row.extraInfo.c_str());
        LOGI("%s eventType = %s", name, row.eventType.c_str());
        LOGI("%s eventSubType = %s", name, row.eventSubType.c_str());
    }

    ZulService& service = request.service;
    request.flag = service.getZulFlag(row.flag, request.sceneType);
    request.extraInfo = row.extraInfo;
    service.mZulCmd = row.cmd;
    service.mEventType = row.eventType;
    service.mEventSubType = row.eventSubType;
    LOGI("%s sceneType===%s, flag = 0x%llx; mZulCmd = %s; extraInfo = %s; mEventType = %s; "
         "mEventSubType = %s",
         name, sceneType, static_cast<unsigned long long>(request.flag), service.mZulCmd.c_str(),
         request.extraInfo.c_str(), service.mEventType.c_str(), service.mEventSubType.c_str());
    return true;
}

/**
 * The daemon may not read the chip vendor's databases, so the collector gets copies. Waits a second for
 * them, and so runs without mServiceLock.
 */
bool fetchVendorDatabases(Request& request) {
    if (!contains(request.extraInfo, kVendorDatabases)) return true;
    std::string copies = ZulService::copyVndFile(request.extraInfo);
    if (!ZulService::vndFileExist(copies)) {
        LOGE("%s copy to %s failed.", request.extraInfo.c_str(), copies.c_str());
        return false;
    }
    request.extraInfo = std::move(copies);
    return true;
}

/**
 * Older kernels have the trace instances in debugfs, newer ones in tracefs. Found out anew for each
 * event: an instance may appear or vanish while the daemon runs.
 */
void chooseTraceRoot(Request& request) {
    request.traceRoot = openTraceFile(kTraceProbe).ok() ? kTraceRoot : kFallbackTraceRoot;
}

void logRequest(const Request& request) {
    LOGD("sceneType===%s,sceneType.length()=%d,mFlag=0x%llx", request.sceneType.c_str(),
         static_cast<int>(request.sceneType.size()), static_cast<unsigned long long>(request.flag));
}

/**
 * Tests the tag, and applies a new configuration, which ends the request. Storing and applying are under
 * one lock, so that of two updates at once the one that is stored is the one that is in effect. One that
 * cannot be stored is applied all the same.
 */
bool admit(Request& request) ZUL_EXCLUDES(ZulService::mServiceLock) {
    const ScopedServiceLock lock(ZulService::mServiceLock);
    const auto& legalTags = ZulService::mTagTable;
    if (legalTags.find(request.sceneType) == legalTags.end()) {
        LOGD("Illegal ZUL TAG %s,break", request.sceneType.c_str());
        return false;
    }
    if (request.sceneType != kConfigUpdate) return true;
    ZulService::writeConfig(kConfigFile, request.extraInfo);
    ZulService::parseRemoteConfig(request.extraInfo);
    return false;
}

/** A copy, since the list may change as soon as the lock is free, and the package query must not hold it. */
std::optional<ConfigEntry> findRemoteConfig(const std::string& sceneType)
        ZUL_EXCLUDES(ZulService::mServiceLock) {
    const ScopedServiceLock lock(ZulService::mServiceLock);
    const ConfigEntry* entry = findConfigEntry(ZulService::mRemoteConfigs, sceneType);
    return entry != nullptr ? std::optional(*entry) : std::nullopt;
}

bool applyRemoteConfig(Request& request) ZUL_EXCLUDES(ZulService::mServiceLock) {
    const std::optional<ConfigEntry> config = findRemoteConfig(request.sceneType);
    if (!config) return true;

    if (request.variation.filtersPackage && request.pid != 0 && !config->pkgname.empty()) {
        char name[ZulService::kNameSize] = {};
        ZulService::getNameByPid(request.pid, name);
        if (!admitsPackage(*config, name)) {
            LOGD("remoteConfig packageName is not %s ,return", name);
            return false;
        }
    }
    applyConfigEntry(*config, request.flag, request.extraInfo);
    return true;
}

/** Makes a mark in a kernel trace. A stability scene may also run the collector, without a folder. */
void runSpecialScene(const Request& request) {
    const char type = request.sceneType.back();
    if (type < kFirstType || type > kLastType) {
        LOGE("unknow special scene type:%c", type);
        return;
    }
    const std::string marker =
            request.traceRoot + kTraceInstances[type - kFirstType] + "/trace_marker";
    {
        const ScopedFd file = openTraceFile(marker.c_str());
        // One write, so that it is one mark. The kernel takes what fits into its buffer.
        if (file.ok()) (void)!write(file.get(), request.extraInfo.data(), request.extraInfo.size());
    }

    if (type != kStabilityType || (request.flag & kCopyBufferFlag) == 0) return;
    ZulService& service = request.service;
    service.mDumpPath = request.sceneType;
    service.mFlag = request.flag;
    service.mExtraInfo = marker;
    if (request.variation.severalProcesses) {
        service.mMultiPid = request.multiPid;
    } else {
        service.mPid = request.pid;
    }
    service.startWork();
}

/** The collector runs even if no folder could be made. */
void runCapture(const Request& request) ZUL_EXCLUDES(ZulService::mServiceLock) {
    ZulService& service = request.service;
    if (request.variation.severalProcesses) {
        service.multiPidPrepare(request.sceneType, request.flag, request.multiPid,
                                request.extraInfo);
    } else {
        service.prepare(request.sceneType, request.flag, request.pid, request.extraInfo);
    }
    service.startWork();
}

void runRequest(Request request) ZUL_EXCLUDES(ZulService::mServiceLock) {
    // Held until the collector has ended. Always taken before mServiceLock, never while that is held.
    const std::lock_guard<std::mutex> lock(request.service.mRequestLock);
    resetCapture(request.service);
    if (request.variation.describedByTag && !describeByTag(request)) return;
    // Before the test of the tag: even a refused event has its copies made.
    if (!fetchVendorDatabases(request)) return;
    chooseTraceRoot(request);
    if (!request.variation.describedByTag) logRequest(request);
    if (!admit(request)) return;
    if (!applyRemoteConfig(request)) return;
    if (!ZulService::mUserMode && isSpecialSceneType(request.sceneType) &&
        !request.extraInfo.empty()) {
        runSpecialScene(request);
    } else {
        runCapture(request);
    }
}

}  // namespace

void ZulService::startZul(std::string sceneType, long flag, int pid, std::string extraInfo) {
    runRequest({.service = *this,
                .variation = kZul,
                .sceneType = std::move(sceneType),
                .flag = flag,
                .pid = pid,
                .extraInfo = std::move(extraInfo)});
}

void ZulService::startSimpZul(std::string sceneType, int pid) {
    runRequest({.service = *this,
                .variation = kSimpZul,
                .sceneType = std::move(sceneType),
                .pid = pid});
}

void ZulService::startSimpMultiPidZul(std::string sceneType, std::string multiPid) {
    runRequest({.service = *this,
                .variation = kSimpMultiPidZul,
                .sceneType = std::move(sceneType),
                .multiPid = std::move(multiPid)});
}

void ZulService::startMultiPidZul(std::string sceneType, long flag, std::string multiPid,
                                  std::string extraInfo) {
    runRequest({.service = *this,
                .variation = kMultiPidZul,
                .sceneType = std::move(sceneType),
                .flag = flag,
                .multiPid = std::move(multiPid),
                .extraInfo = std::move(extraInfo)});
}

}  // namespace zul
