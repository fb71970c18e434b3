// SPDX-License-Identifier: Apache-2.0

#include <unistd.h>

#include <iterator>
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

}  // namespace

/** One event on its way through the pipeline. */
struct ZulService::Request {
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

void ZulService::startZul(std::string sceneType, long flag, int pid, std::string extraInfo) {
    runRequest({.variation = kZul,
                .sceneType = std::move(sceneType),
                .flag = flag,
                .pid = pid,
                .extraInfo = std::move(extraInfo)});
}

void ZulService::startSimpZul(std::string sceneType, int pid) {
    runRequest({.variation = kSimpZul, .sceneType = std::move(sceneType), .pid = pid});
}

void ZulService::startSimpMultiPidZul(std::string sceneType, std::string multiPid) {
    runRequest({.variation = kSimpMultiPidZul,
                .sceneType = std::move(sceneType),
                .multiPid = std::move(multiPid)});
}

void ZulService::startMultiPidZul(std::string sceneType, long flag, std::string multiPid,
                                  std::string extraInfo) {
    runRequest({.variation = kMultiPidZul,
                .sceneType = std::move(sceneType),
                .flag = flag,
                .multiPid = std::move(multiPid),
                .extraInfo = std::move(extraInfo)});
}

void ZulService::runRequest(Request request) {
    const std::lock_guard<std::mutex> requestLock(mRequestLock);
    resetCapture();
    if (request.variation.describedByTag && !describeByTag(request)) return;
    if (!fetchVendorDatabases(request)) return;
    chooseTraceRoot(request);
    if (!request.variation.describedByTag) logRequest(request);
    if (admit(request) != Admission::TO_CAPTURE) return;
    if (!applyRemoteConfig(request)) return;
    if (isSpecialScene(request)) {
        runSpecialScene(request);
    } else {
        runCapture(request);
    }
}

void ZulService::resetCapture() {
    mZulCmd.clear();
    mEventType.clear();
    mEventSubType.clear();
    mMultiPid.clear();
    mPid = 0;
}

bool ZulService::describeByTag(Request& request) {
    const char* name = request.variation.name;
    const char* sceneType = request.sceneType.c_str();
    const RowData row = getZulInfoByTag(request.sceneType);
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

    request.flag = getZulFlag(row.flag, request.sceneType);
    request.extraInfo = row.extraInfo;
    mZulCmd = row.cmd;
    mEventType = row.eventType;
    mEventSubType = row.eventSubType;
    LOGI("%s sceneType===%s, flag = 0x%llx; mZulCmd = %s; extraInfo = %s; mEventType = %s; "
         "mEventSubType = %s",
         name, sceneType, static_cast<unsigned long long>(request.flag), mZulCmd.c_str(),
         request.extraInfo.c_str(), mEventType.c_str(), mEventSubType.c_str());
    return true;
}

bool ZulService::fetchVendorDatabases(Request& request) {
    if (!contains(request.extraInfo, kVendorDatabases)) return true;
    std::string copies = copyVndFile(request.extraInfo);
    if (!vndFileExist(copies)) {
        LOGE("%s copy to %s failed.", request.extraInfo.c_str(), copies.c_str());
        return false;
    }
    request.extraInfo = std::move(copies);
    return true;
}

void ZulService::chooseTraceRoot(Request& request) {
    request.traceRoot = openTraceFile(kTraceProbe).ok() ? kTraceRoot : kFallbackTraceRoot;
}

void ZulService::logRequest(const Request& request) {
    LOGD("sceneType===%s,sceneType.length()=%d,mFlag=0x%llx", request.sceneType.c_str(),
         static_cast<int>(request.sceneType.size()), static_cast<unsigned long long>(request.flag));
}

ZulService::Admission ZulService::admit(Request& request) {
    const ScopedServiceLock lock(mServiceLock);
    if (mTagTable.find(request.sceneType) == mTagTable.end()) {
        LOGD("Illegal ZUL TAG %s,break", request.sceneType.c_str());
        return Admission::REFUSED;
    }
    if (request.sceneType != kConfigUpdate) return Admission::TO_CAPTURE;
    writeConfig(kConfigFile, request.extraInfo);
    parseRemoteConfig(request.extraInfo);
    return Admission::CONFIG_UPDATED;
}

std::optional<ZulService::zul_struct> ZulService::findRemoteConfig(const std::string& sceneType) {
    const ScopedServiceLock lock(mServiceLock);
    const zul_struct* entry = findConfigEntry(mRemoteConfigs, sceneType);
    return entry != nullptr ? std::optional(*entry) : std::nullopt;
}

bool ZulService::applyRemoteConfig(Request& request) {
    const std::optional<zul_struct> config = findRemoteConfig(request.sceneType);
    if (!config) return true;

    if (request.variation.filtersPackage && request.pid != 0 && !config->pkgname.empty()) {
        char name[kNameSize] = {};
        getNameByPid(request.pid, name);
        if (!admitsPackage(*config, name)) {
            LOGD("remoteConfig packageName is not %s ,return", name);
            return false;
        }
    }
    applyConfigEntry(*config, request.flag, request.extraInfo);
    return true;
}

bool ZulService::isSpecialScene(const Request& request) {
    return !mUserMode && isSpecialSceneType(request.sceneType) && !request.extraInfo.empty();
}

void ZulService::runSpecialScene(const Request& request) {
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
    mDumpPath = request.sceneType;
    mFlag = request.flag;
    mExtraInfo = marker;
    if (request.variation.severalProcesses) {
        mMultiPid = request.multiPid;
    } else {
        mPid = request.pid;
    }
    startWork();
}

void ZulService::runCapture(const Request& request) {
    if (request.variation.severalProcesses) {
        multiPidPrepare(request.sceneType, request.flag, request.multiPid, request.extraInfo);
    } else {
        prepare(request.sceneType, request.flag, request.pid, request.extraInfo);
    }
    startWork();
}

}  // namespace zul
