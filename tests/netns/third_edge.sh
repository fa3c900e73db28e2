#!/usr/bin/env bash
# A third edge joins, leaves, comes back and is killed; the others' topologies follow. A fourth one
# joins from far away.

# shellcheck source=tests/netns/support.sh
. "$(dirname "$0")/support.sh"

mkdir -p "$LAB_DIR"
cat >"$LAB_DIR/tcr.json" <<'TEXT'
{
    "silent after": 5,
    "subnets": [ { "name": "qwop", "password": "qwop",
                   "gateway": "192.168.15.5", "netmask": "255.255.255.0" } ]
}
TEXT
LAB_TCR_ARGS="-c $LAB_DIR/tcr.json" "$lab" up a b
"$lab" start c
c=$("$lab" addr c)
reaches a "$c" || fail "a does not reach c"
reaches b "$c" || fail "b does not reach c"
# Its last request is on the road for longer than the near ones need to greet it.
LAB_IMPAIR="--delay 60" "$lab" start d || fail "d did not join from far away"
reaches d "$c" || fail "d does not reach c"
"$lab" stop d || fail "d did not end"
identifier=$("$lab" table | sed -n 's/.*edge \(0x[0-9a-f]*\) .*"edge-c".*/\1/p')

"$lab" stop c
for edge in a b; do
    has_line "$("$lab" dir "$edge")/out" '^Del Router:' || fail "$edge was sent no end of c"
    if "$lab" exec "$edge" ping -q -c 1 -W 1 "$c" >/dev/null; then fail "$edge still reaches c"; fi
done

"$lab" start c
[ "$("$lab" addr c)" = "$c" ] || fail "c has another address"
"$lab" table | grep -q "$identifier joined.*edge-c" || fail "c has another identifier"
reaches a "$c" || fail "a does not reach c again"

before=$(grep -c '^Del Router:' "$("$lab" dir a)/out")
"$lab" kill c
has_line "$("$lab" dir tcr)/out" "$identifier timed out, not heard of for 5 s" || fail "c was not missed"
timeout 10 sh -c "until [ \"\$(grep -c '^Del Router:' '$("$lab" dir a)/out')\" -gt $before ]; do
    sleep 0.05; done" || fail "a was sent no end of c"

"$lab" start c
[ "$("$lab" addr c)" = "$c" ] || fail "c has another address after it was killed"
reaches a "$c" || fail "a does not reach c after it was killed"
pings b "$("$lab" addr a)" 56
