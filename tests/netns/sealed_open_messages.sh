#!/usr/bin/env bash
# Open messages in the name of the other end, to the port of a sealed edge and to the central
# router's: all are refused and counted, and nothing changes. An open edge carries them out.

# shellcheck source=tests/netns/sealed_lab.sh
. "$(dirname "$0")/sealed_lab.sh"

export LAB_SEALED=offered
"$lab" up a b
a=$("$lab" addr a)
b=$("$lab" addr b)
reaches a "$b" || fail "a does not reach b"
victims="$(identifier_of a) $(identifier_of b) $a $b"

for host in a b; do
    "$lab" exec "$host" tcpdump -Z root -l -A -n -i Tamvo >"$LAB_DIR/tunnel-$host" 2>"$LAB_DIR/tcpdump.out" &
    has_line "$LAB_DIR/tcpdump.out" 'listening on' || fail "tcpdump"
done
# shellcheck disable=SC2086
harms() { orders "$1" inject "$2" $victims; }

before=$(edges_of_table)
at_edge=$(refused_by a)
at_tcr=$(refused_by_tcr)
harms a down
harms a up
grows_by refused_by "$at_edge" 8 a
grows_by refused_by_tcr "$at_tcr" 8
for size in $sizes; do
    pings a "$b" "$size"
    pings b "$a" "$size"
done
[ "$(edges_of_table)" = "$before" ] || fail "the central router's table has changed"
if grep -aq INJECTED "$LAB_DIR/tunnel-a" "$LAB_DIR/tunnel-b"; then fail "an injected packet arrived"; fi
if grep -qE '^(Del|Add) .*seq=20[0-9],' "$(out_of a)"; then fail "a took an open message"; fi

# The same where a speaks in the open.
"$lab" stop a
speaks_openly a
"$lab" start a
reaches a "$b" || fail "a does not reach b in the open"
harms a down
has_line "$(out_of a)" '^Del Router: .*seq=201,' || fail "this test forges nothing that an edge takes"
harms a up
has_line "$(out_of tcr)" 'added device 192\.168\.15\.200$' || fail "this test forges nothing that the central router takes"
