// SPDX-License-Identifier: Apache-2.0

#include "zulctl/log/LogPatterns.h"

#include <algorithm>
#include <string>

namespace zulctl {

namespace {

using enum LineRole;
using enum Outcome;

/** The platform's log takes that much of a message. */
constexpr size_t kShortestCut = 1023;

// clang-format off
constexpr LogPattern kPatterns[] = {
        // The daemon's start.
        {'D', "ZUL  main start.", DAEMON_START},
        {'D', "ZUL main start thread from hidl."},
        {'D', "ZUL main start thread from aidl."},
        {'E', "FolderOperation main folder create %s failed(%s)"},
        {'D', "dnam=%s"},
        {'D', "mCompressFileCount=%d", DUMP},
        {'D', "hwbinder thread number=%d", DUMP},
        {'D', "aidlbinder thread number=%d", DUMP},
        {'E', "service is still nullptr after 10 attempts, return -1"},
        {'E', "engine gave no thread number: %s"},
        {'W', "engine is gone", ENGINE_GONE},
        {'I', "engine is back, thread number=%d", ENGINE_BACK},
        {'E', "engine is not watched: status %d"},
        {'W', "%s is not read, it has %lld bytes"},
        {'W', "%s is not read, it belongs to user %d"},
        {'E', "thread pool join returned, no more events are served"},

        // An event, in the order of its life.
        {'D', "getZulInfoByTag tagId===%s", LOOK_UP, "t"},
        {'E', "libzulid_config dlopen fail", OTHER, "", "no tag library"},
        {'D', "getZulInfoByTag Error: Failed to find function",
         OTHER, "", "tag library without getRowByKey"},
        {'D', "getZulInfoByTag getRowByKey fail", OTHER, "", "unknown to the tag library"},
        {'D', "%s Illegal ZUL TAG %s,break", OTHER, "-t", "unknown to the tag library", REFUSED},
        {'D', "sceneType===%s,sceneType.length()=%d", DESCRIBED, "t"},
        {'I', "%s flag = %s"},
        {'I', "%s mZulCmd = %s"},
        {'I', "%s extraInfo = %s"},
        {'I', "%s eventType = %s"},
        {'I', "%s eventSubType = %s"},
        {'I', "log flagstr = %s"},
        {'I', "getZulInfo flagvalue = 0x%llx"},
        {'I', "%s sceneType===%s, flag = 0x%llx; mZulCmd = %s; extraInfo = %s; mEventType = %s; "
         "mEventSubType = %s", DESCRIPTION, "-tm-x"},
        {'D', "sceneType===%s,sceneType.length()=%d,mFlag=0x%llx", BEGIN, "t-m"},
        {'E', "Unable to open filePath: %s ", VENDOR_DATABASE, "d", "vendor database not copied"},
        {'E', "%s copy to %s failed.", VENDOR_DATABASE, "d", "vendor database not copied", REFUSED},
        {'D', "Illegal ZUL TAG %s,break", ILLEGAL_TAG, "t", "no legal tag", REFUSED},
        {'E', "writeConfig: open file(%s) fail",
         OTHER, "", "until the next start: not stored", UPDATED},
        {'D', "remoteConfig.%s = %s \n", CONFIG_ITEM},
        {'D', "remoteConfig.flag = %lld \n", CONFIG_ITEM},
        {'D', "remoteConfig activity->transact error:%d,%s"},
        {'D', "remoteConfig packageName is not %s ,return", OTHER, "d", "other package", REFUSED},
        {'E', "unknow special scene type:%c", OTHER, "d", "unknown trace scene", REFUSED},
        {'D', "prepare.....sceneType=%s,flag=0x%llx,pid=%d, mCompressFileCount=%d, extraInfo=%s",
         PREPARE, "tmp-x"},
        {'D', "multiPidPrepare.....sceneType=%s,flag=0x%llx,mMultiPid=%s, "
         "mCompressFileCount=%d, extraInfo=%s", PREPARE, "tmp-x"},
        {'D', "file %s isn't exist!,erase it from vector", DUMP},
        {'D', "current file path is %s", DUMP},
        {'D', "createZulPath:erase %s", ERASED},
        {'E', "getZulBasePath sceneType info error!!", OTHER, "", "tag makes no folder name"},
        {'E', "tag too long for a capture folder: %s", OTHER, "", "tag too long"},
        {'E', "FolderOperation sceneType LOG folder create %s failed(%s)",
         OTHER, "-d", "folder cannot be made"},
        {'D', "getZulBasePath:fileNum=%d,folderName=%s", FOLDER, "-f"},
        {'E', "FolderOperation LOG folder create %s failed(%s)",
         OTHER, "-d", "folder cannot be made"},
        {'E', "createZulPath failure...", WITHOUT_FOLDER, "", "no folder", NO_FOLDER},
        {'D', "recordZulHistory:allContent===%s", RECORD},
        {'E', "history record too long for archive %s.zul", OTHER, "", "no line in the history"},
        {'E', "open %s failure:", OTHER, "", "no line in the history"},
        {'W', "fcntl F_SETLKW %s failure:"},
        {'D', "write content to file!", DUMP},
        {'W', "fcntl F_SETLK %s failure:"},
        {'E', "readSpecialLine failure!"},
        {'D', "remove old file:filename=%s", ERASED},
        {'E', "file %s isn't exist!"},
        {'E', "not removed, not in the store: %s"},
        {'E', "not removed, %s: %s"},
        {'D', "child normal exit....", DUMP},
        {'E', "*** vfork fail\n"},
        {'E', "execl on command '%s' failed\n"},
        {'D', "startWork....", COLLECTOR},
        {'D', "sceneFlag===%s, mPid===%d", CHILD},
        {'E', "*** fork fail\n", OTHER, "", "no process for the collector", NO_COLLECTOR},
        {'E', "ret==%d,excel errno=%d",
         NOT_EXECUTED, "", "collector cannot be executed", NO_COLLECTOR},
        {'D', "zuldump child normal exit...", END},
};
// clang-format on

/** The length of what printf has written at the start of `text`; 0 for nothing of that kind. */
size_t lengthOf(char conversion, std::string_view text) {
    if (conversion == 'c') return std::min(text.size(), size_t{1});
    const size_t sign = conversion == 'd' && text.starts_with('-') ? 1 : 0;
    const char* const digits = conversion == 'x' ? "0123456789abcdef" : "0123456789";
    const size_t end = std::min(text.find_first_not_of(digits, sign), text.size());
    return end > sign ? end : 0;
}

/** A stretch of a format without %s in it: literals, numbers and characters. */
std::string_view firstStretch(std::string_view format) {
    return format.substr(0, format.find("%s"));
}

/** The length of the stretch's text at the start of `text`; npos when it is not there. */
size_t matchStretch(std::string_view stretch, std::string_view text, LineFields& fields,
                    size_t& count) {
    size_t at = 0;
    for (size_t i = 0; i < stretch.size(); i++) {
        if (stretch[i] != '%') {
            if (at == text.size() || text[at++] != stretch[i]) return std::string_view::npos;
            continue;
        }
        i = stretch.find_first_of("cdx", i);
        const size_t length = lengthOf(stretch[i], text.substr(at));
        if (length == 0) return std::string_view::npos;
        fields[count++] = text.substr(at, length);
        at += length;
    }
    return at;
}

/**
 * A text ends where what is behind it in the format follows for the first time; the last one, where
 * the message does. What was cut off at the log's limit may be missing.
 */
bool matchFormat(std::string_view format, std::string_view text, LineFields& fields) {
    size_t count = 0;
    std::string_view stretch = firstStretch(format);
    size_t at = matchStretch(stretch, text, fields, count);
    if (at == std::string_view::npos) return false;
    while (stretch.size() < format.size()) {
        format.remove_prefix(stretch.size() + 2);
        stretch = firstStretch(format);
        const bool isLast = stretch.size() == format.size();
        const std::string_view literal = stretch.substr(0, stretch.find('%'));
        const size_t field = count;
        const size_t start = at;
        size_t end = stretch.empty() ? text.size() : text.find(literal, start);
        for (; end != std::string_view::npos; end = text.find(literal, end + 1)) {
            count = field + 1;
            const size_t length = matchStretch(stretch, text.substr(end), fields, count);
            if (length == std::string_view::npos) continue;
            at = end + length;
            if (!isLast || at == text.size()) break;
        }
        fields[field] = text.substr(start, end - start);
        if (end == std::string_view::npos) return text.size() >= kShortestCut && start > 0;
    }
    return at == text.size();
}

bool beginsWithText(const LogPattern& pattern) {
    return pattern.format.starts_with("%s");
}

/** What the daemon's own texts tell of those of others in them. */
bool fieldsFit(const LogPattern& pattern, const LineFields& fields) {
    if (pattern.role == DESCRIBED || pattern.role == BEGIN) {
        return fields[1] == std::to_string(fields[0].size());
    }
    // But for errors, a text at the beginning is the request's name.
    const bool named = beginsWithText(pattern) && pattern.priority != 'E';
    return !named || fields[0].find(' ') == std::string_view::npos;
}

}  // namespace

std::span<const LogPattern> logPatterns() {
    return kPatterns;
}

const LogPattern* matchLogLine(char priority, std::string_view message, LineFields& fields) {
    // Texts of others stand first in a few lines only, which must not take those of all the rest.
    for (const bool textFirst : {false, true}) {
        for (const LogPattern& pattern : kPatterns) {
            if (pattern.priority != priority || beginsWithText(pattern) != textFirst) continue;
            std::string_view format = pattern.format;
            // Nearly all differ here.
            if (!textFirst && !message.starts_with(format[0])) continue;
            if (format.ends_with('\n')) format.remove_suffix(1);
            if (matchFormat(format, message, fields) && fieldsFit(pattern, fields)) {
                return &pattern;
            }
        }
    }
    fields = {};
    return nullptr;
}

}  // namespace zulctl
