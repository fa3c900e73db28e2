#!/usr/bin/env bash
# A run of two sealed edges as tshark shows it: as DTLS where it has no secrets; and where one edge has
# written down those of its channel, all that passed through that one, and of the other still nothing.

# shellcheck source=tests/netns/tshark.sh
. "$(dirname "$0")/tshark.sh"
secrets=$LAB_DIR/secrets

export LAB_SEALED=required
"$lab" up a b
for edge in a b; do "$lab" stop "$edge"; done
captures_all
SSLKEYLOGFILE=$secrets "$lab" start a
"$lab" start b
b=$("$lab" addr b)
reaches a "$b" || fail "a does not reach b"
pings a "$b" 1472
# In bursts, whose datagrams are captured as one.
transfers a b 300000
for edge in b a; do "$lab" stop "$edge"; done
end_capture

are "messages that are none" "" "$(fields 'tamvo.malformed or tamvo.deviation or _ws.malformed' frame.number)"
are "read without secrets" "" "$(fields 'tamvo and not tamvo.kind contains "peer heartbeat"' frame.number)"
[ "$(fields 'dtls.app_data' frame.number | wc -l)" -gt 100 ] || fail "there are no sealed records"

tshark_options=(-o "tls.keylog_file:$secrets")
mine='ip.addr == 10.77.0.1 and udp.port == 1922'
are "malformed when opened" "" "$(fields 'tamvo.malformed or tamvo.deviation or _ws.malformed' frame.number)"
are "labels" "edge-a" "$(fields 'tamvo.label and udp.dstport == 1922' tamvo.label)"
are "records of a that were not opened" "" "$(fields "$mine and dtls.app_data and not tamvo" frame.number)"
are "opened of b" "" "$(fields 'tamvo and ip.addr == 10.77.0.2 and udp.port == 1922' frame.number)"
are "requests of a without a reply" "" \
    "$(fields "$mine and tamvo.type in {1,3} and udp.dstport == 1922 and not tamvo.reply_in and not tamvo.repeated_in" \
        frame.number)"
are "halves alone" "" "$(fields 'tamvo.alone or tamvo.reversed' frame.number)"
are "split pings" 6 "$(fields 'tamvo.joined_with and icmp and ip.len == 1500' frame.number | wc -l)"
# Every byte of the stream, of each record of a burst.
show -q -z follow,tcp,raw,0 | grep -E '^\s*[0-9a-f]+$' | tr -d '\n\t ' | cmp - <(od -An -v -tx1 "$LAB_DIR/sent" | tr -d ' \n') ||
    fail "the stream that was opened is not what was sent"
has_no_lua_error
