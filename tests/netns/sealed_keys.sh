#!/usr/bin/env bash
# Who has the wrong key gets nowhere: a central router with another one at the same address, and who
# stole an edge's password but not its key. Who lets nothing sealed pass makes no edge speak openly.

# shellcheck source=tests/netns/sealed_lab.sh
. "$(dirname "$0")/sealed_lab.sh"

"$lab" up a b
dir=$("$lab" dir tcr)
key=$(find "$dir" -maxdepth 1 -name '*.key')
[ -s "$key" ] || fail "the central router has no key file"
b=$("$lab" addr b)
reaches a "$b" || fail "a does not reach b"
"$lab" stop a

# Another central router in the middle: of its handshakes none comes to an end, so it is told nothing.
"$lab" kill tcr
mv "$key" "$LAB_DIR/true.key"
: >"$dir/out"
"$lab" start tcr
captures a "$LAB_DIR/middle.pcap"
cannot_join a
grep -q 'the other end.s key is sha256:' "$("$lab" dir a)/tamvo.log" "$LAB_DIR/a.out" ||
    fail "a does not say whose key it met"
end_capture
"$lab" table >"$LAB_DIR/table.out"
grep -q ' received 0 relayed 0 ' "$LAB_DIR/table.out" || fail "a central router with another key was told something"
grep -q ' logins refused 0 ' "$LAB_DIR/table.out" || fail "an edge tried to log in there"
if grep -aq 'qwop' "$LAB_DIR/middle.pcap"; then fail "the password was sent"; fi
[ "$(tcpdump -n -r "$LAB_DIR/middle.pcap" 'udp port 1922' 2>/dev/null | wc -l)" -gt 4 ] || fail "no handshake was tried"

# The true one comes back: the edge that was there goes on, the other one joins.
"$lab" kill tcr
mv "$LAB_DIR/true.key" "$key"
"$lab" start tcr
"$lab" start a
patience=30 has_line "$dir/out" ' sealed anew from 10.77.0.2:' || fail "b did not go on with the true central router"
reaches a "$b" || fail "a does not reach b"

# Nothing sealed passes: no edge falls back, neither one that runs nor one that starts.
orders a drop sealed
if "$lab" exec a ping -q -c 10 -i 0.5 -W 1 "$b" >/dev/null; then fail "something passed"; fi
"$lab" stop a || true
cannot_join a
orders a tell
grep -q '^up: sealed [0-9]* open 0 ' "$LAB_DIR/order.out" || fail "an edge spoke in the open: $(cat "$LAB_DIR/order.out")"
grep -q '^dropped [1-9]' "$LAB_DIR/order.out" || fail "nothing was dropped"
orders a drop nothing
"$lab" start a
reaches a "$b" || fail "a does not reach b over a road that is free again"

# The password and the serial number of a, whose key the central router knows, without that key.
own=$(sed -n 's/^key \(sha256:[0-9a-f]*\)$/\1/p' "$(out_of a)" | tail -1)
[ -n "$own" ] || fail "a does not tell its key"
for host in a b tcr; do "$lab" stop "$host"; done
sed -i "s/\"password\": \"qwop\"/&, \"edges\": [ { \"serial\": $(value_of a 'serial number'), \"key\": \"$own\" }, $(value_of b 'serial number') ]/" \
    "$dir/tcr.json"
"$lab" start tcr
"$lab" start a
"$lab" start b
before=$(edges_of_table)
"$lab" launch c || true
"$lab" kill c
sets c 'serial number' "$(value_of a 'serial number')"
refused() { "$lab" table | sed -n 's/.* logins refused \([0-9]*\) .*/\1/p'; }
count=$(refused)
cannot_join c
[ "$(refused)" -gt "$count" ] || fail "nobody was refused"
# In the open, with the right password.
speaks_openly c
count=$(refused)
cannot_join c
[ "$(refused)" -gt "$count" ] || fail "an open login was not refused"
grep -q '1002' "$LAB_DIR/c.out" "$("$lab" dir c)/tamvo.log" || fail "an open login did not get error 1002"
[ "$(edges_of_table)" = "$before" ] || fail "the central router's table has changed"
reaches a "$b" || fail "a does not reach b"
