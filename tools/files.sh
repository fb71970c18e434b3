# shellcheck shell=bash
# SPDX-License-Identifier: Apache-2.0
#
# Sourced by the checks: which files of the project are code. Run them in the project's folder. Paths
# come one per line and relative to it, without build results and git's own files.

# $@ are further conditions for find.
project_files() {
    find . \( -path ./build -o -path ./.git \) -prune -o -type f "$@" -printf '%P\n' | LC_ALL=C sort
}

cpp_files() {
    project_files \( -name '*.cpp' -o -name '*.h' \)
}

# Without the frozen dumps, which are as the interface compiler wrote them.
interface_files() {
    project_files ! -path '*/aidl_api/*' \( -name '*.hal' -o -name '*.aidl' -o -name '*.bp' \)
}

# The init file and the policy.
device_files() {
    project_files \( -name '*.rc' -o -name '*.te' -o -name '*_contexts' \)
}

cmake_files() {
    project_files \( -name CMakeLists.txt -o -name '*.cmake' \)
}

# What is sourced, and whatever names its interpreter in its first line.
script_files() {
    local file start
    while read -r file; do
        start=''
        read -rN 2 start <"$file" || true
        if [[ $file = *.sh || $start = '#!' ]]; then
            printf '%s\n' "$file"
        fi
    done < <(project_files ! -name '*.cpp' ! -name '*.h' ! -name '*.md') 2>/dev/null
}

# All that counts as code.
code_files() {
    cpp_files && script_files && cmake_files && interface_files && device_files
}
