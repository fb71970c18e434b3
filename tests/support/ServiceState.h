// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "service/ZulService.h"

namespace zul::test {

/** Makes what all service objects share as it is before a start; only the tag library stays open. */
inline void resetServiceState() {
    ZulService::mTagTable.clear();
    ZulService::mRemoteConfigs.clear();
    ZulService::mCompressFileCount = 0;
    ZulService::mCompressFileLimit = 400;
    ZulService::mDebugLog = true;
    ZulService::mUserMode = false;
    ZulService::mSmallTraceBuffer = false;
    ZulService::mFlagValue = 0;
}

}  // namespace zul::test
