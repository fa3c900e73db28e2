#!/usr/bin/env bash
# A wire that loses, doubles, reorders, corrupts and cuts: joins come through or fail as they
# should, a transfer arrives whole, and when the wire is good again everything is.

# shellcheck source=tests/netns/support.sh
. "$(dirname "$0")/support.sh"

export LAB_IMPAIR="--loss 20 --seed 3"
"$lab" up c
"$lab" stop c
cd "$("$lab" dir c)"
joined=0 failed=0
for _ in 1 2 3 4 5 6; do
    rm -f tamvo.log
    : >"$LAB_DIR/edge.out"
    "$lab" exec c "$LAB_BUILD/tamvo" -i -c config.json >"$LAB_DIR/edge.out" 2>&1 &
    edge=$!
    if forwards "$edge" "$LAB_DIR/edge.out"; then
        joined=$((joined + 1))
        kill -TERM "$edge"
        wait "$edge" || fail "the exit status of an edge that joined"
    else
        failed=$((failed + 1))
        status=0
        wait "$edge" || status=$?
        [ "$status" -eq 1 ] || fail "exit status $status of a join that failed"
        grep -q 'connected tcr failed, tcr is not online' tamvo.log || fail "the log of a failed join"
    fi
done
[ "$joined" -gt 0 ] || fail "no join came through at 20 % loss"

export LAB_IMPAIR="--loss 0"
"$lab" start a
"$lab" start b
b=$("$lab" addr b)
reaches a "$b" || fail "a does not reach b"
for edge in a b; do
    "$lab" wire "$edge" --loss 2 --duplicate 2 --reorder 2 --delay 1 --jitter 1 --seed 4
done
head -c 500000 /dev/urandom >"$LAB_DIR/sent"
"$lab" exec b timeout 60 socat -u TCP-LISTEN:8,reuseaddr "CREATE:$LAB_DIR/back" &
receiver=$!
"$lab" exec b timeout 10 sh -c 'until ss -Hlnt sport = 8 | grep -q .; do sleep 0.05; done'
"$lab" exec a timeout 60 socat -u "FILE:$LAB_DIR/sent" "TCP:$b:8" || fail "the transfer"
wait "$receiver" || fail "the receiver"
cmp "$LAB_DIR/sent" "$LAB_DIR/back" || fail "the file came changed"

for edge in a b; do "$lab" wire "$edge" --corrupt 20 --truncate 20 --seed 5; done
# A time stamp that comes back corrupted can make ping wait for its last answer as good as for ever.
"$lab" exec a timeout 20 ping -q -i 0.002 -c 1500 -s 1472 -W 1 "$b" >"$LAB_DIR/ping.out" || true
for edge in a b; do "$lab" wire "$edge" --loss 0; done
grep -q "corrupted [1-9]" "$("$lab" dir wire-a)/out" || fail "nothing was corrupted"
reaches a "$b" || fail "a does not reach b over a wire that is good again"
for size in $sizes; do pings a "$b" "$size"; done
for edge in a b; do "$lab" stop "$edge" || fail "$edge did not end"; done
