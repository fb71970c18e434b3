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

/** What sets one of the four requests apart from the others. */
struct Variation {
    /** Names the request in the log lines of those that a tag describes. */
    const char* name;
    /**
     * The tag library gives the mask, the texts and the command; otherwise the engine gave mask and
     * text.
     */
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
    /** The request's text: paths, commands or whatever the event brings. */
    std::string extraInfo = {};
    /** Where the kernel's trace instances are, with a "/" at the end. */
    std::string traceRoot = {};
};

// The steps of a request, in order. Those with a result end the request by false.

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

/** Databases of the chip vendor are collected as copies, which have to be there. */
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

/** Older kernels have the trace instances in debugfs, newer ones in a file system of their own. */
void chooseTraceRoot(Request& request) {
    request.traceRoot = openTraceFile(kTraceProbe).ok() ? kTraceRoot : kFallbackTraceRoot;
}

void logRequest(const Request& request) {
    LOGD("sceneType===%s,sceneType.length()=%d,mFlag=0x%llx", request.sceneType.c_str(),
         static_cast<int>(request.sceneType.size()), static_cast<unsigned long long>(request.flag));
}

/** Tests the tag and, under the same lock, applies a new configuration, which is no capture. */
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

/** A copy: the list may change as soon as the lock is free. */
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

/** The event becomes a mark in a kernel trace, and perhaps a run of the collector without a folder. */
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
        // The kernel takes what fits its buffer.
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

/** Also where no folder could be made: the collector then runs without one. */
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
    const std::lock_guard<std::mutex> lock(request.service.mRequestLock);
    resetCapture(request.service);
    if (request.variation.describedByTag && !describeByTag(request)) return;
    // These come before the test of the tag: a refused event has had its copies made all the same.
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
