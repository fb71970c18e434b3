# shellcheck shell=bash
# SPDX-License-Identifier: Apache-2.0
#
# Sourced by tools that take no options but --help.

# answer_usage MOST USAGE ARGUMENT...: shows the usage when it is asked for; ends the tool with one line for
# any other option, and for more than MOST arguments.
answer_usage() {
    local most=$1 usage=$2 problem=''
    shift 2
    case ${1:-} in
        --help) printf '%s\n' "$usage" && exit 0 ;;
        -*) problem="unknown option $1" ;;
        *) (($# <= most)) || problem="too many arguments: $*" ;;
    esac
    [[ -z $problem ]] || { printf '%s: %s (see --help)\n' "${0##*/}" "$problem" >&2 && exit 2; }
}
