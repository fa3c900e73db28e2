#!/usr/bin/env bash
# The wall clock is set forward and back by hours, at last each time that anybody reads it: packets
# pass, heartbeats go on, nobody waits longer or runs in circles, and the end comes in time.

# shellcheck source=tests/netns/support.sh
. "$(dirname "$0")/support.sh"

libraries=(/usr/lib/*/faketime/libfaketime.so.1)
clock=$LAB_DIR/clock
fake=(env "LD_PRELOAD=${LAB_FAKETIME:-${libraries[0]}}" "FAKETIME_TIMESTAMP_FILE=$clock"
    FAKETIME_NO_CACHE=1 NO_FAKE_STAT=1 DONT_FAKE_MONOTONIC=1 ASAN_OPTIONS=verify_asan_link_order=0)
set_clock() { echo "$1" >"$clock.new" && mv "$clock.new" "$clock"; }

"$lab" up a b
for host in a b tcr; do "$lab" stop "$host"; done
b=192.168.15.12
set_clock +0
"$lab" exec tcr "${fake[@]}" "$LAB_BUILD/tamvo-tcr" -b 10.77.0.254 >"$LAB_DIR/tcr.out" 2>&1 &
tcr=$!
has_line "$LAB_DIR/tcr.out" 'listens on' || fail "the central router did not start"
pids=()
for host in a b; do
    cd "$("$lab" dir "$host")"
    starts "$host" "${fake[@]}"
    pids+=("$edge")
done
reaches a "$b" || fail "a does not reach b"

for step in +5h -5h '+0 i3600' '+0 i-3600'; do
    set_clock "$step"
    for size in 56 1472; do pings a "$b" "$size"; done
    case $step in *i*) are_idle "$tcr" "${pids[@]}" ;; esac
done
if grep -q 'drop off' "$LAB_DIR"/?.out; then fail "heartbeats went unanswered"; fi
for pid in "${pids[@]}" "$tcr"; do
    end "$pid" || fail "process $pid ended with status $?"
done
