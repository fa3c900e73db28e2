#!/usr/bin/env bash
# What is installed beside the programs against the programs: the examples have every key, with
# values that both programs take, and the completions every option.

set -euo pipefail
cd "$(dirname "$0")/../.."
build=${LAB_BUILD:-build/release}
status=0

complain() {
    echo "packaging: $*"
    status=1
}

# The names of the keys stand in these files once for all. The default file's spelling of two keys
# is nobody's.
keys() { sed -n 's/^ *constexpr char k[A-Za-z0-9]*\[\] = "\(.*\)";.*/\1/p' "$1" | grep -vxE 'p2p enable|mtuj'; }
has_keys() { # FILE SOURCE
    local key
    [ "$(keys "$2" | wc -l)" -gt 5 ] || complain "no keys found in $2"
    while read -r key; do
        grep -qF "\"$key\":" "packaging/examples/$1" || grep -qF "\"$key\" :" "packaging/examples/$1" ||
            complain "$1 has no key \"$key\""
    done < <(keys "$2")
}
has_keys tamvo.json cfg/cfg_keys.h
has_keys tamvo-tcr.json tcr/tcr_config.cpp
for example in tamvo tamvo-tcr; do
    "$build/tamvoctl" check "packaging/examples/$example.json" ||
        complain "$example.json has faults"
done

for program in tamvo tamvo-tcr tamvoctl; do
    options=$("$build/$program" -h | grep -oE '^ +-[a-z], --[a-z]+' | grep -oE -- '--[a-z]+')
    [ -n "$options" ] || complain "$program tells no options"
    for option in $options; do
        for shell in bash/$program zsh/_$program; do
            grep -qF -e "$option" "packaging/completion/$shell" || complain "$shell has no $option"
        done
    done
done
# They complete what is typed.
# shellcheck source=packaging/completion/bash/tamvo-tcr
. packaging/completion/bash/tamvo-tcr
# shellcheck disable=SC2034
COMP_WORDS=(tamvo-tcr --st) COMP_CWORD=1
_tamvo_tcr
[ "${COMPREPLY[*]}" = --state ] || complain "bash completes --st with: ${COMPREPLY[*]}"

exit "$status"
