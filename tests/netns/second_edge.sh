#!/usr/bin/env bash
# A second edge is started beside the first, with the same configuration, again and again: it is
# refused the interface and ends before it has sent anything; the first loses not one ping.

# shellcheck source=tests/netns/support.sh
. "$(dirname "$0")/support.sh"

"$lab" up a b
a=$("$lab" addr a) b=$("$lab" addr b)
reaches a "$b" || fail "a does not reach b"
mkdir "$LAB_DIR/second"
cd "$LAB_DIR/second"
cp "$("$lab" dir a)/config.json" .
cp config.json before.json
logins=$(grep -c 'logged in' "$(out_of tcr)")

"$lab" exec b ping -i 0.02 "$a" >"$LAB_DIR/pings.out" 2>&1 &
ping=$!
has_line "$LAB_DIR/pings.out" 'icmp_seq=10 ' || fail "b does not reach a"
for _ in 1 2 3; do
    status=0
    "$lab" exec a "$LAB_BUILD/tamvo" -i -c config.json >"$LAB_DIR/second.out" 2>&1 || status=$?
    [ "$status" -eq 1 ] || fail "the second edge ended with status $status instead of 1"
    # What it would send after this line it would print.
    [ "$(tail -n 1 "$LAB_DIR/second.out")" = 'net adapter Tamvo not opened: Device or resource busy' ] ||
        fail "the second edge went on without an interface"
    printf 'tamvo start\nnet adapter open failed\ntamvo core start failed\n' | diff - tamvo.log ||
        fail "the log of the second edge"
done
cmp before.json config.json || fail "the second edge wrote the configuration"
# The statistics come with the end; the last request may be on its way.
seq=$(grep -c 'icmp_seq=' "$LAB_DIR/pings.out")
has_line "$LAB_DIR/pings.out" "icmp_seq=$((seq + 20)) " || fail "b does not reach a any more"
kill -INT "$ping"
wait "$ping" || fail "no answers"
grep 'icmp_seq=' "$LAB_DIR/pings.out" | sed 's/.*icmp_seq=\([0-9]*\) .*/\1/' >"$LAB_DIR/answered"
seq 1 "$(tail -n 1 "$LAB_DIR/answered")" | diff - "$LAB_DIR/answered" >/dev/null || fail "a ping was lost"
[ "$(grep -c 'logged in' "$(out_of tcr)")" -eq "$logins" ] || fail "the second edge logged in"
