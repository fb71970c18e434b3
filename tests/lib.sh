# shellcheck shell=bash
# SPDX-License-Identifier: Apache-2.0
#
# Sourced by the end-to-end tests, which run inside the box: the real daemon, the real engine
# stand-in, and plain questions about what they left behind.
#
# first_capture, engine_returns, late_engine and tools/demo_story also run elsewhere, as over the
# platform's own libraries and the kernel's binder. Two variables tell, and the box passes them on:
#   ZUL_BINARIES   a folder whose programs come before those of this build: zuld, zul_engine, fire, zulctl, ...
#   ZUL_BINDER     a script for another binder, sourced when all functions are there: it starts what that needs,
#                  such as service managers, and defines anew what it does in another way (undeclare_engine)

set -euo pipefail
PATH=${ZUL_BINARIES:+$ZUL_BINARIES:}$PATH

readonly ENGINE_LOG=/tmp/engine.log
readonly DAEMON_LOG=/tmp/daemon.log
readonly HISTORY=/data/ZUL/zul_history
readonly RECORD=/data/ZUL/collector_record
readonly STACK_KB=8192
ENGINE_PID='' DAEMON_PID=''
# A command that starts the daemon in its own way, with its arguments.
DAEMON_WRAPPER=()

# Ends the test with everything that helps to see why.
fail() {
    local log
    printf '\nFAILED: %s (%s line %s)\n' "$1" "${BASH_SOURCE[-1]##*/}" "${BASH_LINENO[-2]}"
    for log in "$ENGINE_LOG" "$DAEMON_LOG"; do
        [[ ! -s $log ]] || { printf '\n--- %s\n' "$log" && tail -n 60 "$log"; }
    done
    printf '\n--- /data\n' && { find /data /morvfs 2>/dev/null | head -n 60 || true; }
    exit 1
}

# wait_for SECONDS COMMAND...: until COMMAND succeeds; false when it has not in that time of a machine that
# does nothing else.
wait_for() {
    local deadline=$((${EPOCHREALTIME/./} + $1 * 6000000))
    shift
    until "$@"; do
        ((${EPOCHREALTIME/./} < deadline)) || return 1
        sleep 0.02
    done
}

milliseconds_since() {
    echo $(((${EPOCHREALTIME/./} - ${1/./}) / 1000))
}

assert_equal() {
    [[ $1 = "$2" ]] || fail "$3: expected '$1', got '$2'"
}

assert_file() {
    [[ -f $1 ]] || fail "no file $1"
}

# assert_refused TEXT COMMAND...: COMMAND ends with status 2 and exactly one line, which holds TEXT.
assert_refused() {
    local text=$1 output status=0
    shift
    output=$("$@" 2>&1 </dev/null) || status=$?
    [[ $status -eq 2 && $output = *"$text"* && $output != *$'\n'* ]] \
        || fail "'$*' gave status $status and '$output'"
}

# Every line of the daemon's own log tag, as "PRIORITY TEXT".
daemon_lines() {
    sed -nE 's/^[0-9-]{5} [0-9:.]{12} +[0-9]+ +[0-9]+ ([A-Z]) ZUL_DEBUG: /\1 /p' "$DAEMON_LOG"
}

# count_log PRIORITY TEXT: how often exactly this line was written.
count_log() {
    daemon_lines | grep -cFx -- "$1 $2" || true
}

has_log() {
    [[ $(count_log "$1" "$2") -gt 0 ]]
}

assert_log() {
    has_log "$1" "$2" || fail "no log line '$1 $2'"
}

assert_no_log() {
    ! has_log "$1" "$2" || fail "an unwanted log line '$1 $2'"
}

is_alive() {
    kill -0 "$1" 2>/dev/null
}

is_gone() {
    ! is_alive "$1"
}

# launch_engine MODE THREADS [OPTION...]: does not wait for it.
launch_engine() {
    : >"$ENGINE_LOG"
    with_socket zul_engine_control zul_engine --mode "$1" --threads "$2" "${@:3}" >>"$ENGINE_LOG" 2>&1 &
    ENGINE_PID=$!
}

# start_engine MODE THREADS: returns when the engine is published.
start_engine() {
    launch_engine "$@"
    wait_for 20 grep -qsx 'engine: ready' "$ENGINE_LOG" || fail "the engine does not come up"
}

# start_dying_engine MODE MOMENT: returns when it is dead, which it may be before it says that it is ready.
start_dying_engine() {
    launch_engine "$1" 2 --die-in "$2"
    wait_for 10 is_gone "$ENGINE_PID" || fail "the engine did not die in $2"
}

# undeclare_engine: the device has no manifest of an engine, and none can be published.
undeclare_engine() {
    : >/vendor/etc/vintf/declared
}

# start_daemon MODE [TAG...]: starts the daemon of a debug build that knows these tags.
start_daemon() {
    local mode=$1 tag
    shift
    : >"$DAEMON_LOG"
    setprop hwservicemanager.disabled "$([[ $mode = aidl ]] && echo true || echo false)"
    [[ -n $(getprop ro.build.type) ]] || setprop ro.build.type userdebug
    setprop debug.zul.dump true
    if [[ $# -gt 0 ]]; then
        mkdir -p /data/ZUL
        for tag in "$@"; do echo "$tag|"; done >/data/ZUL/ZUL_TAG.txt
    fi
    "${DAEMON_WRAPPER[@]}" zuld >>"$DAEMON_LOG" 2>&1 </dev/null &
    DAEMON_PID=$!
}

# start_both MODE THREADS TAG...: returns when all callbacks are registered.
start_both() {
    start_engine "$1" "$2"
    start_daemon "$1" "${@:3}"
    wait_registered "$2"
}

# kill_hard PID: a process that ends without a chance to tidy up.
kill_hard() {
    kill -KILL "$1"
    wait "$1" 2>/dev/null || true
}

descriptor_count() {
    find "/proc/$1/fd" -mindepth 1 | wc -l
}

thread_count() {
    find "/proc/$1/task" -mindepth 1 -maxdepth 1 | wc -l
}

# The archive of the capture that came last.
newest_archive() {
    zulctl --json list -n1 | sed -E 's/.*"archive":"([^"]*)".*/\1/'
}

collector_runs() {
    pgrep -f '^/data/ZUL/|^0x' >/dev/null
}

# What the collector stand-in does from now on, one order a line.
order_collector() {
    mkdir -p /data/ZUL
    printf '%s\n' "$@" >/data/ZUL/collector_orders
}

# start_standin COMMAND NAME: a stand-in that says "NAME: ready" when it serves.
start_standin() {
    "$1" >"/tmp/$2.log" 2>&1 &
    wait_for 5 grep -qsx "$2: ready" "/tmp/$2.log" || fail "$1 does not come up: $(cat "/tmp/$2.log")"
}

# restart_daemon MODE THREADS: the daemon is killed and a new one takes its place.
restart_daemon() {
    kill_hard "$DAEMON_PID"
    wait_for 5 has_callbacks 0 || fail "the engine keeps the callbacks of a dead daemon"
    start_daemon "$1"
    wait_registered "$2"
}

has_callbacks() {
    [[ $(fire status) = "callbacks $1" ]]
}

# No more than so many.
has_descriptors() {
    [[ $(descriptor_count "$DAEMON_PID") -le $1 ]]
}

has_archives() {
    [[ $(find /data/ZUL/0xffff -name '*.zul' | wc -l) -eq $1 ]]
}

# wait_registered N: until the engine has so many callbacks.
wait_registered() {
    fire wait "$1" >/dev/null || fail "the callbacks are not registered"
}

# assert_collector_got VALUE N: what the last recorded collector got as its argument N.
assert_collector_got() {
    assert_equal "$1" "$(grep -aA1 -E "^$2 [0-9]+$" "$RECORD" | tail -n 1)" "argument $2 of the collector"
}

# Heap and written data. Pages of libraries are left out, as others that share them come and go, and the
# threads' stacks, of which each meets its deepest way sooner or later.
memory_kb() {
    awk -v stack=$STACK_KB '
        /^[0-9a-f]+-/ { named = NF > 5 }
        /^Size:/ { size = $2 }
        /^Anonymous:/ && (named || size != stack) { sum += $2 }
        END { print sum }' "/proc/$DAEMON_PID/smaps"
}

# shellcheck source=/dev/null
[[ -z ${ZUL_BINDER:-} ]] || source "$ZUL_BINDER"
