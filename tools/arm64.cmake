# SPDX-License-Identifier: Apache-2.0
#
# Toolchain file: builds for the processor of the devices with Debian's cross compiler.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_STRIP aarch64-linux-gnu-strip)

# Devices have pages of 4 or of 16 KiB; this fits both.
set(CMAKE_EXE_LINKER_FLAGS_INIT -Wl,-z,max-page-size=16384)
set(CMAKE_SHARED_LINKER_FLAGS_INIT -Wl,-z,max-page-size=16384)

set(CMAKE_FIND_ROOT_PATH /usr/aarch64-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
