#!/usr/bin/env bash
# A whole run, joins, traffic of every size in both directions, announcements, heartbeats and stops:
# what arrives is what was sent, and what the wire shows is held against the protocol's description by
# the lab's own decoder.

# shellcheck source=tests/netns/support.sh
. "$(dirname "$0")/support.sh"
user="a name that fills its whole text"  # 32 bytes
capture=$LAB_DIR/capture

# Waits until the capture has so many datagrams that match; the first byte of a message is udp[8].
are_captured() {
    timeout 20 sh -c "until [ \"\$(tcpdump -n -r '$capture' '$2' 2>/dev/null | wc -l)\" -ge $1 ]; do
        sleep 0.1; done" || fail "not captured: $1 of $2"
}

export LAB_PLAIN=1
# The hosts are there before the first edge joins; no edge's name for its user is its password.
"$lab" up a b c
for edge in a b c; do
    "$lab" stop "$edge"
    sed -i "s/\(\"user name\":[[:space:]]*\)\"qwop\"/\1\"$user\"/" "$("$lab" dir "$edge")/config.json"
done
"$lab" exec tcr tcpdump -Z root --immediate-mode -U -B 32768 -i br0 -w "$capture" udp 2>"$LAB_DIR/tcpdump.out" &
tcpdump=$!
has_line "$LAB_DIR/tcpdump.out" 'listening on' || fail "tcpdump"

"$lab" start a
"$lab" start b
a=$("$lab" addr a)
b=$("$lab" addr b)
reaches a "$b" || fail "a does not reach b"
reaches b "$a" || fail "b does not reach a"
"$lab" exec b socat UDP-RECVFROM:7,fork EXEC:cat >"$LAB_DIR/udp.out" 2>&1 &
"$lab" exec b socat TCP-LISTEN:7,fork,reuseaddr EXEC:cat >"$LAB_DIR/tcp.out" 2>&1 &
"$lab" exec b timeout 10 sh -c 'until ss -Hlnu sport = 7 | grep -q . && ss -Hlnt sport = 7 | grep -q .; do
    sleep 0.05; done'
for size in $sizes; do
    head -c "$size" /dev/urandom >"$LAB_DIR/sent"
    pings a "$b" "$size"
    pings b "$a" "$size"
    for edge in a b; do pings "$edge" 192.168.15.5 "$size"; done
    for service in udp tcp; do  # there and back
        # shellcheck disable=SC2016
        "$lab" exec a timeout 10 bash -c 'exec 3<>"$0" && cat "$1" >&3 && head -c "$2" <&3' \
            "/dev/$service/$b/7" "$LAB_DIR/sent" "$size" | cmp - "$LAB_DIR/sent" ||
            fail "$service with $size bytes"
    done
done

"$lab" start c
c=$("$lab" addr c)
for edge in a b; do reaches "$edge" "$c" || fail "$edge does not reach c"; done
reaches c "$a" || fail "c does not reach a"
for edge in 1 2 3; do are_captured 1 "udp[8:2] = 0x0202 and dst host 10.77.0.$edge"; done

# One after the other, so that each knows that the one before is gone.
"$lab" stop c
for edge in 1 2; do are_captured 1 "udp[8:2] = 0x040c and src host 10.77.0.$edge"; done
"$lab" stop b
are_captured 2 "udp[8:2] = 0x040c and src host 10.77.0.1"
"$lab" stop a

# Once this has been captured, everything has.
echo "the end of it" | "$lab" exec a socat - UDP:10.77.0.254:9 || true
timeout 10 sh -c "until grep -aqs 'the end of it' '$capture'; do sleep 0.05; done" || fail "the end"
kill -INT "$tcpdump"
wait "$tcpdump" || true
grep -q '^0 packets dropped by kernel' "$LAB_DIR/tcpdump.out" || fail "the capture is not whole"
"$LAB_BUILD/tamvo-capture" -u "$user" "$capture" >"$LAB_DIR/capture.out" || fail "deviations from the protocol"
[ "$("$LAB_BUILD/tamvo-capture" -l "$capture" | grep -c ' login reply, seq 1,')" -eq 3 ] || fail "the list"
