#!/usr/bin/env bash
# Sealed edges on a wire that loses, doubles, reorders, corrupts and cuts; and whose central router
# is killed under traffic.

export LAB_IMPAIR="--loss 20 --seed 3"
# shellcheck source=tests/netns/sealed_lab.sh
. "$(dirname "$0")/sealed_lab.sh"
# shellcheck source=tests/netns/wire_lab.sh
. "$root/tests/netns/wire_lab.sh"

longest_ms=${LONGEST_GAP_MS:-10000} # of the packets; 5000 is promised, the rest for slow machines

# A join that fails is tried again, as a service does.
"$lab" up a
"$lab" stop a
"$lab" wire a --loss 20 --seed 3
while [ "$joined" -lt 3 ] && [ "$failed" -lt 20 ]; do tries_to_join a; done
echo "at 20 % loss $joined joins, $failed failed"
[ "$joined" -eq 3 ] || fail "joins do not come through at 20 % loss"

export LAB_IMPAIR="--loss 0"
"$lab" wire a --loss 0
"$lab" start a
"$lab" start b
survive_bad_wires

# Killed under traffic, with its state kept.
for host in a b tcr; do "$lab" stop "$host"; done
export LAB_TCR_ARGS="-s $LAB_DIR/tcr.db"
"$lab" start tcr
for edge in a b; do
    sets "$edge" key "$(sed -n 's/.* key \(sha256:[0-9a-f]*\)$/\1/p' "$(out_of tcr)" | tail -1)"
    "$lab" start "$edge"
done
b=$("$lab" addr b)
reaches a "$b" || fail "a does not reach b"
before="$(identifier_of a) $(identifier_of b) $("$lab" addr a) $b"
count=$(logins)
"$lab" exec a ping -D -i 0.02 -W 1 "$b" >"$LAB_DIR/traffic" &
ping=$!
has_line "$LAB_DIR/traffic" 'icmp_seq=25 ' || fail "no traffic"
killed=$(date +%s.%N)
"$lab" kill tcr
"$lab" start tcr
# shellcheck disable=SC2016
timeout 30 awk -v killed="$killed" '/bytes from/ && substr($1, 2) + 0 > killed + 0.5 { exit }' \
    <(tail -n +1 -F "$LAB_DIR/traffic" 2>/dev/null) || fail "no packet was relayed again"
kill -INT "$ping"
wait "$ping" || true
awk -v longest="$longest_ms" '
    /bytes from/ { time = substr($1, 2) + 0; if (last && time - last > gap) gap = time - last; last = time }
    END { printf "longest gap %d ms\n", gap * 1000; exit gap * 1000 > longest }' "$LAB_DIR/traffic" ||
    fail "the kill cost too long"
[ "$(identifier_of a) $(identifier_of b) $("$lab" addr a) $("$lab" addr b)" = "$before" ] ||
    fail "identifiers or addresses have changed"
[ "$(logins)" = "$count" ] || fail "an edge logged in as a new one"
for edge in a b; do "$lab" stop "$edge" || fail "$edge did not end"; done
