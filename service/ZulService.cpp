// SPDX-License-Identifier: Apache-2.0

#include "service/ZulService.h"

namespace zul {

// Constant-initialised: good before any constructor runs.
ServiceLock ZulService::mServiceLock;
std::atomic<int32_t> ZulService::mCompressFileCount{0};
int32_t ZulService::mCompressFileLimit = 0;
bool ZulService::mDebugLog = false;
bool ZulService::mUserMode = false;
bool ZulService::mSmallTraceBuffer = false;
int64_t ZulService::mFlagValue = 0;
void* ZulService::mTagLibrary = nullptr;

// Built in this order before main, destroyed in the reverse order at exit.
std::map<std::string, std::vector<std::string>> ZulService::mTagTable;
std::vector<ZulService::zul_struct> ZulService::mRemoteConfigs;
const std::string ZulService::mConnsysDbName = "db.fatal.connsysdump.dbg";
const std::string ZulService::mConnsysDbFileName = "fatal.connsysdump.00.dbg";
const ZulService::FlagTable ZulService::mFlagTable = makeFlagTable(kFlags);
const ZulService::FlagTable ZulService::mUserFlagTable = makeFlagTable(kUserFlags);

ZulService::ZulService() = default;
ZulService::~ZulService() = default;

}  // namespace zul
