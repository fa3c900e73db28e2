#!/usr/bin/env bash
# Edges come back by themselves: to a central router that was started anew and knows nobody, after
# their own outer address changed, and to one that now lends other addresses. A SIGTERM ends an edge
# that joins again as it ends one that joins.

# shellcheck source=tests/netns/support.sh
. "$(dirname "$0")/support.sh"

# Waits until the edge has joined again that often.
has_rejoined() { # EDGE TIMES
    timeout 20 sh -c "until [ \"\$(grep -c '^joined again as' '$(out_of "$1")')\" -ge $2 ]; do
        sleep 0.05; done" || fail "$1 did not join again"
}

LAB_SSTP='"rejoin after": 2' "$lab" up a b c
a=$("$lab" addr a) b=$("$lab" addr b) c=$("$lab" addr c)
reaches a "$c" || fail "a does not reach c"

"$lab" kill tcr
"$lab" start tcr
for edge in a b c; do has_rejoined "$edge" 1; done
[ "$("$lab" addr a) $("$lab" addr b) $("$lab" addr c)" = "$a $b $c" ] || fail "other addresses than before"
for edge in a b; do reaches "$edge" "$c" || fail "$edge does not reach c"; done
reaches c "$a" || fail "c does not reach a"
for size in $sizes; do pings a "$b" "$size"; done
"$lab" stat a | grep -qx 'joined again: 1' || fail "the status does not count it"

"$lab" exec b ip addr del 10.77.0.2/24 dev up0
"$lab" exec b ip addr add 10.77.0.22/24 dev up0
has_rejoined b 2
reaches a "$b" || fail "a does not reach b, whose outer address changed"
reaches b "$c" || fail "b does not reach c, after its outer address changed"

cat >"$LAB_DIR/tcr.json" <<'TEXT'
{ "subnets": [ { "name": "qwop", "password": "qwop",
                 "gateway": "192.168.16.5", "netmask": "255.255.255.0" } ] }
TEXT
"$lab" kill tcr
LAB_TCR_ARGS="-c $LAB_DIR/tcr.json" "$lab" start tcr
for edge in a c; do has_rejoined "$edge" 2; done
has_rejoined b 3
c=$("$lab" addr c)
[[ $("$lab" addr a) == 192.168.16.* && $c == 192.168.16.* ]] || fail "not the addresses that are lent"
reaches a "$c" || fail "a does not reach c at its new address"
reaches c 192.168.16.5 || fail "c does not reach the gateway"

"$lab" kill tcr
before=$(grep -c '^joining again: ' "$(out_of a)")
timeout 20 sh -c "until [ \"\$(grep -c '^joining again: ' '$(out_of a)')\" -gt $before ]; do
    sleep 0.02; done" || fail "a does not begin to join again"
begin=$(date +%s%N)
"$lab" stop a || fail "a did not end"
[ $((($(date +%s%N) - begin) / 1000000)) -le 2000 ] || fail "a did not end within two seconds"
diff - "$("$lab" dir a)/tamvo.log" <<<$'tamvo start\ntamvo exit' || fail "the log of a"
grep -q '"192\.168\.16\.' "$("$lab" dir a)/config.json" || fail "the configuration of a"
if "$lab" exec a ip link show Tamvo >/dev/null 2>&1; then fail "the interface is still there"; fi
