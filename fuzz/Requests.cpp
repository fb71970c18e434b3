// SPDX-License-Identifier: Apache-2.0

// Input: "user" or anything else in the first line, then one step a line. Fields are separated by
// blanks, but the last one reaches to the end; "\n" in one stands for a line break.
//   z SCENE FLAG PID TEXT     s SCENE PID     m SCENE FLAG PIDS TEXT     S SCENE PIDS
//                 the four requests
//   t SECONDS     the clock moves
//   l LIMIT       archives that the whole store may hold
//   c COUNT       debug.zul.special.count
//   p PACKAGE     the activity manager's answer from now on; none: it fails
//   f SCENE N     N older archives of a legal tag
//   a             every archive that is listed gets made
// The collector records its arguments and does nothing else.

#include <binder/Binder.h>
#include <binder/IServiceManager.h>
#include <binder/Parcel.h>
#include <cutils/properties.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>

#include "base/Paths.h"
#include "fuzz/support/Fuzz.h"
#include "fuzz/support/Store.h"
#include "service/ZulService.h"

namespace zul::fuzz {

namespace {

constexpr char kRecord[] = "/data/ZUL/collector_record";
constexpr char kTags[] =
        "0xffff0000|\n0xffff0001|\n0xffff0005|\n0xffff0101|\n0xffff1001|\n0xffff1003|\n0xffff1009|"
        "\n"
        "0xffffff06|\n0xffffff07|\n0xffffff0a|\n0xffffffff|\n0x003effff|\n0xff|\n";
/** Each one starts a process. */
constexpr int kMostRequests = 8;

class Activity : public android::BBinder {
  public:
    std::string mPackage;

  protected:
    android::status_t onTransact(uint32_t, const android::Parcel&, android::Parcel* reply,
                                 uint32_t) override {
        if (mPackage.empty()) return android::UNKNOWN_TRANSACTION;
        return reply->writeString16(android::String16(mPackage.data(), mPackage.size()));
    }
};

Activity& activity() {
    static const android::sp<Activity> service = [] {
        const android::sp<Activity> fresh = new Activity();
        const auto manager = android::defaultServiceManager();
        require(manager->addService(android::String16("activity"), fresh) == android::OK,
                "the activity manager can be offered");
        return fresh;
    }();
    return *service;
}

/** The next field, or the rest of the line when there is no separator. */
std::string field(std::string_view& line, std::string_view separator) {
    std::string text = take(line, separator);
    for (size_t at = 0; (at = text.find("\\n", at)) != std::string::npos; at++)
        text.replace(at, 2, "\n");
    return text;
}

struct Step {
    char kind = 0;
    std::string scene;
    std::string flag;
    std::string process;
    std::string text;

    explicit Step(std::string_view line) {
        kind = take(line, " ")[0];
        const bool isDescribed = kind == 'z' || kind == 'm';
        if (isDescribed || kind == 's' || kind == 'S' || kind == 'f') scene = field(line, " ");
        if (isDescribed) flag = field(line, " ");
        if (isDescribed) process = field(line, " ");
        text = field(line, "\n");
    }
    bool isRequest() const { return strchr("zsmS", kind) != nullptr && kind != 0; }
    int number() const { return atoi(text.c_str()); }
};

void addOlderArchives(const std::string& tag, int count) {
    const auto archives = ZulService::mTagTable.find(tag);
    if (archives == ZulService::mTagTable.end()) return;
    for (int i = 0; i < std::min(count, 32); i++) {
        const std::string path = kOutputRoot + std::string("old_") + std::to_string(i) + ".zul";
        Store::write(path, "");
        archives->second.push_back(path);
        ZulService::mCompressFileCount++;
    }
}

void makeArchives() {
    for (const auto& [tag, archives] : ZulService::mTagTable) {
        for (const std::string& archive : archives)
            if (!Store::exists(archive)) Store::write(archive, "");
    }
}

void deliver(const android::sp<ZulService>& service, const Step& step) {
    const long flag = strtol(step.flag.c_str(), nullptr, 0);
    switch (step.kind) {
        case 'z':
            return service->startZul(step.scene, flag, atoi(step.process.c_str()), step.text);
        case 's':
            return service->startSimpZul(step.scene, step.number());
        case 'm':
            return service->startMultiPidZul(step.scene, flag, step.process, step.text);
        default:
            return service->startSimpMultiPidZul(step.scene, step.text);
    }
}

/** What the collector must have recorded of a run with the service's capture state. */
std::string expectedRecord(const ZulService& service) {
    const char* const time = service.mCaptureTime != nullptr ? service.mCaptureTime.get() : "";
    const std::string mask = std::to_string(service.mFlag);
    const std::string pid = std::to_string(service.mPid);
    const char* const arguments[] = {service.mDumpPath.c_str(),
                                     mask.c_str(),
                                     pid.c_str(),
                                     service.mExtraInfo.c_str(),
                                     service.mSceneType.c_str(),
                                     service.mEventType.c_str(),
                                     service.mEventSubType.c_str(),
                                     service.mZulCmd.c_str(),
                                     time,
                                     service.mMultiPid.c_str()};
    std::string record = "arguments 10\n";
    for (size_t i = 0; i < std::size(arguments); i++) {
        record += std::to_string(i) + " " + std::to_string(strlen(arguments[i])) + "\n" +
                  arguments[i] + "\n";
    }
    return record;
}

void checkArchives(const std::string& scene, size_t listedBefore) {
    for (const auto& [tag, archives] : ZulService::mTagTable) {
        for (const std::string& archive : archives) {
            require(archive.starts_with(kOutputRoot) || archive.starts_with(kStuckLogoRoot),
                    "an archive lies in the store");
            require(archive.size() < ZulService::kPathSize + strlen(kArchiveSuffix),
                    "an archive's path is bounded");
        }
    }
    const auto listed = ZulService::mTagTable.find(scene);
    if (listed == ZulService::mTagTable.end() || scene.find("0x003e") != std::string::npos) return;
    const size_t limit = ZulService::mUserMode ? 10 : 20;
    require(listed->second.size() <= std::max(limit, listedBefore), "a tag keeps to its limit");
    require(listed->second.size() <= limit || listed->second.size() == listedBefore,
            "a capture prunes its tag to the limit");
}

void checkHistory(const std::string& before) {
    const std::string after = Store::read(kHistoryFile);
    require(after.starts_with(before), "the history only grows");
    if (after == before) return;
    require(after.find('\n', before.size()) == after.size() - 1, "a capture adds one whole line");
}

void runRequest(const android::sp<ZulService>& service, const Step& step) {
    unlink(kRecord);
    const auto known = ZulService::mTagTable.find(step.scene);
    const bool isLegal = known != ZulService::mTagTable.end();
    const size_t listed = isLegal ? known->second.size() : 0;
    const std::string history = Store::read(kHistoryFile);
    deliver(service, step);

    checkArchives(step.scene, listed);
    checkHistory(history);
    const std::string record = Store::read(kRecord);
    if (!record.empty()) {
        require(isLegal, "only legal tags are captured");
        require(record.starts_with(expectedRecord(*service)), "the collector got what it should");
        require(record.find("\narguments 10\n") == std::string::npos, "it ran once");
    }
    const bool isUpdate = step.scene == "0xffffffff" && (step.kind == 'z' || step.kind == 'm');
    const bool hasDatabase = step.text.find("/data/vendor/aee_exp/") != std::string::npos;
    if (isUpdate && isLegal && !hasDatabase)
        require(Store::read(kConfigFile) == step.text, "a configuration is stored as it came");
}

}  // namespace

void run(std::string_view input) {
    const Store store;
    property_set("ro.build.type", take(input) == "user" ? "user" : "eng");
    Store::write("/data/ZUL/collector_orders", "record\nquick\n");
    Store::write("/data/ZUL/db.fatal.08.EE.dbg", "");
    Store::write(kTagFile, kTags);
    activity().mPackage.clear();
    ZulService::Initialize();
    ZulService::getCompressFileCount();

    const android::sp<ZulService> service = new ZulService();
    int requests = 0;
    while (!input.empty() && requests < kMostRequests) {
        const Step step(take(input));
        requests += step.isRequest();
        if (step.isRequest()) runRequest(service, step);
        if (step.kind == 't') gNow += step.number();
        if (step.kind == 'l') ZulService::mCompressFileLimit = step.number();
        if (step.kind == 'c') property_set("debug.zul.special.count", step.text.c_str());
        if (step.kind == 'p') activity().mPackage = step.text;
        if (step.kind == 'f') addOlderArchives(step.scene, step.number());
        if (step.kind == 'a') makeArchives();
    }
}

}  // namespace zul::fuzz
