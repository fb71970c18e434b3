// SPDX-License-Identifier: Apache-2.0

#include "service/BinderMode.h"
#include "service/EngineLink.h"
#include "service/EngineWatch.h"
#include "service/ZulService.h"

namespace zul {

int ZulService::zulRegisterCallback() {
    EngineLink& link = readAidlMode() ? aidlEngineLink() : hidlEngineLink();
    if (link.registerCallbacks() != EngineLink::Outcome::REGISTERED) return -1;
    EngineWatch::get().watch(link);
    return 0;
}

}  // namespace zul
