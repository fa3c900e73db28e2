#!/usr/bin/env bash
# Whoever changes, cuts or repeats what crosses the road of a sealed edge has every datagram of it
# refused and counted, at both ends, and changes nothing: neither a byte of what arrives nor who is
# there.

# shellcheck source=tests/netns/sealed_lab.sh
. "$(dirname "$0")/sealed_lab.sh"

"$lab" up a b
"$lab" stop a
orders a record
"$lab" start a
a=$("$lab" addr a)
b=$("$lab" addr b)
reaches a "$b" || fail "a does not reach b"
pings a "$b" 1472

# Each byte of a message, and each length.
spoils() { # what, way, copies for each byte, COUNTER [EDGE]
    local before size
    : >"$("$lab" dir wire-a)/out"
    before=$("${@:4}")
    orders a "$1" "$2"
    "$lab" exec a ping -q -c 1 -W 5 -s 56 "$b" >/dev/null || fail "a lost a ping whose copies were spoilt"
    has_line "$("$lab" dir wire-a)/out" '^spoilt' || fail "nothing was spoilt"
    size=$(sed -n 's/^spoilt [0-9]* of \([0-9]*\) bytes/\1/p' "$("$lab" dir wire-a)/out")
    grows_by "$4" "$before" $((size * $3)) "${@:5}"
}
for way in up down; do
    counter=(refused_by a)
    [ $way = down ] || counter=(refused_by_tcr)
    spoils change $way 2 "${counter[@]}"
    # A datagram without a byte is none to anybody.
    spoils cut $way 1 "${counter[@]}"
done
for size in $sizes; do pings a "$b" "$size"; done

# All that crossed since before the join, handshake and login with it, once more: while a is there,
# after it has left, and to a central router that was started again.
# shellcheck disable=SC2016
echoes() { "$lab" exec "$1" awk '/^Icmp: [0-9]/ { print $10 }' /proc/net/snmp; }
[ "$(echoes b)" -gt 5 ] || fail "this test counts no pings"
before=$(edges_of_table)
seen="$(echoes a) $(echoes b) $(logins)"
count=$(refused_by a)
orders a replay down
again=$(sed -n 's/^replayed //p' "$LAB_DIR/order.out")
[ "$again" -gt 50 ] || fail "too little was replayed: $again"
for _ in $(seq 100); do
    [ "$(refused_by a)" -le $((count + again / 2)) ] || break
    sleep 0.1
done
[ "$(refused_by a)" -gt $((count + again / 2)) ] || fail "a did not refuse what was replayed"
count=$(refused_by_tcr)
orders a replay up
for _ in $(seq 100); do
    [ "$(refused_by_tcr)" -le $((count + 20)) ] || break
    sleep 0.1
done
[ "$(refused_by_tcr)" -gt $((count + 20)) ] || fail "the central router did not refuse what was replayed"
[ "$(echoes a) $(echoes b) $(logins)" = "$seen" ] || fail "something replayed arrived: $(echoes a) $(echoes b) $(logins), not $seen"
[ "$(edges_of_table)" = "$before" ] || fail "the central router's table has changed"
for size in $sizes; do
    pings a "$b" "$size"
    pings b "$a" "$size"
done

"$lab" stop a
replayed_to_nobody() {
    local before
    before=$(edges_of_table)
    orders a replay up
    reaches b 192.168.15.5 || fail "b does not reach the gateway"
    [ "$(edges_of_table)" = "$before" ] || fail "a replay changed the central router's table $1"
    if grep -q '"edge-a" \(logged in\|joined\)' "$(out_of tcr)"; then fail "a replay logged in $1"; fi
}
: >"$(out_of tcr)"
replayed_to_nobody "of an edge that had left"
"$lab" kill tcr
: >"$(out_of tcr)"
"$lab" start tcr
patience=30 has_line "$(out_of tcr)" ' sealed anew from 10.77.0.2:' || fail "b did not go on"
replayed_to_nobody "at a central router that was started again"
"$lab" start a
reaches a "$b" || fail "a does not reach b in the end"
