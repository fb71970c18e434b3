// SPDX-License-Identifier: Apache-2.0
#include <linux/futex.h>
#include <pthread.h>
#include <sys/syscall.h>
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

void* inspect(void* shared) {
    exemptThisThread();
    auto& page = *static_cast<FaultPage*>(shared);
    while (true) {
        const uint32_t told = page.told;
        // Until somebody asks; the other one is another process.
        syscall(SYS_futex, &page.asked, FUTEX_WAIT, told, nullptr, nullptr, 0);
        if (page.asked == told) continue;
        pthread_mutex_lock(&ZulService::mServiceLock);
        int64_t listed = 0;
        for (const auto& [tag, archives] : ZulService::mTagTable)
            listed += static_cast<int64_t>(archives.size());
        page.count = ZulService::mCompressFileCount;
        page.listed = listed;
        pthread_mutex_unlock(&ZulService::mServiceLock);
        page.told = told + 1;
    }
}

}  // namespace sim
