#!/usr/bin/env bash
# A flood of first messages of handshakes from addresses that cannot receive: nobody is sent more
# bytes than came, no memory is kept for it, joined edges go on and another one joins meanwhile.

# shellcheck source=tests/netns/sealed_lab.sh
. "$(dirname "$0")/sealed_lab.sh"

messages=${FLOOD_MESSAGES:-60000}
export ASAN_OPTIONS=${ASAN_OPTIONS:-}:quarantine_size_mb=1

"$lab" up a b c
b=$("$lab" addr b)
# What the central router answers leaves on the road that the flood came from.
"$lab" exec tcr ip route add 10.78.0.0/16 via 10.77.0.1
rss() { awk '/^VmRSS/ { print $2 }' "/proc/$(pid_of tcr)/status"; }
before=$(rss)
orders a flood "$messages"
"$lab" exec b ping -q -c 100 -i 0.02 -W 5 "$("$lab" addr c)" >"$LAB_DIR/ping.out" || true
"$lab" start d || fail "d did not join during the flood"
reaches d "$b" || fail "d does not reach b during the flood"
patience=60 has_line "$("$lab" dir wire-a)/out" '^flooded' || fail "the flood did not end"
orders a tell
read -r forged forged_bytes answers answer_bytes < <(sed -n \
    's/.*forged \([0-9]*\) of \([0-9]*\) bytes, answered \([0-9]*\) with \([0-9]*\) bytes/\1 \2 \3 \4/p' "$LAB_DIR/order.out")
echo "forged $forged with $forged_bytes bytes, answered $answers with $answer_bytes, memory $before kB, then $(rss) kB"
grep -E 'packet loss' "$LAB_DIR/ping.out"
[ "$forged $((answers > 0))" = "$messages 1" ] || fail "there was no flood: $(cat "$LAB_DIR/order.out")"
[ "$answer_bytes" -le "$forged_bytes" ] || fail "the central router sent more than came"
[ $(($(rss) - before)) -le 16384 ] || fail "the flood cost $(($(rss) - before)) kB of memory"
awk '/packets transmitted/ { if ($4 < $1 * 0.9) exit 1 }' "$LAB_DIR/ping.out" ||
    fail "joined edges lost their pings: $(cat "$LAB_DIR/ping.out")"
if grep -qE 'timed out|silent' "$(out_of tcr)"; then fail "an edge was given up"; fi
for size in $sizes; do pings b "$("$lab" addr a)" "$size"; done
