# SPDX-License-Identifier: Apache-2.0
#
# Completes zulctl in bash, and by bashcompinit in zsh. Its own help has the commands and options.

_zulctl_options() {
    zulctl help "$@" 2>/dev/null | sed -nE 's/^ +(-(.), )?--([a-z-]+)(=([^ ]+))? .*/\2 --\3 \5/p'
}

# _zulctl_words KIND ARGUMENT...: what may stand for a value or operand of that kind.
_zulctl_words() {
    local kind=$1
    shift
    case $kind in
        S,..) echo present missing running left overwritten unrecorded unlisted ;;
        WHEN | AGE) echo today yesterday 15m 1h 12h 1d 1w ;;
        *NAME*) zulctl --no-legend mask | sed -E 's/.* //' ;;
        *TAG*) zulctl "$@" --no-legend list --by-tag 2>/dev/null | sed -E 's/ .*//' ;;
    esac
}

_zulctl() {
    local current=${COMP_WORDS[COMP_CWORD]} word letter name value kind='' command='' roots='' i
    # "=" is a word of its own; in zsh it stands in the option's.
    [[ $current != '=' ]] || current=''
    local words='' files='' prefix=''
    if [[ $current = --*=* ]]; then
        prefix=${current%%=*}=
        current=${current#*=}
    fi
    local options
    options=$(_zulctl_options list)
    for ((i = 1; i <= COMP_CWORD; i++)); do
        word=${COMP_WORDS[i]}
        if ((i == COMP_CWORD)); then
            [[ -n $prefix ]] || break
            word=${prefix%=}
        fi
        kind=''
        if [[ $word != -* ]]; then
            [[ -n $command && $command != config ]] || {
                command+=${command:+ }$word
                # shellcheck disable=SC2086
                options=$(_zulctl_options $command)
            }
            continue
        fi
        while read -r letter name value; do
            # An option without a letter begins with its name.
            [[ $letter != --* ]] || { value=$name name=$letter letter=''; }
            [[ -n $value && ($word = "$name" || $word = "-$letter") ]] && kind=$value
        done <<<"$options"
        [[ -z $kind ]] && continue
        [[ ${COMP_WORDS[i + 1]-} != '=' ]] || i=$((i + 1))
        i=$((i + 1))
        [[ $word != --root || $i -ge $COMP_CWORD ]] || roots+=" --root=${COMP_WORDS[i]}"
        [[ $i -ge $COMP_CWORD ]] || kind=''
    done

    if [[ -z $kind && -z $command ]]; then
        words="$(zulctl help | sed -nE 's/^  ([a-z]+) .*/\1/p' | sort -u) help"
    elif [[ -z $kind && $command = config ]]; then
        words=$(zulctl help | sed -nE 's/^  config ([a-z]+) .*/\1/p')
    elif [[ -z $kind ]]; then
        # shellcheck disable=SC2086
        kind=$(zulctl help $command 2>/dev/null | sed -nE '1s/.*\] //p')
    fi
    case $kind in
        *DIR*) files=-d ;;
        *FILE*) files=-f ;;
    esac
    if [[ $current = -* ]]; then
        words=$(sed -E 's/^(.) (--[a-z-]+).*/-\1 \2/; s/^ //; s/ .*[A-Z].*//' <<<"$options")
    elif [[ -n $kind ]]; then
        # shellcheck disable=SC2086
        words=$(_zulctl_words "$kind" $roots)
    fi
    # shellcheck disable=SC2207
    COMPREPLY=($(compgen -P "$prefix" -W "${words//$'\n'/ }" -- "$current")) || true
    [[ -n $files ]] || return 0
    # Names of files may have blanks.
    local IFS=$'\n'
    # shellcheck disable=SC2207
    COMPREPLY+=($(compgen -P "$prefix" $files -- "$current")) || true
}

complete -o filenames -F _zulctl zulctl
