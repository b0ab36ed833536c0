#!/bin/bash
# mxt's generated bash completion: command words, options, choices, typed
# values and the addresses mxt itself lists (under the emulator).
# Usage: test_completion.sh COMPLETION-FILE BUILD-DIR
set -u
source "$1"
build=$2
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
mxt() { "$build/qorsim" --root "$root" -- "$build/mxt" "$@"; }
passed=0 failed=0

# The completions of a command line; a trailing blank starts a new word.
complete_line() {
    local line=$1
    read -ra COMP_WORDS <<<"$line"
    [[ $line == *" " ]] && COMP_WORDS+=("")
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    COMPREPLY=()
    _mxt
    printf '%s\n' "${COMPREPLY[@]}" | sort | tr '\n' ' ' | sed 's/ $//'
}

expect() {
    local got
    got=$(complete_line "$1")
    if [[ $got == "$2" ]]; then
        passed=$((passed + 1))
    else
        failed=$((failed + 1))
        echo "FAIL: '$1': got '$got', want '$2'"
    fi
}

expect "mxt po" "port"
expect "mxt port s" "show speed stats"
expect "mxt st" "stats"
expect "mxt --js" "--json"
expect "mxt port speed 1/0 " "1 10 16 2 4 8 auto"
expect "mxt port topology 1/0 " "auto loop p2p"
expect "mxt port alpa 1/0 c" "clear"
expect "mxt ioc coalesce 0 " "off on"
expect "mxt ioc coalesce 0 on --" "--delay --help --json --latency"
expect "mxt events --kind r" "rport"
expect "mxt events --" "--follow --help --journal --json --kind"
expect "mxt stats --watch 2 --rp" "--rports"
expect "mxt port speed " "1/0 1/1 2/0 2/1"
expect "mxt stats 1/0 " "1/0 1/1 2/0 2/1"
expect "mxt ioc show " "0 1 2 3 4 5"
expect "mxt adapter show " "1 2"
expect "mxt fcoe show 2/" "2/0 2/1"
touch "$root/bundle.tar.gz"
expect "mxt report -o $root/bun" "$root/bundle.tar.gz"

echo "$passed passed, $failed failed"
[[ $failed == 0 ]]
