#!/usr/bin/python3
"""Writes mxt's bash completion from its command table.

    mxt --list-commands --json | mxt-completion.py > mxt

Command words, options, choices and the values of typed arguments come
from the table, so the completion follows every new row. Addresses (adapter
numbers, A/P, controller ids) are asked of mxt itself when completed.
"""
import json
import sys

HEADER = """\
# bash completion for mxt; generated from 'mxt --list-commands --json' by
# tools/pkg/mxt-completion.py: do not edit.

declare -gA _mxt_next _mxt_options _mxt_value _mxt_positionals
# Keys are "@" and the command path ("@port speed"); "@" alone is the top.
"""

BODY = r"""
# Values of a kind: fixed words, or addresses mxt itself lists.
_mxt_values() {
    local kind=$1 choices=$2
    case $kind in
    choice) printf '%s\n' $choices ;;
    speed) printf '%s\n' 1 2 4 8 10 16 auto ;;
    topology) printf '%s\n' p2p loop auto ;;
    alpa) printf '%s\n' clear ;;
    adapter) mxt --json adapter list 2>/dev/null | sed -n 's/^    "adapter": \([0-9]*\),*$/\1/p' ;;
    controller) mxt --json ioc list 2>/dev/null | sed -n 's/^    "id": \([0-9]*\),*$/\1/p' ;;
    port | ports) mxt --json port list 2>/dev/null | sed -n 's/^    "port": "\([0-9]*\/[0-9]*\)",*$/\1/p' ;;
    esac
}

_mxt() {
    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD-1]}
    local path="" i w npos=0 skip=0
    # The command path so far, and how many positionals follow it.
    for ((i = 1; i < COMP_CWORD; i++)); do
        w=${COMP_WORDS[i]}
        if ((skip)); then skip=0; continue; fi
        if [[ $w == -* ]]; then
            [[ -n ${_mxt_value["@$path $w"]-} ]] && skip=1
            continue
        fi
        if [[ " ${_mxt_next["@$path"]-} " == *" $w "* ]]; then
            path=${path:+$path }$w
        else
            npos=$((npos + 1))
        fi
    done
    # The value of an option.
    local want=${_mxt_value["@$path $prev"]-}
    if [[ -n $want ]]; then
        if [[ $want == text ]]; then
            COMPREPLY=($(compgen -f -- "$cur"))
        else
            COMPREPLY=($(compgen -W "$(_mxt_values ${want%%:*} "${want#*:}")" -- "$cur"))
        fi
        return
    fi
    if [[ $cur == -* ]]; then
        COMPREPLY=($(compgen -W "--json --help ${_mxt_options["@$path"]-}" -- "$cur"))
        [[ -z $path ]] && COMPREPLY+=($(compgen -W "--version --list-commands" -- "$cur"))
        return
    fi
    if [[ -n ${_mxt_next["@$path"]-} ]]; then
        COMPREPLY=($(compgen -W "${_mxt_next["@$path"]}" -- "$cur"))
        return
    fi
    # A positional: the kind of the next one (an address list takes any number).
    local kinds=(${_mxt_positionals["@$path"]-})
    local k=${kinds[npos]:-}
    [[ -z $k && ${kinds[-1]:-} == ports* ]] && k=${kinds[-1]}
    [[ -n $k ]] && COMPREPLY=($(compgen -W "$(_mxt_values ${k%%:*} "${k#*:}" | tr ',' ' ')" -- "$cur"))
}
complete -F _mxt mxt
"""


def q(s):
    """A word for a bash double-quoted string."""
    return s.replace("\\", "\\\\").replace('"', '\\"').replace("$", "\\$").replace("`", "\\`")


def main():
    table = json.load(sys.stdin)
    nxt = {}
    lines = [HEADER]
    for row in table:
        words = row["path"].split()
        for i, w in enumerate(words):
            level = " ".join(words[:i])
            nxt.setdefault(level, [])
            if w not in nxt[level]:
                nxt[level].append(w)
        options, positionals = [], []
        for a in row["arguments"]:
            forms = a["name"].split(",")
            if forms[0].startswith("-"):
                options += forms
                if a["type"] != "flag":
                    want = "text" if a["type"] == "text" else f'{a["type"]}:{" ".join(a["choices"])}'
                    for f in forms:
                        lines.append(f'_mxt_value["@{q(row["path"])} {q(f)}"]="{q(want)}"')
            else:
                positionals.append(f'{a["type"]}:{",".join(a["choices"])}')
        lines.append(f'_mxt_options["@{q(row["path"])}"]="{q(" ".join(options))}"')
        lines.append(f'_mxt_positionals["@{q(row["path"])}"]="{q(" ".join(positionals))}"')
    for level, words in nxt.items():
        lines.append(f'_mxt_next["@{q(level)}"]="{q(" ".join(words))}"')
    sys.stdout.write("\n".join(lines) + "\n" + BODY)


if __name__ == "__main__":
    main()
