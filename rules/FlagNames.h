// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <iterator>
#include <map>
#include <string>
#include <string_view>

namespace zul {

/** One name of a flag vocabulary and the bits of the collection mask that it stands for. */
struct FlagEntry {
    const char* name;
    int64_t value;
};

/** What a capture of any tag but the user tags may collect. Bits 16 and 28 have no name. */
inline constexpr FlagEntry kFlags[] = {
        {"FLAG_ZUL_BINDER", 0x1},
        {"FLAG_ZUL_WINDOW", 0x2},
        {"FLAG_ZUL_PROC_MEM", 0x4},
        {"FLAG_ZUL_PROC_BASIC", 0x8},
        {"FLAG_ZUL_PROC_STACK", 0x10},
        {"FLAG_ZUL_SYS_MEM", 0x20},
        {"FLAG_ZUL_ANR_TRACE", 0x40},
        {"FLAG_ZUL_SYS_TRACE", 0x80},
        {"FLAG_ZUL_HPROF", 0x100},
        {"FLAG_ZUL_LOG", 0x200},
        {"FLAG_ZUL_FD", 0x400},
        {"FLAG_ZUL_BASIC", 0x800},
        {"FLAG_ZUL_PACKAGE", 0x1000},
        {"FLAG_ZUL_CAMERA", 0x2000},
        {"FLAG_ZUL_MEDIA", 0x4000},
        {"FLAG_ZUL_NET", 0x8000},
        {"FLAG_ZUL_CPU_INFO", 0x20000},
        {"FLAG_ZUL_DB_INFO", 0x40000},
        {"FLAG_ZUL_BUGREPORT", 0x80000},
        {"FLAG_ZUL_POWER", 0x100000},
        {"FLAG_ZUL_THERMAL", 0x200000},
        {"FLAG_ZUL_PERF_BUFFER", 0x400000},
        {"FLAG_ZUL_POWER_BUFFER", 0x800000},
        {"FLAG_ZUL_STAB_BUFFER", 0x1000000},
        {"FLAG_ZUL_COM_BUFFER", 0x2000000},
        {"FLAG_ZUL_CAMERA_BUFFER", 0x4000000},
        {"FLAG_ZUL_MODEM_BUFFER", 0x8000000},
        {"FLAG_ZUL_AUDIO_DUMP", 0x20000000},
        {"FLAG_ZUL_DISPLAY", 0x40000000},
        {"FLAG_USAGESTATS", 0x80000000},
        {"FLAG_ZUL_BINDER_CALLS_STATS", 0x100000000},
        {"FLAG_ZUL_LOOPER_STATS", 0x200000000},
        {"FLAG_ZUL_SYS_MEM_EXT", 0x400000000},
        {"FLAG_ZUL_APP_INFO", 0x800000000},
        {"FLAG_ZUL_COPY_BUFFER", 0x4000000000000000},
        // One alias for each kind of exception, made of the single flags above.
        {"EXCEPTION_TYPE_ANR", 0x2C1},
        {"EXCEPTION_TYPE_SWT", 0x2C9},
        {"EXCEPTION_TYPE_NE", 0x200},
        {"EXCEPTION_TYPE_JE", 0x1203},
        {"EXCEPTION_TYPE_KE", 0x200},
};
static_assert(std::size(kFlags) == 40);

/** What a capture of a user tag may collect. The same bits mean other data here. */
inline constexpr FlagEntry kUserFlags[] = {
        {"FLAG_ZUL_USER_LOG_MAIN_SYS", 0x2},
        {"FLAG_ZUL_USER_LOG_EVENT", 0x4},
        {"FLAG_ZUL_USER_LOG_RADIO", 0x8},
        {"FLAG_ZUL_USER_LOG_CRASH", 0x10},
        {"FLAG_ZUL_USER_LOG_KERNEL", 0x20},
        {"FLAG_ZUL_USER_ANR_TRACE", 0x40},
        {"FLAG_ZUL_USER_BINDER", 0x80},
        {"FLAG_ZUL_USER_MAPS", 0x100},
        {"FLAG_ZUL_USER_SIGNAL_TRACE", 0x200},
        {"FLAG_ZUL_USER_NATIVE_TRACE", 0x400},
        {"FLAG_ZUL_USER_LAST_KMSG", 0x800},
        {"FLAG_ZUL_USER_PS", 0x1000},
        {"FLAG_ZUL_USER_PROC_MEMINFO", 0x2000},
        {"FLAG_ZUL_USER_ZONE_INFO", 0x4000},
        {"FLAG_ZUL_USER_BLOCKIO", 0x8000},
        {"FLAG_ZUL_USER_MMSTAT", 0x10000},
        {"FLAG_ZUL_USER_RAM_CONSOLE", 0x20000},
        {"FLAG_ZUL_USER_PROPERTY", 0x40000},
        {"FLAG_ZUL_USER_DF", 0x80000},
        {"FLAG_ZUL_USER_MOUNT", 0x100000},
        {"FLAG_ZUL_MINIDUMP", 0x200000},
        {"FLAG_ZUL_USER_WINDOW", 0x400000},
        {"FLAG_ZUL_USER_PROC_BASIC", 0x800000},
        {"FLAG_ZUL_USER_BASIC", 0x1000000},
        {"FLAG_ZUL_USER_CPU_INFO", 0x2000000},
        {"FLAG_ZUL_USER_SYS_MEM", 0x4000000},
        {"FLAG_ZUL_USER_BINDER_CALLS_STATS", 0x8000000},
        {"FLAG_ZUL_USER_LOOPER_STATS", 0x10000000},
};
static_assert(std::size(kUserFlags) == 28);

/** A flag vocabulary: bits of the collection mask by their names. */
using FlagTable = std::map<std::string, int64_t>;

template <size_t N>
FlagTable makeFlagTable(const FlagEntry (&entries)[N]) {
    FlagTable table;
    for (const FlagEntry& entry : entries)
        table.emplace(entry.name, entry.value);
    return table;
}

/** True for a scene type whose flag names are those of kUserFlags. */
bool hasUserFlags(std::string_view sceneType);

/** A flag name as the vocabularies have it: without the blanks and line breaks that it is written with. */
std::string withoutBlanks(std::string name);

/** The mask that names joined by "|" stand for; unknown ones, blanks and line breaks add nothing. */
int64_t maskOfNames(const std::string& flagNames, const FlagTable& vocabulary);

}  // namespace zul
