// SPDX-License-Identifier: Apache-2.0

#include "zulctl/log/LogPatterns.h"

#include <algorithm>
#include <charconv>
#include <iterator>

namespace zulctl {

namespace {

using Role = LineRole;

constexpr bool kDump = true;
/** The platform's log takes that much of a message. */
constexpr size_t kShortestCut = 1023;

// clang-format off
constexpr LogPattern kPatterns[] = {
        // The daemon's start.
        {'D', "ZUL  main start.", Role::DAEMON_START},
        {'D', "ZUL main start thread from hidl."},
        {'D', "ZUL main start thread from aidl."},
        {'E', "FolderOperation main folder create %s failed(%s)"},
        {'D', "dnam=%s"},
        {'D', "mCompressFileCount=%d", Role::OTHER, kDump},
        {'D', "hwbinder thread number=%d", Role::OTHER, kDump},
        {'D', "aidlbinder thread number=%d", Role::OTHER, kDump},
        {'E', "service is still nullptr after 10 attempts, return -1"},
        {'E', "engine gave no thread number: %s"},
        {'W', "engine is gone", Role::ENGINE_GONE},
        {'I', "engine is back, thread number=%d", Role::ENGINE_BACK},
        {'E', "engine is not watched: %s"},
        {'E', "engine is not watched: status %d"},
        {'W', "%s is not read, it has %lld bytes"},
        {'E', "thread pool join returned, no more events are served"},

        // An event, in the order of its life.
        {'D', "getZulInfoByTag tagId===%s", Role::LOOK_UP},
        {'E', "libzulid_config dlopen fail", Role::LIBRARY_MISSING},
        {'D', "getZulInfoByTag Error: Failed to find function", Role::FUNCTION_MISSING},
        {'D', "getZulInfoByTag getRowByKey fail", Role::NOT_IN_LIBRARY},
        {'D', "%s Illegal ZUL TAG %s,break", Role::NOT_DESCRIBED},
        {'D', "sceneType===%s,sceneType.length()=%d", Role::DESCRIBED},
        {'I', "%s flag = %s"},
        {'I', "%s mZulCmd = %s"},
        {'I', "%s extraInfo = %s"},
        {'I', "%s eventType = %s"},
        {'I', "%s eventSubType = %s"},
        {'I', "log flagstr = %s"},
        {'I', "getZulInfo flagvalue = 0x%llx"},
        {'I', "%s sceneType===%s, flag = 0x%llx; mZulCmd = %s; extraInfo = %s; mEventType = %s; mEventSubType = %s", Role::DESCRIPTION},
        {'D', "sceneType===%s,sceneType.length()=%d,mFlag=0x%llx", Role::BEGIN},
        {'E', "Unable to open filePath: %s ", Role::COPY_MISSING},
        {'E', "%s copy to %s failed.", Role::VENDOR_REFUSAL},
        {'D', "Illegal ZUL TAG %s,break", Role::ILLEGAL_TAG},
        {'E', "writeConfig: open file(%s) fail", Role::CONFIG_NOT_STORED},
        {'D', "remoteConfig.%s = %s \n", Role::CONFIG_ITEM},
        {'D', "remoteConfig.flag = %lld \n", Role::CONFIG_ITEM},
        {'D', "remoteConfig activity->transact error:%d,%s"},
        {'D', "remoteConfig packageName is not %s ,return", Role::OTHER_PACKAGE},
        {'E', "unknow special scene type:%c", Role::UNKNOWN_SCENE},
        {'D', "prepare.....sceneType=%s,flag=0x%llx,pid=%d, mCompressFileCount=%d, extraInfo=%s", Role::PREPARE, kDump},
        {'D', "multiPidPrepare.....sceneType=%s,flag=0x%llx,mMultiPid=%s, mCompressFileCount=%d, extraInfo=%s", Role::PREPARE, kDump},
        {'D', "file %s isn't exist!,erase it from vector", Role::OTHER, kDump},
        {'D', "current file path is %s", Role::OTHER, kDump},
        {'D', "createZulPath:erase %s", Role::ERASED, kDump},
        {'E', "getZulBasePath sceneType info error!!", Role::NO_FOLDER_NAME},
        {'E', "tag too long for a capture folder: %s", Role::NAME_TOO_LONG},
        {'E', "FolderOperation sceneType LOG folder create %s failed(%s)", Role::FOLDER_DENIED},
        {'D', "getZulBasePath:fileNum=%d,folderName=%s", Role::FOLDER, kDump},
        {'E', "FolderOperation LOG folder create %s failed(%s)", Role::FOLDER_DENIED},
        {'E', "createZulPath failure...", Role::NO_FOLDER},
        {'D', "recordZulHistory:allContent===%s", Role::RECORD, kDump},
        {'E', "history record too long for archive %s.zul", Role::NO_RECORD},
        {'E', "open %s failure:", Role::NO_RECORD},
        {'W', "fcntl F_SETLKW %s failure:"},
        {'D', "write content to file!", Role::OTHER, kDump},
        {'W', "fcntl F_SETLK %s failure:"},
        {'E', "readSpecialLine failure!"},
        {'D', "remove old file:filename=%s", Role::ERASED, kDump},
        {'E', "file %s isn't exist!"},
        {'E', "not removed, not in the store: %s"},
        {'E', "not removed, no folder without links: %s"},
        {'E', "not removed, in use by others: %s"},
        {'D', "child normal exit....", Role::OTHER, kDump},
        {'E', "not removed, no plain path: %s"},
        {'E', "*** vfork fail\n"},
        {'E', "execl on command '%s' failed\n"},
        {'D', "startWork....", Role::COLLECTOR, kDump},
        {'D', "sceneFlag===%s, mPid===%d", Role::CHILD, kDump},
        {'E', "*** fork fail\n", Role::NO_CHILD},
        {'E', "ret==%d,excel errno=%d", Role::NOT_EXECUTED},
        {'D', "zuldump child normal exit...", Role::END, kDump},
};
// clang-format on

bool isHexDigit(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f');
}

/** The length of what printf would have written for the conversion, at the start of `text`. */
size_t lengthOf(std::string_view conversion, std::string_view text) {
    if (conversion == "c") return text.empty() ? 0 : 1;
    const bool hex = conversion.back() == 'x';
    size_t length = !hex && text.starts_with('-') ? 1 : 0;
    const size_t digits = length;
    while (length < text.size() &&
           (hex ? isHexDigit(text[length]) : text[length] >= '0' && text[length] <= '9'))
        length++;
    return length == digits ? 0 : length;
}

/** The fields found so far; there is room for all of every format. */
struct Found {
    LineFields& fields;
    size_t count = 0;
    void add(std::string_view field) { fields[count++] = field; }
};

/** A stretch of a format without %s in it: texts, numbers and characters. */
std::string_view firstStretch(std::string_view format) {
    return format.substr(0, format.find("%s"));
}

/** The length of the stretch's text at the start of `text`; npos when it is not there. */
size_t matchStretch(std::string_view stretch, std::string_view text, Found& found) {
    size_t at = 0;
    while (!stretch.empty()) {
        const std::string_view literal = stretch.substr(0, stretch.find('%'));
        if (!text.substr(at).starts_with(literal)) return std::string_view::npos;
        at += literal.size();
        stretch.remove_prefix(literal.size());
        if (stretch.empty()) break;
        const size_t last = stretch.find_first_of("cdx");
        const size_t length = lengthOf(stretch.substr(1, last), text.substr(at));
        if (length == 0) return std::string_view::npos;
        found.add(text.substr(at, length));
        at += length;
        stretch.remove_prefix(last + 1);
    }
    return at;
}

/**
 * A text ends where what is behind it in the format follows for the first time; the last one, where
 * the message does. What was cut off at the log's limit may be missing.
 */
bool matchFormat(std::string_view format, std::string_view text, LineFields& fields) {
    const bool cut = text.size() >= kShortestCut;
    fields = {};
    Found found{fields};
    std::string_view stretch = firstStretch(format);
    const size_t start = matchStretch(stretch, text, found);
    if (start == std::string_view::npos) return false;
    text.remove_prefix(start);
    format.remove_prefix(stretch.size());
    bool recognised = start > 0;

    while (!format.empty()) {
        format.remove_prefix(2);
        stretch = firstStretch(format);
        format.remove_prefix(stretch.size());
        if (stretch.empty()) {
            found.add(text);
            return true;
        }
        const std::string_view literal = stretch.substr(0, stretch.find('%'));
        size_t at = text.find(literal);
        for (; at != std::string_view::npos; at = text.find(literal, at + 1)) {
            Found here = found;
            here.add(text.substr(0, at));
            const size_t length = matchStretch(stretch, text.substr(at), here);
            if (length == std::string_view::npos) continue;
            if (format.empty() && at + length < text.size()) continue;
            text.remove_prefix(at + length);
            found.count = here.count;
            recognised = true;
            break;
        }
        if (at != std::string_view::npos) continue;
        if (cut && recognised) found.add(text);
        return cut && recognised;
    }
    return text.empty();
}

bool beginsWithText(const LogPattern& pattern) {
    return pattern.format.starts_with("%s");
}

/** What the daemon's own texts tell of those of others in them. */
bool fieldsFit(const LogPattern& pattern, const LineFields& fields) {
    if (pattern.role == Role::DESCRIBED || pattern.role == Role::BEGIN) {
        size_t length = 0;
        const std::string_view digits = fields[1];
        std::from_chars(digits.data(), digits.data() + digits.size(), length);
        return length == fields[0].size();
    }
    // But for errors, a text at the beginning is the request's name.
    const bool named = beginsWithText(pattern) && pattern.priority != 'E';
    return !named || fields[0].find(' ') == std::string_view::npos;
}

}  // namespace

LogPatternList logPatterns() {
    return {kPatterns, std::size(kPatterns)};
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
