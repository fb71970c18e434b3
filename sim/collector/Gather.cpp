// SPDX-License-Identifier: Apache-2.0
#include "sim/collector/Gather.h"

#include <algorithm>
#include <span>
#include <string_view>

#include "sim/collector/Sources.h"

namespace sim {
namespace {

constexpr std::string_view kPid = "PID";

/** One kind of data: a bit of the mask, the file it makes, and where that comes from. */
struct Kind {
    int bit;
    const char* name;
    Source source;
    /** Where `PID` stands in it, it is read for each process of the request. */
    const char* path;
};

constexpr const char* kThreads = "/proc/PID/task/*/{comm,wchan,syscall,stack}";
constexpr const char* kBasics = "/proc/PID/{status,cmdline,stat,limits,cgroup,oom_score}";
constexpr const char* kBinder = "/sys/kernel/debug/binder/{state,stats,transactions}";
constexpr const char* kProcessor = "/proc/{cpuinfo,stat,loadavg}";
constexpr const char* kSystem = "/proc/{version,uptime,cmdline,loadavg}";
constexpr const char* kMemory = "/proc/{meminfo,vmstat}";
constexpr const char* kMaps = "/proc/PID/maps";
constexpr const char* kProcesses = "/proc/[0-9]*/stat";
constexpr const char* kMounts = "/proc/mounts";
constexpr const char* kNone = "";

constexpr Kind kFullKinds[] = {
        {0, "binder", copyFiles, kBinder},
        {2, "maps", copyFiles, kMaps},
        {2, "proc_mem", copyFiles, "/proc/PID/{statm,smaps_rollup}"},
        {3, "proc_basic", copyFiles, kBasics},
        {4, "proc_stack", copyFiles, kThreads},
        {5, "sys_mem", copyFiles, kMemory},
        {6, "anr_trace", copyFiles, kThreads},
        {7, "sys_trace", copyFiles, "/sys/kernel/tracing/trace"},
        {9, "kernel_log", readKernelLog, kNone},
        {10, "fd", readLinks, "/proc/PID/fd"},
        {11, "basic", copyFiles, kSystem},
        {11, "properties", listProperties, kNone},
        {11, "mounts", copyFiles, kMounts},
        {15, "net", copyFiles, "/proc/net/{dev,route,tcp,tcp6,udp,udp6,unix}"},
        {17, "cpu_info", copyFiles, kProcessor},
        {17, "processes", copyFiles, kProcesses},
        {20, "power", copyFiles, "/sys/class/power_supply/*/uevent"},
        {21, "thermal", copyFiles, "/sys/class/thermal/*/{type,temp}"},
        {22, "perf_buffer", copyFiles, "/sys/kernel/tracing/instances/perf/trace"},
        {23, "power_buffer", copyFiles, "/sys/kernel/tracing/instances/power/trace"},
        {24, "stab_buffer", copyFiles, "/sys/kernel/tracing/instances/stab/trace"},
        {25, "com_buffer", copyFiles, "/sys/kernel/tracing/instances/com/trace"},
        {26, "camera_buffer", copyFiles, "/sys/kernel/tracing/instances/cam/trace"},
        {30, "display", copyFiles, "/sys/class/drm/*/{status,modes}"},
        {34, "sys_mem_ext", copyFiles, "/proc/{buddyinfo,pagetypeinfo,slabinfo,zoneinfo}"},
        {62, "copy_buffer", copyFiles, "/sys/kernel/tracing/instances/*/trace"},
};

constexpr Kind kUserKinds[] = {
        {5, "kernel_log", readKernelLog, kNone},
        {6, "anr_trace", copyFiles, kThreads},
        {7, "binder", copyFiles, kBinder},
        {8, "maps", copyFiles, kMaps},
        {10, "native_trace", copyFiles, kThreads},
        {11, "last_kmsg", copyFiles, "/sys/fs/pstore/*"},
        {12, "processes", copyFiles, kProcesses},
        {13, "meminfo", copyFiles, "/proc/meminfo"},
        {14, "zone_info", copyFiles, "/proc/zoneinfo"},
        {15, "block_io", copyFiles, "/proc/diskstats"},
        {16, "mm_stat", copyFiles, "/proc/vmstat"},
        {18, "properties", listProperties, kNone},
        {20, "mounts", copyFiles, kMounts},
        {23, "proc_basic", copyFiles, kBasics},
        {24, "basic", copyFiles, kSystem},
        {25, "cpu_info", copyFiles, kProcessor},
        {26, "sys_mem", copyFiles, kMemory},
};

void keep(const OutputFolder& folder, const std::string& name, const Gathered& gathered) {
    if (gathered.text.empty()) {
        folder.add(name + ".note", gathered.problem + '\n');
    } else {
        folder.add(name + ".txt", gathered.text);
    }
}

void gatherKind(const Kind& kind, const Request& request, const OutputFolder& folder) {
    const std::string path = kind.path;
    const size_t place = path.find(kPid);
    if (place == std::string::npos) return keep(folder, kind.name, kind.source(path));

    for (const pid_t pid : request.pids) {
        const std::string number = std::to_string(pid);
        std::string own = path;
        own.replace(place, kPid.size(), number);
        keep(folder, std::string(kind.name) + '_' + number, kind.source(own));
    }
    if (request.pids.empty()) {
        keep(folder, kind.name, {"", "the request names no process"});
    }
}

}  // namespace

void gather(const Request& request, const OutputFolder& folder) {
    const std::span<const Kind> kinds =
            request.userTag ? std::span<const Kind>(kUserKinds) : std::span<const Kind>(kFullKinds);
    std::string unknown;
    for (int bit = 0; bit < 64; bit++) {
        if ((request.mask >> bit & 1) == 0) continue;
        const auto match = [bit](const Kind& kind) { return kind.bit == bit; };
        if (std::none_of(kinds.begin(), kinds.end(), match))
            unknown += "bit " + std::to_string(bit) + '\n';
        for (const Kind& kind : kinds) {
            if (match(kind)) gatherKind(kind, request, folder);
        }
    }
    if (!unknown.empty()) folder.add("not_gathered.note", unknown);
}

}  // namespace sim
