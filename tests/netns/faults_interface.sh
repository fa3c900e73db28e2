#!/usr/bin/env bash
# What can happen to an edge's interfaces: the cable is pulled, its own one is taken down or deleted
# under it, the tool that addresses it is missing. It tells, once, does not run in circles, and goes
# on as soon as it can.

# shellcheck source=tests/netns/support.sh
. "$(dirname "$0")/support.sh"

"$lab" up a b c d
a=$("$lab" addr a) b=$("$lab" addr b) c=$("$lab" addr c)
for addr in "$a" "$b" "$c"; do reaches d "$addr" || fail "d does not reach $addr"; done

"$lab" exec a ip link set up0 down
"$lab" exec b ip link set Tamvo down
"$lab" exec c ip link del Tamvo
for addr in "$b" "$c"; do "$lab" exec d ping -q -c 5 -i 0.05 -W 0.1 "$addr" >/dev/null || true; done
has_line "$(out_of b)" 'net adapter write failed: Input/output error' || fail "b was not told"
has_line "$(out_of c)" 'net adapter read failed: No such device' || fail "c was not told"
patience=30 has_line "$(out_of a)" 'sstp drop off, count = 6' || fail "a was not told"
are_idle "$(pid_of a)" "$(pid_of b)" "$(pid_of c)"
[ "$(cat "$(out_of b)" "$(out_of c)" | grep -cE 'net adapter (read|write) failed')" -le 3 ] ||
    fail "told more than once"

"$lab" exec a ip link set up0 up
"$lab" exec b ip link set Tamvo up
reaches d "$a" || fail "d does not reach a, whose cable is back"
reaches d "$b" || fail "d does not reach b, whose interface is up again"
for edge in b c; do
    "$lab" stop "$edge" || fail "$edge did not end"
    diff - "$("$lab" dir "$edge")/tamvo.log" <<<$'tamvo start\ntamvo exit' || fail "the log of $edge"
done

# /usr/bin has all that a shell needs, but not ifconfig.
cd "$("$lab" dir b)"
starts b env PATH=/usr/bin
tells "net adapter not configured, status 127: ifconfig Tamvo $b netmask 255.255.255.0 up"
ends b
