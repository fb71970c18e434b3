# shellcheck shell=bash
# SPDX-License-Identifier: Apache-2.0
#
# The story of a few events and what became of each, played to a running daemon: on a desktop by ./demo, on
# a device by zul_trial. So it is written for bash and for mksh, and uses only a device's tools.
#
# Who sources it has set these:
#   MODE THREADS      how the daemon reaches the engine (hidl, aidl), and how many callbacks that wants
#   BUILD_TYPE        what kind of build the device has; only "user" makes a difference
#   LOG               the file that the daemon's log goes to as it is written
#   SCRATCH           a folder for passing files
#   NAMES             true when the activity manager knows the names of processes
#   OWN_COLLECTOR     true when the collector is not the stand-in, whose archives contain its arguments
# and, before the first chapter, with which the daemon gets the tags of tag_file():
#   app other_app     two processes, whose names are in app_name and other_app_name
#   daemon            the daemon's process
# and defines end_engine, which ends the engine the hard way and returns when there is a new one.

readonly OUTPUT=/data/ZUL HISTORY=/data/ZUL/zul_history CONFIG=/data/ZUL/config
readonly TAG_LIBRARY=/system_ext/etc/zulid_config.tsv
readonly FIRED=$SCRATCH/fired EVENT=$SCRATCH/event BEGIN=$SCRATCH/begin INDENTED=$SCRATCH/indented
readonly DATABASE=db.fatal.08.EE.dbg DATABASE_FOLDER=/data/vendor/aee_exp/db.fatal.08.EE
readonly INSTANCE=/sys/kernel/tracing/instances/perf MARK='the gallery drops frames'
readonly UPDATE=0xffffffff SCENE=0xffff1001 ILLEGAL=0xffff0999
readonly CAPTURED='captured' REFUSED='refused: no legal tag' FILTERED='refused: other package'
readonly CONFIGURED='configuration stored' MARKED='mark in the trace'
shown=0 problems=0 number=0 told=0 log_filter=. table=''

# The same story on both builds; a user build knows other tags, reads the mask in another way and
# keeps fewer archives.
if [[ $BUILD_TYPE = user ]]; then
    crash=0xffffff0a leak=0xffffff21 hang=0xffffff22 jank=0xffffff23 kernel=0xffffff24
    camera=0xffffff25 network=0xffffff26 mask=0x6803100 added_mask=0x40000 limit=10
else
    crash=0xffff0002 leak=0xffff0101 hang=0xffff0001 jank=0xffff0201 kernel=0xffff0005
    camera=0xffff0401 network=0xffff0501 mask=0x20c3c added_mask=0x400000 limit=20
fi

bold='' dim='' red='' plain=''
if [[ -t 1 ]]; then
    bold=$'\e[1m' dim=$'\e[2m' red=$'\e[31m' plain=$'\e[0m'
fi

headline() {
    printf '\n%s== %s ==%s\n' "$bold" "$1" "$plain"
}

problem() {
    problems=$((problems + 1))
    printf '%sPROBLEM: %s%s\n' "$red" "$1" "$plain"
}

give_up() {
    problem "$1"
    exit 1
}

# shorten HEAD TAIL: what comes in, indented and without its middle.
shorten() {
    local count
    sed 's/^/  /' >"$INDENTED"
    count=$(wc -l <"$INDENTED")
    if ((count <= $1 + $2 + 1)); then
        cat "$INDENTED"
    else
        head -n "$1" "$INDENTED"
        printf '  ... %d more ...\n' $((count - $1 - $2))
        tail -n "$2" "$INDENTED"
    fi
}

# What the daemon has logged since the last time.
show_log() {
    local count
    count=$(wc -l <"$LOG")
    ((count > shown)) || return 0
    sed -n "$((shown + 1)),${count}p" "$LOG" | grep -E "$log_filter" | sed "s/.*/$dim  zuld | &$plain/" || true
    shown=$count
}

# archives TAG SINCE: those made since the file SINCE was.
archives() {
    find "$OUTPUT" /morvfs -name "$1_*.zul" -newer "$2" 2>/dev/null | LC_ALL=C sort
}

# The marks as the kernel shows them, or the plain file that stands in for it.
marks() {
    if [[ -s $INSTANCE/trace_marker ]]; then cat "$INSTANCE/trace_marker"; else cat "$INSTANCE/trace"; fi
}

# All events of the log, one a line; its status tells whether there was one.
events() {
    zulctl --log "$LOG" --json events || [[ $? -eq 1 ]]
}

# The configuration of the story has been stored since the event was told.
is_configured() {
    [[ -n $(find "$CONFIG" -newer "$EVENT" 2>/dev/null) && $(cat "$CONFIG") = "$configuration" ]]
}

# outcome_of TAG: what became of the events just told, by the log, and whether they left it behind.
outcome_of() {
    local count outcome made
    # Of the whole log: an event's own lines do not tell whether the daemon writes debug lines.
    read -r count outcome <<<"$(events | tail -n +$((told + 1)) | grep -F "\"tag\":\"$1\"" \
        | sed -E 's/.*"outcome":"([^"]*)","dropped":[a-z]*,"reason":"([^"]*)".*/\1: \2/; s/: $//' | sort | uniq -c)"
    made=$(archives "$1" "$EVENT" | wc -l)
    if [[ $outcome = captured && $made -eq $count ]]; then
        ((count == 1)) && echo "$CAPTURED" || echo "$CAPTURED $count times"
    elif [[ $outcome = updated ]] && is_configured; then
        echo "$CONFIGURED"
    elif [[ $outcome = marked && $(marks) = *"$MARK"* ]]; then
        echo "$MARKED"
    elif [[ $outcome = refused:* && $made -eq 0 ]]; then
        echo "$outcome"
    else
        echo "${count:-0} ${outcome:-events}, $made archives"
    fi
}

# await_outcome TAG EXPECTED: the outcome. It waits a little for the expected one: a log may arrive behind
# the answer to the event.
await_outcome() {
    local attempt outcome
    for attempt in $(seq 60); do
        outcome=$(outcome_of "$1")
        [[ $outcome != "$2" ]] || break
        sleep 0.3
    done
    printf '%s' "$outcome"
}

# tell TEXT TAG EXPECTED FIRE-ARGUMENT...: makes the engine fire, follows the log meanwhile, and notes
# whether the outcome is the expected one.
tell() {
    local text=$1 tag=$2 expected=$3 word fired took outcome
    shift 3
    number=$((number + 1)) told=$(events | wc -l)
    printf '\n%s%d. %s%s\n  $ fire' "$bold" $number "$text" "$plain"
    for word in "$@"; do
        case $word in
            '' | *[!A-Za-z0-9,-]*) printf " '%s'" "$word" ;;
            *) printf ' %s' "$word" ;;
        esac
    done
    printf '\n'
    # The kernel's file times move in steps.
    touch "$EVENT" && sleep 0.02
    fire "$@" >"$FIRED" 2>&1 &
    fired=$!
    while kill -0 "$fired" 2>/dev/null; do
        show_log
        sleep 0.05
    done
    wait "$fired" || problem "the engine got no answer: $(tail -n 1 "$FIRED")"
    outcome=$(await_outcome "$tag" "$expected")
    show_log
    # The last line is that of the one event, or sums them up.
    took=$(sed -n '$s/.* \([0-9.]*\) ms$/\1/p' "$FIRED")
    table+=$(printf '%-3d %-10s %-23s %-23s %7s ms' $number "$tag" "$expected" "$outcome" "$took")$'\n'
    [[ $outcome = "$expected" ]] || problem "expected '$expected', got '$outcome'"
}

# collector_got TAG NUMBER EXPECTED WHAT: shows an argument that the collector stand-in has packed.
collector_got() {
    local archive name value
    [[ $OWN_COLLECTOR = false ]] || return 0
    archive=$(archives "$1" "$EVENT" | tail -n 1)
    name=${archive##*/}
    value=$(tar -xOf "$archive" "${name%.zul}/arguments" 2>/dev/null | sed -n 'n;p' | sed -n "$(($2 + 1))p") || true
    printf '  the collector got the %s %s\n' "$4" "$value"
    [[ $value = "$3" ]] || problem "the $4 should be $3"
}

# What the tag library says of the story's tags, as lines of a debug build's tag file.
known_tags() {
    local tag tab=$'\t'
    for tag in "$crash" "$leak" "$hang" "$jank" "$kernel" "$camera" "$network" "$@"; do
        sed -n "s/^$tag$tab.*$tab\(.*\)$tab\(.*\)/$tag|\1, \2/p" "$TAG_LIBRARY"
    done
    echo "$UPDATE|a new configuration"
}

# The database that the chip vendor's part would leave behind, and the tags: before the daemon starts.
prepare_store() {
    touch "$BEGIN" && sleep 0.02
    mkdir -p "$DATABASE_FOLDER"
    head -c 5000 /dev/urandom >"$DATABASE_FOLDER/$DATABASE"
    [[ $BUILD_TYPE = user ]] || known_tags "$SCENE" >"$OUTPUT/ZUL_TAG.txt"
}

# Two captures of one tag in one second, while the number of archives stands still, would share a name.
next_second() {
    local second
    second=$(date +%s)
    while [[ $(date +%s) = "$second" ]]; do sleep 0.05; done
}

introduce() {
    local binder=HIDL
    [[ $MODE = hidl ]] || binder=AIDL
    headline "A device with a $BUILD_TYPE build; the engine over $binder wants $THREADS callbacks"
    echo "The daemon zuld starts, finds the engine and registers. Lines after a | are its log."
}

tell_captures() {
    headline 'The engine reports events, and the daemon captures'
    if [[ $BUILD_TYPE = user ]]; then
        echo 'Legal tags: a user build knows 0xffffff00 to 0xffffffff and 0x003effff, among them'
        known_tags | sed 's/^/  /'
    else
        echo "Legal tags: a debug build knows those of its file $OUTPUT/ZUL_TAG.txt."
        sed 's/^/  /' "$OUTPUT/ZUL_TAG.txt"
    fi
    printf 'The applications are %s, process %d, and %s, process %d.\n' "$app_name" "$app" "$other_app_name" "$other_app"
    tell 'An application crashed: a capture of its process' "$crash" "$CAPTURED" \
        zul "$crash" "$mask" "$app" 'it happened while scrolling'
    tell 'One leaks memory: the event is only a tag, and the tag library has the rest' "$leak" "$CAPTURED" \
        simp "$leak" "$app"
    tell 'One hangs: an event about two processes' "$hang" "$CAPTURED" \
        multi "$hang" "$mask" "$app,$daemon" 'the application waits for the daemon'
    tell 'A tag that the device does not know is refused' "$ILLEGAL" "$REFUSED" \
        zul "$ILLEGAL" "$mask" "$app" ''
}

tell_configuration() {
    configuration="tag:$jank,enable:1,pkgname:$app_name,flag:$added_mask,paths:;/data/local.txt,cmds:ps -A"
    printf '\nA configuration arrives: %s only for %s, with one more bit, path and command.\n' \
        "$jank" "$app_name"
    tell 'It is stored for the next start, and takes effect at once' "$UPDATE" "$CONFIGURED" \
        zul "$UPDATE" 0 0 "$configuration"
    if [[ $NAMES = true ]]; then
        tell "An event about $other_app_name is filtered out" "$jank" "$FILTERED" \
            zul "$jank" "$mask" "$other_app" 'frames were lost'
    else
        tell "An event about $other_app_name passes, as its name cannot be had" "$jank" "$CAPTURED" \
            zul "$jank" "$mask" "$other_app" 'frames were lost'
    fi
    tell "The same event about $app_name passes" "$jank" "$CAPTURED" zul "$jank" "$mask" "$app" 'frames were lost'
    collector_got "$jank" 1 $((mask | added_mask)) mask
    collector_got "$jank" 3 'frames were lost;/data/local.txt#ps -A' text
}

tell_scene() {
    if [[ $BUILD_TYPE = user ]]; then
        tell 'A user build has no trace scenes' "$SCENE" "$REFUSED" \
            zul "$SCENE" "$mask" "$app" "$MARK"
        return
    fi
    tell 'A trace scene leaves a mark in the kernel trace, and makes no capture' "$SCENE" "$MARKED" \
        zul "$SCENE" "$mask" "$app" "$MARK"
    printf '  %s\n' "$(marks | tail -n 1)"
}

tell_database() {
    tell "The kernel failed: the event names the chip vendor's database, which is copied first" "$kernel" \
        "$CAPTURED" zul "$kernel" "$mask" 0 "$DATABASE_FOLDER/$DATABASE"
    collector_got "$kernel" 3 "$OUTPUT/$DATABASE" path
    cmp "$DATABASE_FOLDER/$DATABASE" "$OUTPUT/$DATABASE" || problem "the database's copy differs"
}

tell_death() {
    printf '\nThe engine dies. The daemon stays, and registers again as soon as the engine is back.\n'
    end_engine
    fire wait "$THREADS" >/dev/null || problem "the daemon did not register again"
    show_log
    tell 'The next event is captured as usual' "$leak" "$CAPTURED" \
        zul "$leak" "$mask" "$app" 'after the death of the engine'
}

tell_parallel() {
    if [[ $OWN_COLLECTOR = false ]]; then
        printf '\nFrom here on the collector takes half a second, to show that two run at once.\n'
        echo 'sleep 0.5' >"$OUTPUT/collector_orders"
    fi
    [[ $THREADS -gt 1 ]] || printf 'With one callback, though, they run one after the other.\n'
    tell 'The camera shows nothing: two events at once' "$camera" "$CAPTURED 2 times" --count 2 --parallel 2 \
        zul "$camera" "$mask" "$app" 'no preview'
    rm -f "$OUTPUT/collector_orders"
}

tell_noise() {
    local wanted kept i
    printf '\nThe device keeps %d archives of a tag: the very first, and the latest.\n' "$limit"
    log_filter='createZulPath:erase'
    tell 'The network is gone, until the tag is full' "$network" "$CAPTURED $limit times" \
        --count "$limit" zul "$network" "$mask" "$app" 'again'
    next_second
    tell 'Once more: the second archive goes' "$network" "$CAPTURED" zul "$network" "$mask" "$app" 'again'
    next_second
    tell 'And again: the third' "$network" "$CAPTURED" zul "$network" "$mask" "$app" 'again'
    log_filter=.

    # From the newest on.
    wanted=''
    for i in $(seq $((limit - 1))); do wanted+='present '; done
    wanted+='missing missing present'
    kept=$(zulctl --no-legend list "$network" -n $((limit + 2)) | sed -E 's/ +/ /g; s/^ //' | cut -d ' ' -f 4 | xargs)
    [[ $kept = "$wanted" ]] || problem "unexpected archives, from the newest on: $kept"
    printf '  %d captures, %d archives\n' $((limit + 2)) "$(archives "$network" "$BEGIN" | wc -l)"
}

tell_story() {
    tell_captures
    tell_configuration
    tell_scene
    tell_database
    tell_death
    tell_parallel
    tell_noise
}

show_store() {
    local example name path
    headline 'What is on the device now'
    find "$OUTPUT" /morvfs -type f -newer "$BEGIN" | LC_ALL=C sort \
        | while read -r path; do printf '%8d  %s\n' "$(wc -c <"$path")" "$path"; done \
        | shorten 10 8
    example=$(archives "$crash" "$BEGIN" | tail -n 1)
    if [[ -n $example ]]; then
        name=${example##*/}
        printf '\nInside %s (an ordinary tar archive):\n' "$name"
        tar -tf "$example" | grep -v '/$' | LC_ALL=C sort | sed 's/^/  /' || problem "the archive cannot be read"
    fi
    printf '\nThe history %s (tag|time|archive|build):\n' "$HISTORY"
    shorten 2 1 <"$HISTORY" || problem "there is no history"
}

show_events() {
    local recorded
    headline 'The events'
    printf '%s%-3s %-10s %-23s %-23s %s%s\n' "$dim" no tag expected outcome 'answered in' "$plain"
    printf '%s' "$table"
    headline 'The store, as zulctl shows it'
    printf '  $ zulctl --log %s list\n' "$LOG"
    zulctl --log "$LOG" list | sed 's/^/  /' || problem "zulctl cannot read the store"
    recorded=$(zulctl --json list | wc -l)
    [[ $recorded -eq $(wc -l <"$HISTORY") ]] || problem "zulctl lists $recorded captures, and the history has $(wc -l <"$HISTORY")"
}

# The last line, and the exit status.
conclude() {
    if ((problems > 0)); then
        printf '\nNot as expected: %d, see the lines with PROBLEM above.\n' "$problems"
        exit 1
    fi
    printf '\nEverything came out as expected.\n'
}
