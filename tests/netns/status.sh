#!/usr/bin/env bash
# A running edge tells its counters on SIGUSR1, to standard output and to tamvo.stat.

# shellcheck source=tests/netns/support.sh
. "$(dirname "$0")/support.sh"

"$lab" up a b
a=$("$lab" addr a)
reaches b "$a" || fail "b does not reach a"
dir=$("$lab" dir a)

# Three packets for nobody, four datagrams that are no messages, one unpaired fragment.
"$lab" exec a ping -q -c 3 -i 0.05 -W 0.1 192.168.15.99 >/dev/null || true
port=$("$lab" port a)
for datagram in 'x' 'shorter than 16' '\x03\x0c\x00\x01\x00\x0f----------' \
    '\x03\x0c\x00\x01\x00\x11----------' \
    '\x05\x00\x00\x09\x00\x10\x02\x00\x00\x00\x00\x05\x00\x00\x00\x00'; do
    # shellcheck disable=SC2059
    printf "$datagram" | "$lab" exec b socat -u - "UDP:10.77.0.1:$port"
done
"$lab" exec b ping -q -c 1 -w 10 "$a" >/dev/null  # behind all of them in a's queue

"$lab" stat a >"$LAB_DIR/stat.out" || fail "no status"
while IFS= read -r line; do
    grep -qxF "$line" "$LAB_DIR/stat.out" || fail "the status lacks \"$line\""
done <<'TEXT'
dropped, unknown destination: 3
dropped, malformed datagram: 4
dropped, interface write failed: 0
fragments waiting: 1
interface queue: 0
TEXT
[ "$(grep -c '^heartbeats unanswered' "$dir/out")" -eq 1 ] || fail "it was not printed once"
diff <(sed -n '/^packets from the interface/,/^heartbeats unanswered/p' "$dir/out") \
    "$LAB_DIR/stat.out" || fail "the file says something else than the print-out"
"$lab" stop a || fail "a did not end"
