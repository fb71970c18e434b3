# shellcheck shell=bash
# SPDX-License-Identifier: Apache-2.0
#
# Sourced by ./demo, ./test and ./benchmark: what all of them do before they start.

# Ends the script with one clear line.
die() {
    printf '%s: %s\n' "${0##*/}" "$1" >&2
    exit 2
}

# Ends the script when it could not write into build/, as after a run by another user.
check_build_folder() {
    local path
    path=$(find build ! -user "$EUID" ! -writable -print -quit 2>/dev/null) || true
    [[ -z $path ]] || die "$path belongs to $(stat -c %U "$path"): remove build/ as that user or as root"
}

# apt_get ARGUMENT...: as root. A fresh Debian installs packages when it first starts, so this waits for its lock.
apt_get() {
    local waited said=''
    for ((waited = 0; waited < 1800; waited += 2)); do
        said=$("${as_root[@]}" env LC_ALL=C DEBIAN_FRONTEND=noninteractive apt-get -qq "$@" 2>&1 >/dev/null) && return
        [[ $said = *'Could not get lock'* ]] || break
        ((waited > 0)) || printf 'Waiting for another installation of packages to end: %s\n' "$(sed -n '1s|^E: ||p' <<<"$said")"
        sleep 2
    done
    printf '%s\n' "$said" >&2
    return 1
}

# Installs the packages of tools/packages.txt that are missing: those for "demo", which all need, and those
# for $1. Run it in the project's folder.
install_packages() {
    local package use missing=()
    if ! command -v dpkg-query >/dev/null; then
        printf '%s: this is not Debian; make sure that what tools/packages.txt lists is installed\n' "${0##*/}" >&2
        return 0
    fi
    while read -r package use; do
        [[ $use = demo || " $use " = *" $1 "* ]] || continue
        # A Node.js that is not Debian's has its own npm, and conflicts with Debian's.
        [[ $package != npm ]] || ! command -v npm >/dev/null || continue
        [[ $(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null) = installed ]] \
            || missing+=("$package")
    done < <(sed 's/#.*//' tools/packages.txt)
    [[ ${#missing[@]} -gt 0 ]] || return 0

    local as_root=()
    if [[ $EUID -ne 0 ]]; then
        command -v sudo >/dev/null || die "missing packages, and no sudo to install them: ${missing[*]}"
        as_root=(sudo)
    fi
    printf 'Installing missing packages: %s\n' "${missing[*]}"
    apt_get update || die "the package lists cannot be updated (apt-get update)"
    apt_get install -y --no-install-recommends "${missing[@]}" || die "these packages cannot be installed: ${missing[*]}"
}
