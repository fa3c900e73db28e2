#!/usr/bin/env bash
# A subnet moves to a second central router as docs/scale.md tells it, with the files that stand
# there: its edges keep their addresses, those of the other subnet lose not one ping, and each central
# router goes on without the other one.

# shellcheck source=tests/netns/support.sh
. "$(dirname "$0")/support.sh"

# The N-th file of the document with the lab's addresses: "office" of a and b at the lab's central
# router, "warehouse" of c and d in the end at one in the host of e.
file() {
    awk -v wanted="$1" '/^```json$/ { inside = ++count == wanted; next } /^```/ { inside = 0 } inside' \
        "$root/docs/scale.md" |
        sed "s/203\.0\.113\.5/10.77.0.254/; s/203\.0\.113\.6/10.77.0.5/; s#/var/lib/tamvo-tcr/#$LAB_DIR/$1-#"
}
of_warehouse() { # EDGE NUMBER: its file as the document has that of c
    file 3 | sed "s/edge-c/edge-$1/; s/1003/100$2/; s/\.13\"/.1$2\"/; s/:03\"/:0$2\"/"
}
of_office() {
    of_warehouse "$@" |
        sed 's/warehouse/office/; s/change me too/change me/; s/192\.168\.16\./192.168.15./; s/10\.77\.0\.5"/10.77.0.254"/'
}
config() { echo "$("$lab" dir "$1")/config.json"; }
# Starts an edge and waits until a central router tells in that file that it has joined.
joins() { # EDGE OUT
    local before
    before=$(wc -l <"$2")
    "$lab" launch "$1"
    timeout 10 grep -q -m1 "\"edge-$1\" joined" <(tail -n "+$((before + 1))" -F "$2" 2>/dev/null) ||
        fail "$1 did not join"
}
cannot_reach() { ! "$lab" exec "$1" ping -q -c 1 -W 1 "$2" >/dev/null 2>&1 || fail "$1 reaches $2"; }
is_at() { [ "$("$lab" addr "$1")" = "$2" ] || fail "$1 is at $("$lab" addr "$1") instead of $2"; }

# The first central router serves both subnets, and the lab's own for as long as the hosts are made.
config=$LAB_DIR/tcr.json
file 2 | grep '"name": "warehouse"' >"$LAB_DIR/warehouse" || fail "no warehouse in the document"
lab_subnet='{ "name": "qwop", "password": "qwop", "gateway": "192.168.17.5", "netmask": "255.255.255.0" },'
file 1 | sed "/\"name\": \"office\"/ { s/\$/,/; r $LAB_DIR/warehouse
    }; s/.*\"subnets\": \[/&\n$lab_subnet/" >"$config"
LAB_TCR_ARGS="-c $config" "$lab" up a b c d e
for edge in a b c d e; do "$lab" stop "$edge"; done
of_office a 1 >"$(config a)"
of_office b 2 >"$(config b)"
for edge in c:3 d:4; do
    of_warehouse "${edge%:*}" "${edge#*:}" | sed 's/10\.77\.0\.5"/10.77.0.254"/' >"$(config "${edge%:*}")"
done
for edge in a b c d; do joins "$edge" "$(out_of tcr)"; done
reaches a 192.168.15.12 || fail "a does not reach b"
reaches c 192.168.16.14 || fail "c does not reach d"
cannot_reach a 192.168.16.13

"$lab" exec a ping -i 0.02 -W 5 192.168.15.12 >"$LAB_DIR/ping-office" &
pinger=$!

# 1: the second central router. 2: the edges, one after the other.
file 2 >"$LAB_DIR/second.json"
second_out=$LAB_DIR/second.out
"$lab" exec e "$LAB_BUILD/tamvo-tcr" -c "$LAB_DIR/second.json" >"$second_out" 2>&1 &
second=$!
has_line_of "$second" "$second_out" 'listens on 10.77.0.5' || fail "the second central router did not start"
"$lab" stop c
of_warehouse c 3 >"$(config c)"
joins c "$second_out"
is_at c 192.168.16.13
cannot_reach c 192.168.16.14
"$lab" stop d
of_warehouse d 4 >"$(config d)"
joins d "$second_out"
is_at d 192.168.16.14
reaches c 192.168.16.14 || fail "c does not reach d at the second central router"

# 3: the first one has it no longer, and an edge that was forgotten there tells so.
"$lab" stop d
of_warehouse d 4 | sed 's/10\.77\.0\.5"/10.77.0.254"/; s/"subnet":/"sstp": { "heartbeat interval": 2, "rejoin after": 3 }, &/' \
    >"$(config d)"
joins d "$(out_of tcr)"
file 1 >"$config"
kill -HUP "$(pid_of tcr)"
has_line "$(out_of tcr)" 'read again, 1 subnet(s)' || fail "the first central router did not read its file again"
patience=20 has_line "$(out_of d)" 'joining again failed: .* error 1003' || fail "d did not tell of its refusal"
has_line "$(out_of tcr)" 'login from 10.77.0.4:[0-9]* refused, error 1003' || fail "d was not refused"
"$lab" stop d
of_warehouse d 4 >"$(config d)"
joins d "$second_out"

# Killed the second central router takes nothing along, and is back with its state.
kill -KILL "$second"
wait "$second" || true
reaches a 192.168.15.12 || fail "a and b went with the second central router"
"$lab" exec e "$LAB_BUILD/tamvo-tcr" -c "$LAB_DIR/second.json" >>"$second_out" 2>&1 &
second=$!
reaches c 192.168.16.14 || fail "c does not reach d when the second central router is back"
# "office" noticed nothing of all that.
kill -INT "$pinger"
wait "$pinger" || true
grep -q ' 0% packet loss' "$LAB_DIR/ping-office" || fail "a lost pings to b: $(tail -3 "$LAB_DIR/ping-office")"
"$lab" kill tcr
reaches d 192.168.16.13 || fail "c and d went with the first central router"
LAB_TCR_ARGS="-c $config" "$lab" start tcr
reaches b 192.168.15.11 || fail "b does not reach a when the first central router is back"

kill -TERM "$second"
wait "$second" || fail "the second central router ended with status $?"
