#!/usr/bin/env bash
# What can happen to an edge's interfaces: the cable is pulled, its own one is taken down or deleted
# under it, with and without another one of its name in the way, the tool that addresses it is
# missing. It tells, once, does not run in circles, and goes on as soon as it can.

# shellcheck source=tests/netns/support.sh
. "$(dirname "$0")/support.sh"

"$lab" up a b c d
a=$("$lab" addr a) b=$("$lab" addr b) c=$("$lab" addr c)
for addr in "$a" "$b" "$c"; do reaches d "$addr" || fail "d does not reach $addr"; done

"$lab" exec a ip link set up0 down
"$lab" exec b ip link set Tamvo down
# Its name is taken before the edge sees what became of it.
kill -STOP "$(pid_of c)"
"$lab" exec c ip link del Tamvo
"$lab" exec c ip link add Tamvo type bridge
"$lab" exec c ip link set Tamvo up
kill -CONT "$(pid_of c)"
for addr in "$b" "$c"; do "$lab" exec d ping -q -c 5 -i 0.05 -W 0.1 "$addr" >/dev/null || true; done
has_line "$(out_of b)" 'net adapter write failed: Input/output error' || fail "b did not print it"
has_line "$(out_of c)" 'net adapter read failed: No such device' || fail "c did not print it"
patience=30 has_line "$(out_of a)" 'sstp drop off, count = 6' || fail "a did not print it"
are_idle "$(pid_of a)" "$(pid_of b)" "$(pid_of c)"
[ "$(cat "$(out_of b)" "$(out_of c)" | grep -cE 'net adapter (read|write) failed')" -le 3 ] ||
    fail "printed more than once"

"$lab" exec a ip link set up0 up
"$lab" exec b ip link set Tamvo up
reaches d "$a" || fail "d does not reach a, whose cable is back"
reaches d "$b" || fail "d does not reach b, whose interface is up again"
back="net adapter Tamvo is back, address $c"
if grep -q 'is back' "$(out_of c)"; then fail "c is back beside the interface that has its name"; fi
"$lab" exec c ip link show Tamvo | grep -q ',UP' || fail "c took somebody else's interface down"
"$lab" exec c ip link del Tamvo
has_line "$(out_of c)" "$back" || fail "c did not make its interface again"
reaches d "$c" || fail "d does not reach c, whose interface was made again"
for times in 2 3; do
    "$lab" exec c ip link del Tamvo
    timeout 10 sh -c "until [ \"\$(grep -c '$back' '$(out_of c)')\" = $times ]; do sleep 0.02; done" ||
        fail "c did not make its interface again, $times"
    reaches d "$c" || fail "d does not reach c, whose interface was deleted again"
done
[ "$(grep -c 'net adapter read failed: No such device' "$(out_of c)")" -eq 3 ] || fail "c printed it more or less often"
are_idle "$(pid_of c)"
# The end comes in time while there is nothing to be had, and leaves what is not its own alone.
kill -STOP "$(pid_of c)"
"$lab" exec c ip link del Tamvo
"$lab" exec c ip link add Tamvo type bridge
"$lab" exec c ip link set Tamvo up
kill -CONT "$(pid_of c)"
timeout 10 sh -c "until [ \"\$(grep -c 'read failed' '$(out_of c)')\" = 4 ]; do sleep 0.02; done" ||
    fail "c did not print it"
for edge in b c; do
    "$lab" stop "$edge" || fail "$edge did not end"
    diff - "$("$lab" dir "$edge")/tamvo.log" <<<$'tamvo start\ntamvo exit' || fail "the log of $edge"
done

"$lab" exec c ip link show Tamvo | grep -q ',UP' || fail "c took somebody else's interface down at its end"

"$lab" exec c ip link del Tamvo

# Asked to end while the interface is being made again: no new one is left behind.
cd "$("$lab" dir c)"
for _ in 1 2 3; do
    starts c
    "$lab" exec c ip link del Tamvo
    end "$edge" || fail "the edge without an interface ended with status $?"
    if "$lab" exec c ip link show Tamvo >/dev/null 2>&1; then fail "the interface is still there"; fi
done

# /usr/bin has all that a shell needs, but not ifconfig.
cd "$("$lab" dir b)"
starts b env PATH=/usr/bin
tells "net adapter not configured, status 127: ifconfig Tamvo $b netmask 255.255.255.0 up"
ends b
