// SPDX-License-Identifier: Apache-2.0

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "config/TagIndex.h"
#include "service/Files.h"
#include "service/Log.h"
#include "service/Text.h"
#include "service/ZulService.h"

namespace zul {

namespace {

using Entry = ZulService::zul_struct;

/** What decides the field that an item sets. */
struct Keyword {
    /** Looked for anywhere in the item, its value included. */
    const char* text;
    const char* fieldName;
    /** Null for the flag, the only number. */
    std::string Entry::*field;
};

// The first that occurs in an item wins.
constexpr Keyword kKeywords[] = {
        {"tag", "tag", &Entry::tag},
        {"enable", "enable", &Entry::enable},
        {"pkgname", "pkgname", &Entry::pkgname},
        {"flag", "flag", nullptr},
        {"cmd", "cmds", &Entry::cmds},
        {"path", "paths", &Entry::paths},
};

/**
 * The number at the start of `text`, in the base that its prefix tells; 0 when there is none or it
 * does not fit.
 */
int64_t parseFlag(const char* text) {
    // Not left to strtoll's own base 0: newer C libraries read "0b" as binary there.
    const char* digits = text + strspn(text, " \t\n\v\f\r");
    if (*digits == '+' || *digits == '-') digits++;
    int base = 10;
    if (digits[0] == '0') base = digits[1] == 'x' || digits[1] == 'X' ? 16 : 8;

    errno = 0;
    const long long value = strtoll(text, nullptr, base);
    return errno == ERANGE ? 0 : value;
}

void parseItem(const std::string& item, Entry& entry) {
    for (const Keyword& keyword : kKeywords) {
        if (!contains(item, keyword.text)) continue;
        const std::string value = ZulService::supersplit(item, ":").back();
        if (keyword.field != nullptr) {
            entry.*keyword.field = value;
            LOGD("remoteConfig.%s = %s \n", keyword.fieldName, value.c_str());
        } else {
            entry.flag = parseFlag(value.c_str());
            LOGD("remoteConfig.flag = %lld \n", static_cast<long long>(entry.flag));
        }
        return;
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
    std::vector<std::string> pieces;
    size_t start = 0;
    for (size_t end = s.find(separator); end != std::string::npos; end = s.find(separator, start)) {
        pieces.push_back(s.substr(start, end - start));
        start = end + separator.size();
    }
    if (start < s.size()) pieces.push_back(s.substr(start));
    return pieces;
}

void ZulService::parseRemoteConfig(std::string& text) {
    if (text.empty()) return;

    TagIndex index;
    for (size_t i = 0; i < mRemoteConfigs.size(); i++)
        index.add(mRemoteConfigs[i].tag, {i});
    for (const std::string& record : supersplit(text, "|")) {
        zul_struct entry;
        for (const std::string& item : supersplit(record, ","))
            parseItem(item, entry);

        std::vector<size_t> replaced = index.take(entry.tag);
        if (replaced.empty()) {
            replaced.push_back(mRemoteConfigs.size());
            mRemoteConfigs.emplace_back();
        }
        for (const size_t i : replaced)
            mRemoteConfigs[i] = entry;
        index.add(entry.tag, replaced);
    }

    for (const zul_struct& entry : mRemoteConfigs) {
        if (entry.enable == "0") {
            mTagTable.erase(entry.tag);
        } else if (entry.enable == "1") {
            mTagTable.try_emplace(entry.tag);
        }
    }
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
