#!/usr/bin/env bash
# What an operator sees of an edge, whole: standard output, log and written configuration of a run
# from start to orderly stop, in which another edge is there, goes and comes back, against the stored
# texts in operator/. In these, <number> stands for digits, <path> for a path, <state> for that of a
# peer; everything else is literal.

# shellcheck source=tests/netns/support.sh
. "$(dirname "$0")/support.sh"
stored=$root/tests/netns/operator

# Line by line, so that a difference names its line.
expect_stored() { # stored text, file
    local pattern line number=0
    while IFS= read -r pattern <&3 || [ -n "$pattern" ]; do
        number=$((number + 1))
        IFS= read -r line <&4 || [ -n "$line" ] || fail "$1 line $number: the file ends"
        [[ $line =~ ^$pattern$ ]] || fail "$1 line $number: \"$line\" is not \"$pattern\""
    done 3< <(sed -E 's/[][\\.*^$+?(){}|]/\\&/g; s/<number>/[0-9]+/g; s/<path>/[^ ]+/g; s/<state>/(ON|OFF|Pending)/g' "$stored/$1") \
        4<"$2"
    [ "$(wc -l <"$2")" -eq "$(wc -l <"$stored/$1")" ] || fail "$2 has lines behind those of $1"
}

"$lab" up b
"$lab" start a
has_line "$(out_of a)" '^Add Device:.* seq=1,' || fail "b was not announced to a"
pings a "$("$lab" addr b)" 1472
"$lab" stop b
has_line "$(out_of a)" '^Del Router:.* seq=2,' || fail "the end of b was not announced to a"
"$lab" start b
has_line "$(out_of a)" '^Add Device:.* seq=4,' || fail "b was not announced to a again"
"$lab" stop a

dir=$("$lab" dir a)
# The two threads of the tunnel port start at once: their lines come in either order.
sed '/txloop start/{N; s/\(.*\)\n\(.*rxloop start\)/\2\n\1/}' "$dir/out" >"$LAB_DIR/a.out"
expect_stored out "$LAB_DIR/a.out"
expect_stored tamvo.log "$dir/tamvo.log"
expect_stored config.json "$dir/config.json"
