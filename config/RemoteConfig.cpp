// SPDX-License-Identifier: Apache-2.0

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include "config/ConfigText.h"
#include "service/Files.h"
#include "service/Log.h"
#include "service/ZulService.h"

namespace zul {

namespace {

/** Sets the item's field of `entry`, and says so in the log. */
void parseItem(const std::string& item, ConfigEntry& entry) {
    const ConfigKeyword* keyword = applyConfigItem(item, entry);
    if (keyword == nullptr) return;
    if (keyword->field != nullptr) {
        LOGD("remoteConfig.%s = %s \n", keyword->fieldName, (entry.*keyword->field).c_str());
    } else {
        LOGD("remoteConfig.flag = %lld \n", static_cast<long long>(entry.flag));
    }
}

bool writeAll(int fd, const std::string& content) {
    size_t done = 0;
    while (done < content.size()) {
        const ssize_t count = write(fd, content.data() + done, content.size() - done);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return false;
        done += static_cast<size_t>(count);
    }
    return true;
}

}  // namespace

std::vector<std::string> ZulService::supersplit(const std::string& s,
                                                const std::string& separator) {
    return split(s, separator);
}

void ZulService::parseRemoteConfig(std::string& text) {
    if (text.empty()) return;

    ConfigMerge merge(mRemoteConfigs);
    for (const std::string& record : configRecords(text)) {
        zul_struct entry;
        for (const std::string& item : configItems(record))
            parseItem(item, entry);
        merge.add(entry);
    }
    admitTags(mRemoteConfigs, mTagTable);
}

void ZulService::writeConfig(std::string path, std::string content) {
    // Written beside and renamed, so that a crash or a full disk never leaves half a configuration;
    // a link that somebody put there is replaced, not followed.
    const std::string fresh = path + ".new";
    unlink(fresh.c_str());
    const ScopedFd file(open(fresh.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (!file.ok()) {
        LOGE("writeConfig: open file(%s) fail", path.c_str());
        return;
    }
    // It decides what later captures run: nobody else may write into it, whatever the umask is.
    fchmod(file.get(), 0600);
    if (!writeAll(file.get(), content) || fsync(file.get()) != 0) {
        unlink(fresh.c_str());
        return;
    }
    if (rename(fresh.c_str(), path.c_str()) == 0) return;
    LOGE("writeConfig: open file(%s) fail", path.c_str());
    unlink(fresh.c_str());
}

}  // namespace zul
