// SPDX-License-Identifier: Apache-2.0
#include <pthread.h>
#include <unistd.h>

#include <map>
#include <string>
#include <vector>

#include "sim/faults/FaultPoints.h"

namespace zul {

/** The daemon's own tables, which the program exports on a desktop. The lock has no other member. */
struct ZulService {
    static pthread_mutex_t mServiceLock;
    static std::atomic<int32_t> mCompressFileCount;
    static std::map<std::string, std::vector<std::string>> mTagTable;
};

}  // namespace zul

namespace sim {

using zul::ZulService;

/** How often the page is looked at. */
constexpr useconds_t kLookMicroseconds = 300;

void* inspect(void* shared) {
    exemptThisThread();
    auto& page = *static_cast<FaultPage*>(shared);
    while (true) {
        if (page.asked == page.told) {
            usleep(kLookMicroseconds);
            continue;
        }
        pthread_mutex_lock(&ZulService::mServiceLock);
        int64_t listed = 0;
        for (const auto& [tag, archives] : ZulService::mTagTable)
            listed += static_cast<int64_t>(archives.size());
        page.count = ZulService::mCompressFileCount;
        page.listed = listed;
        pthread_mutex_unlock(&ZulService::mServiceLock);
        page.told++;
    }
}

}  // namespace sim
