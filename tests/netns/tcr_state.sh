#!/usr/bin/env bash
# A central router that keeps its state is killed under traffic and started again: edges go on
# without a login, and who left meanwhile is announced as gone. Then its disk is full for a while.

# shellcheck source=tests/netns/support.sh
. "$(dirname "$0")/support.sh"

longest_ms=${LONGEST_GAP_MS:-10000} # of the packets; far beyond what is seen, for slow machines

cat >"$LAB_DIR/tcr.json" <<'TEXT'
{
    "silent after": 5,
    "subnets": [ { "name": "qwop", "password": "qwop",
                   "gateway": "192.168.15.5", "netmask": "255.255.255.0" } ]
}
TEXT
at_end() {
    if mountpoint -q "$LAB_DIR/small"; then umount "$LAB_DIR/small"; fi
}
lines_with() { grep -cF -e "$1" "$tcr_out" || true; }
keep_in() { export LAB_TCR_ARGS="-c $LAB_DIR/tcr.json -s $1"; }

keep_in "$LAB_DIR/tcr.db"
"$lab" up a b c d
tcr_out=$(out_of tcr)
b=$("$lab" addr b)
[ "$(stat -c %a "$LAB_DIR/tcr.db")" = 600 ] || fail "the state is readable by others"
# From now on packets between the edges take the road over the central router.
for edge in a b; do "$lab" exec tcr bridge link set dev "to-$edge" isolated on; done
reaches a "$b" || fail "a does not reach b over the central router"
identifiers() { "$lab" table | sed -n "s/.*edge \(0x[0-9a-f]*\) joined .* \"edge-[$1]\"/\1/p"; }
before=$(identifiers ab)
left=$(identifiers cd)
[ "$(wc -w <<<"$before $left")" = 4 ] || fail "not every edge has joined: $before $left"
logins=$(lines_with 'logged in')

# Killed under traffic; c has left just before, d leaves while nobody is there.
"$lab" exec a ping -D -i 0.02 -W 1 "$b" >"$LAB_DIR/traffic" &
ping=$!
has_line "$LAB_DIR/traffic" 'icmp_seq=25 ' || fail "no traffic"
"$lab" stop c
"$lab" kill tcr
"$lab" stop d || true
started=$(date +%s.%N)
"$lab" start tcr
# shellcheck disable=SC2016
timeout 20 awk -v started="$started" '/bytes from/ && substr($1, 2) + 0 > started + 1 { exit }' \
    <(tail -n +1 -F "$LAB_DIR/traffic" 2>/dev/null) || fail "no packet was relayed again"
kill -INT "$ping"
wait "$ping" || true
awk -v started="$started" -v longest="$longest_ms" '
    /bytes from/ {
        time = substr($1, 2) + 0
        if (last && time - last > gap) gap = time - last
        if (!again && time > started) again = time
        last = time
    }
    END {
        printf "relayed again %d ms after the start, longest gap %d ms\n",
            (again - started) * 1000, gap * 1000
        exit (again - started) * 1000 > longest
    }' "$LAB_DIR/traffic" || fail "packets were relayed again too late"
[ "$(lines_with 'logged in')" = "$logins" ] || fail "an edge had to log in again"
[ "$(identifiers ab)" = "$before" ] || fail "the edges have other identifiers than before: $before"
for edge in a b; do
    for gone in $left; do
        timeout 15 sh -c "until grep -A1 '^Del Router:' '$(out_of "$edge")' | grep -qi '$gone'; do
            sleep 0.05; done" || fail "the end of $gone was not announced to $edge"
    done
done

status=0
"$lab" exec tcr "$LAB_BUILD/tamvo-tcr" -p 1923 -s "$LAB_DIR/tcr.db" >"$LAB_DIR/second.out" 2>&1 || status=$?
[ "$status" -eq 2 ] || fail "a second one on the same file ended with status $status"
grep -qx "tamvo-tcr: $LAB_DIR/tcr.db: is held by another central router" "$LAB_DIR/second.out" ||
    fail "the second one did not say why"

# An orderly end, and on with the state on a disk that has no room.
"$lab" stop tcr
mkdir "$LAB_DIR/small"
mount -t tmpfs -o size=1m tmpfs "$LAB_DIR/small"
cp "$LAB_DIR/tcr.db" "$LAB_DIR/small"
keep_in "$LAB_DIR/small/tcr.db"
"$lab" start tcr
reaches a "$b" || fail "a does not reach b after an orderly end"
cat /dev/zero >"$LAB_DIR/small/filler" 2>/dev/null || true
"$lab" launch e
has_line "$tcr_out" "state not written: $LAB_DIR/small/tcr.db: database or disk is full" ||
    fail "it did not tell that the disk is full"
pings a "$b" 56
tail --pid="$(pid_of e)" -f /dev/null
if grep -q '"edge-e" joined' "$tcr_out"; then fail "an edge joined without state"; fi
rm "$LAB_DIR/small/filler"
has_line "$tcr_out" 'state written again' || fail "it did not tell that there is room again"
"$lab" start e
reaches e "$b" || fail "e does not reach b"
for line in 'state not written' 'state written again'; do
    [ "$(lines_with "$line")" = 1 ] || fail "not one line: $line"
done
[ "$(identifiers ab)" = "$before" ] || fail "a full disk changed the edges' identifiers"
