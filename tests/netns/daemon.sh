#!/usr/bin/env bash
# An edge as a daemon: detached, its log in /var/lib/tamvo/, a relative configuration path resolved
# there, ended by SIGTERM. /var/lib is a file system of the test's own.

# shellcheck source=tests/netns/support.sh
. "$(dirname "$0")/support.sh"

"$lab" up a b
"$lab" stop b
cp "$("$lab" dir b)/config.json" "$LAB_DIR/config.json"
lib=$LAB_DIR/lib
mkdir -p "$lib/tamvo"
cp "$LAB_DIR/config.json" "$lib/tamvo/daemon.json"
status=0
"$lab" exec b unshare -m sh -c "mount --bind '$lib' /var/lib && exec $LAB_BUILD/tamvo -c daemon.json" \
    >"$LAB_DIR/daemon.out" 2>&1 || status=$?
[ "$status" -eq 0 ] || fail "the starting process ended with $status"
has_line "$("$lab" dir tcr)/out" 'removed\|"edge-b" joined' || fail "the daemon did not join"
reaches a 192.168.15.12 || fail "a does not reach the daemon"

pid=$(ip netns pids "tamvo-$LAB_NAME-b")
[ "$(wc -w <<<"$pid")" -eq 1 ] || fail "more than one process: $pid"
[ "$(readlink "/proc/$pid/fd/0" "/proc/$pid/fd/1" "/proc/$pid/fd/2" | sort -u)" = /dev/null ] ||
    fail "its standard descriptors"
[ ! -s "$LAB_DIR/daemon.out" ] || fail "it printed something"

kill -TERM "$pid"
timeout 5 sh -c "while [ -d /proc/$pid ] && ! grep -q '^State:.Z' /proc/$pid/status 2>/dev/null; do
    sleep 0.02; done" || fail "the daemon did not end"
diff - "$lib/tamvo/tamvo.log" <<<$'tamvo start\ntamvo exit' || fail "the log"
grep -q '"p2p eanble"' "$lib/tamvo/daemon.json" || fail "the configuration was not written"
[ "$(stat -c %a "$lib/tamvo/daemon.json")" = 600 ] || fail "others can read the configuration"
if "$lab" exec b ip link show Tamvo >/dev/null 2>&1; then fail "the interface is still there"; fi
