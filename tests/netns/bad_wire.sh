#!/usr/bin/env bash
# A wire that loses, doubles, reorders, corrupts and cuts: joins come through or fail as they
# should, a transfer arrives whole, and when the wire is good again everything is.

# shellcheck source=tests/netns/support.sh
. "$(dirname "$0")/support.sh"
# shellcheck source=tests/netns/wire_lab.sh
. "$root/tests/netns/wire_lab.sh"

export LAB_IMPAIR="--loss 20 --seed 3"
"$lab" up c
"$lab" stop c
for _ in 1 2 3 4 5 6; do
    rm -f "$("$lab" dir c)/tamvo.log"
    before=$failed
    tries_to_join c
    [ "$failed" -eq "$before" ] || grep -q 'connected tcr failed, tcr is not online' "$("$lab" dir c)/tamvo.log" ||
        fail "the log of a failed join"
done
[ "$joined" -gt 0 ] || fail "no join came through at 20 % loss"

export LAB_IMPAIR="--loss 0"
"$lab" start a
"$lab" start b
survive_bad_wires
for edge in a b; do "$lab" stop "$edge" || fail "$edge did not end"; done
