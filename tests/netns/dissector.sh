#!/usr/bin/env bash
# A run of three edges as tshark shows it with packaging/wireshark/tamvo.lua: message by message what
# the lab's own decoder lists, every reply with its request, every split packet whole again, with the
# content that was sent.

# shellcheck source=tests/netns/tshark.sh
. "$(dirname "$0")/tshark.sh"

export LAB_PLAIN=1
"$lab" up a b c
for edge in a b c; do "$lab" stop "$edge"; done
# A label that would steer a terminal.
sed -i 's/edge-c/\\u001b[31mc\\nd/' "$("$lab" dir c)/config.json"
captures_all

"$lab" start a
"$lab" start b
b=$("$lab" addr b)
reaches a "$b" || fail "a does not reach b"
"$lab" exec b socat UDP-RECVFROM:7,fork EXEC:cat >"$LAB_DIR/udp.out" 2>&1 &
"$lab" exec b timeout 10 sh -c 'until ss -Hlnu sport = 7 | grep -q .; do sleep 0.05; done'
for size in $sizes; do
    head -c "$size" /dev/urandom >"$LAB_DIR/sent.$size"
    # shellcheck disable=SC2016
    "$lab" exec a timeout 10 bash -c 'exec 3<>"$0" && cat "$1" >&3 && head -c "$2" <&3' \
        "/dev/udp/$b/7" "$LAB_DIR/sent.$size" "$size" | cmp - "$LAB_DIR/sent.$size" || fail "$size bytes"
done
pings a "$b" 1472
"$lab" launch c
has_line "$(out_of tcr)" '"\.\[31mc\.d" joined' || fail "c did not join"
c=192.168.15.13
for edge in a b; do reaches "$edge" "$c" || fail "$edge does not reach c"; done
# What is none of the protocol: to the central router, and to an edge's port.
for target in 10.77.0.254:1922 "10.77.0.1:$("$lab" port a)"; do
    head -c 20 /dev/zero | tr '\0' '\377' | "$lab" exec c socat -u - "UDP:$target"
done
for edge in c b a; do "$lab" stop "$edge"; done

end_capture

# Message by message what the other decoder lists.
"$LAB_BUILD/tamvo-capture" -l "$capture" | sed -nE 's/^([0-9]+) [0-9.]+ /\1 /p' >"$LAB_DIR/listed"
fields tamvo frame.number ip.src udp.srcport ip.dst udp.dstport tamvo.kind tamvo.seq tamvo.src tamvo.dst \
    udp.length tamvo.frame_index tamvo.frame_total |
    awk -F'\t' '{
        printf "%s %s:%s > %s:%s %s, seq %s, src %s, dst %s, body %d", $1, $2, $3, $4, $5, $6, $7, $8, $9, $10 - 24
        print $12 == 0 || $6 == "unknown" ? "" : ", index " $11 " of " $12
    }' >"$LAB_DIR/shown"
sed -i '/unknown/s/, index.*//' "$LAB_DIR/listed"
diff "$LAB_DIR/listed" "$LAB_DIR/shown" >"$LAB_DIR/diff.out" || fail "the decoders differ"
[ "$(grep -c ' login reply, seq 1,' "$LAB_DIR/shown")" -eq 3 ] || fail "three logins"
are "malformed" 2 "$(fields tamvo.malformed frame.number | wc -l)"
are "deviations beside them" "" "$(fields 'tamvo.deviation and not tamvo.malformed' frame.number)"
has_no_lua_error

# Replies and requests, and the time between them.
are "replies without a request" "" "$(fields 'tamvo.type in {2,4} and not tamvo.request_in' frame.number)"
are "requests of edges without a reply" "" \
    "$(fields 'tamvo.type in {1,3} and udp.dstport == 1922 and not tamvo.reply_in and not tamvo.repeated_in' \
        frame.number)"
show -T fields -e frame.number -e frame.time_epoch -e tamvo.request_in -e tamvo.rtt -E occurrence=f |
    awk -F'\t' '
        { at[$1] = $2 }
        $3 { off = $2 - at[$3] - $4; if (off > 0.000002 || off < -0.000002) exit 1; ++replies }
        END { exit replies < 30 }' || fail "round-trip times"

# What the edges were told to be.
are "labels" "edge-a edge-b \\x1b[31mc\\x0ad" \
    "$(fields 'tamvo.label and udp.dstport == 1922' tamvo.label | paste -sd' ')"
are "serial numbers" "1001 1002 1003" "$(fields 'tamvo.kind == "login"' tamvo.serial | paste -sd' ')"
are "address and MAC of c" "$c 02:00:00:00:00:03" \
    "$(fields "tamvo.kind == \"dhcp\" and tamvo.ip == $c" tamvo.ip tamvo.mac | tr '\t' ' ')"

# Every packet whole, with the content that was sent: on its way to the central router and from there
# to the other edge, and back.
for size in $sizes; do
    sent=$(od -An -v -tx1 "$LAB_DIR/sent.$size" | tr -d ' \n')
    are "datagrams of $size bytes" 4 \
        "$(show -Y tamvo -T fields -E occurrence=l -e udp.payload | grep -cx "$sent")"
done
are "split pings" 12 "$(fields 'tamvo.joined_with and icmp and ip.len == 1500' frame.number | wc -l)"
are "halves alone" "" "$(fields 'tamvo.alone or tamvo.reversed' frame.number)"
