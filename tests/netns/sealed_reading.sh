#!/usr/bin/env bash
# Who reads on the road of a sealed edge finds neither password nor label nor payload, and of an open
# one all of it. No datagram is larger than 1500 bytes with its headers, nor cut in two for that.

# shellcheck source=tests/netns/sealed_lab.sh
. "$(dirname "$0")/sealed_lab.sh"

export LAB_SEALED=offered
"$lab" up a b
for host in a b tcr; do "$lab" stop "$host"; done
sed -i 's/"password": "qwop"/"password": "CANARY-password"/' "$("$lab" dir tcr)/tcr.json"
for edge in a b; do
    sets "$edge" 'user password' CANARY-password
    sets "$edge" label "CANARY-label-$edge"
done
"$lab" start tcr

# Joins, packets and logouts on the road of a, as strings: FILE.
reads() {
    captures a "$LAB_DIR/$1.pcap"
    for edge in a b; do
        "$lab" launch "$edge"
        has_line "$(out_of tcr)" "\"CANARY-label-$edge\" joined" || fail "$edge did not join"
    done
    a=$("$lab" addr a)
    b=$("$lab" addr b)
    reaches a "$b" || fail "a does not reach b"
    for size in $sizes; do
        "$lab" exec a ping -q -c 3 -i 0.05 -W 5 -s "$size" -p "$(printf CANARY-payload | od -An -tx1 | tr -d ' \n')" \
            "$b" >/dev/null || fail "a lost pings of $size bytes"
        pings b "$a" "$size"
    done
    for edge in a b; do "$lab" stop "$edge"; done
    end_capture
    grep -aoE 'CANARY-(password|label|payload)' "$LAB_DIR/$1.pcap" | sort | uniq -c >"$LAB_DIR/$1.read" || true
}

reads sealed
if [ -s "$LAB_DIR/sealed.read" ]; then fail "was read: $(cat "$LAB_DIR/sealed.read")"; fi
orders a tell
awk '/^(up|down):/ { if ($3 < 20 || $5 != 0 || $9 <= 1400 || $9 > 1500) bad = 1 } END { exit bad }' \
    "$LAB_DIR/order.out" || fail "what passed is not as it should be: $(cat "$LAB_DIR/order.out")"
[ "$(tcpdump -n -r "$LAB_DIR/sealed.pcap" 'ip[6:2] & 0x3fff != 0' 2>/dev/null | wc -l)" = 0 ] ||
    fail "datagrams were cut in two on the road"

for edge in a b; do speaks_openly "$edge"; done
: >"$(out_of tcr)"
reads open
[ "$(wc -l <"$LAB_DIR/open.read")" = 3 ] || fail "this test reads nothing: $(cat "$LAB_DIR/open.read")"
