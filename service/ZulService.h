// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdint.h>
#include <utils/RefBase.h>

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "base/ServiceLock.h"
#include "rules/ConfigText.h"
#include "rules/FlagNames.h"
#include "rules/RowData.h"

namespace zul {

/**
 * The service behind every capture. An object is the state of one capture at a time and belongs to
 * one engine callback; what all captures share is static. Operations are defined in the folder of
 * their subject.
 *
 * Nothing here throws: a failure is logged where it happens, under the tag "ZUL_DEBUG", and shows in
 * the result. Debug lines of the store, the preparation and the registration are written only while
 * mDebugLog is set.
 */
class ZulService : public android::RefBase {
  public:
    /** Size of every path buffer, its terminator included. */
    static constexpr size_t kPathSize = 256;
    /** Size of the caller's buffer for a package name, its terminator included. */
    static constexpr size_t kNameSize = 256;

    using zul_struct = ConfigEntry;
    using FlagTable = zul::FlagTable;

    ZulService();
    ZulService(const ZulService&) = delete;
    ZulService& operator=(const ZulService&) = delete;

    // service/: start-up, on the main thread, in this order.

    /**
     * Settles the operating mode, prepares kernel tracing, fills mTagTable, applies the stored
     * configuration.
     */
    static void Initialize() ZUL_EXCLUDES(mServiceLock);
    /** Writes the buffer size of one kernel trace instance; does nothing where there is none. */
    static void initBufferSize(const char* instance);
    /**
     * Finds the engine, sizes the binder thread pool to its thread number + 1 and registers one
     * adapter with a new service object for each. 0, or -1 when the engine was not found in 11
     * attempts, one second apart.
     */
    static int zulRegisterCallback();

    // capture/: one request of the engine, start to end, including the collector's whole run.
    // Requests on one object run one after the other, requests on several objects side by side.

    /** An event that the engine describes: one process (0 for none), the mask and a free text. */
    void startZul(std::string sceneType, long flag, int pid, std::string extraInfo)
            ZUL_EXCLUDES(mServiceLock);
    /** An event that the tag library describes: one process. */
    void startSimpZul(std::string sceneType, int pid) ZUL_EXCLUDES(mServiceLock);
    /**
     * An event that the tag library describes: several processes, as a text that is passed on
     * unread.
     */
    void startSimpMultiPidZul(std::string sceneType, std::string multiPid)
            ZUL_EXCLUDES(mServiceLock);
    /** An event that the engine describes: several processes. */
    void startMultiPidZul(std::string sceneType, long flag, std::string multiPid,
                          std::string extraInfo) ZUL_EXCLUDES(mServiceLock);

    /**
     * Takes the request into the capture state, makes its folder, records it and keeps the store
     * bounded.
     */
    void prepare(std::string sceneType, long flag, int pid, std::string extraInfo)
            ZUL_EXCLUDES(mServiceLock);
    /** As prepare, for a list of processes. */
    void multiPidPrepare(std::string sceneType, long flag, std::string multiPid,
                         std::string extraInfo) ZUL_EXCLUDES(mServiceLock);
    /**
     * Runs the collector on the capture state and returns when it has ended or could not be
     * started.
     */
    void startWork() ZUL_EXCLUDES(mServiceLock);
    /**
     * Writes the package name of `pid` with its terminator into `name`, a zeroed buffer of
     * kNameSize bytes; a longer name is cut. Writes nothing when there is no answer.
     */
    static void getNameByPid(int pid, char* name);

    // config/

    /**
     * The mask that `flagNames`, joined by "|", stand for in the vocabulary of `sceneType`. Unknown
     * names add nothing.
     */
    int64_t getZulFlag(std::string flagNames, const std::string& sceneType)
            ZUL_EXCLUDES(mServiceLock);
    /**
     * Merges a configuration text into mRemoteConfigs, then admits and withdraws tags of mTagTable.
     */
    static void parseRemoteConfig(std::string& text) ZUL_REQUIRES(mServiceLock);
    /**
     * Replaces the file `path` by `content`, readable and writable for its owner alone. A reader,
     * even one after a crash, sees the old content or the new one, never a part. Logs when `path`
     * cannot be written.
     */
    static void writeConfig(std::string path, std::string content) ZUL_REQUIRES(mServiceLock);
    /**
     * The pieces of `s` between occurrences of `separator`, which must not be empty. Empty pieces
     * count, but a separator at the very end adds none.
     */
    static std::vector<std::string> supersplit(const std::string& s, const std::string& separator);
    /** The tag library's row for `tagId`; six empty strings when there is no library or no row. */
    static RowData getZulInfoByTag(std::string tagId) ZUL_EXCLUDES(mServiceLock);

    // store/

    /**
     * Makes the new and empty folder of a capture, prunes the tag's archives to their limit and
     * lists the archive that is to come. `fileNum` is the capture's index; `folderName` is a zeroed
     * buffer of kPathSize bytes and receives the path. False when the tag is not legal or a folder
     * cannot be made. Sets the process's umask to 0.
     */
    bool createZulPath(const char* sceneType, int fileNum, char* folderName)
            ZUL_EXCLUDES(mServiceLock);
    /** Removes `dir` and everything below it. */
    static void deleteOldDir(std::string& dir);
    /**
     * Appends the line of one capture to the history file and syncs it; a failure loses this line
     * only.
     */
    static void recordZulHistory(const char* sceneType, char* folderName);
    /**
     * Start-up: sets mCompressFileLimit, takes the archives on disk into count and lists; the
     * count.
     */
    static int getCompressFileCount() ZUL_EXCLUDES(mServiceLock);
    static void handleZulDataFile() ZUL_EXCLUDES(mServiceLock);
    static void handleMorvfsDataFile() ZUL_EXCLUDES(mServiceLock);
    /**
     * Removes one archive, which it finds in the history by how far the count is over the limit.
     */
    static void cleanOldFile();
    /** As deleteOldDir, for global retention. */
    static void removeFilePath(char* path);
    /**
     * Rewrites a ";"-separated path list so that every database file of the chip vendor points to
     * its copy in the output root, and asks for these copies through properties.
     */
    static std::string copyVndFile(std::string pathList);
    /**
     * Waits a second for the copies and withdraws the requests. True when every vendor database in the
     * list can be opened and there is at least one.
     */
    static bool vndFileExist(std::string& pathList);

    // State that all objects share.

    /**
     * The only lock of the shared state. Never held while a collector runs or another process is asked,
     * never taken twice; held while the tag library is opened, while a configuration is stored,
     * and while a tag is pruned, including what a shell removes then.
     */
    static ServiceLock mServiceLock;
    /** Archives accounted for; changed by atomic additions only. */
    static std::atomic<int32_t> mCompressFileCount;
    /** Archives that the whole store may hold; fixed after start-up. */
    static int32_t mCompressFileLimit;
    // Fixed after Initialize, which runs before any callback can arrive.
    static bool mDebugLog;
    /** A user build without adb support: fixed tags, smaller limits, no special trace scenes. */
    static bool mUserMode;
    static bool mSmallTraceBuffer;
    /** The legal tags, each with its archives, oldest first. */
    static std::map<std::string, std::vector<std::string>> mTagTable ZUL_GUARDED_BY(mServiceLock);
    /** In the order of their arrival; entries are overwritten or appended, never removed. */
    static std::vector<zul_struct> mRemoteConfigs ZUL_GUARDED_BY(mServiceLock);
    static const std::string mConnsysDbName;
    static const std::string mConnsysDbFileName;
    /** Result of the latest getZulFlag. */
    static int64_t mFlagValue ZUL_GUARDED_BY(mServiceLock);
    static const FlagTable mFlagTable;
    static const FlagTable mUserFlagTable;
    /** Handle of the tag library; null until it was opened, then kept. */
    static void* mTagLibrary ZUL_GUARDED_BY(mServiceLock);

    // The capture in progress. It belongs to the thread that delivers this object's callback.

    /** The capture folder, or the scene type while there is none. */
    std::string mDumpPath;
    /** Scene type of the last capture that got a folder. */
    std::string mSceneType;
    int64_t mFlag = 0;
    int32_t mPid = 0;
    std::string mMultiPid;
    std::string mZulCmd;
    std::string mExtraInfo;
    std::string mEventType;
    std::string mEventSubType;
    /** Local time of the latest attempt to make a capture folder; null before the first. */
    std::unique_ptr<char[]> mCaptureTime;

    /** Held for a whole request: two requests for one callback would mix up the capture state. */
    std::mutex mRequestLock;

  protected:
    ~ZulService() override;
};

}  // namespace zul
