// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace zul {

// Where the daemon's files are. Folders end in "/".
inline constexpr char kOutputRoot[] = "/data/ZUL/";
inline constexpr char kStuckLogoRoot[] = "/morvfs/stuck_logo/";
inline constexpr char kHistoryFile[] = "/data/ZUL/zul_history";
inline constexpr char kTagFile[] = "/data/ZUL/ZUL_TAG.txt";
inline constexpr char kConfigFile[] = "/data/ZUL/config";
/** What a capture folder's path needs to become its archive's path. */
inline constexpr char kArchiveSuffix[] = ".zul";

inline constexpr char kTagLibrary[] = "/system_ext/lib64/libzulid_config.so";

/** The kernel's trace instances; newer kernels have them under the second root alone. */
inline constexpr char kTraceRoot[] = "/sys/kernel/debug/tracing/instances/";
inline constexpr char kFallbackTraceRoot[] = "/sys/kernel/tracing/instances/";

}  // namespace zul
