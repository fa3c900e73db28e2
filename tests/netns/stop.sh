#!/usr/bin/env bash
# A SIGTERM under traffic ends each program within two seconds: interface deleted, logged out,
# configuration written, log closed, exit status 0.

# shellcheck source=tests/netns/support.sh
. "$(dirname "$0")/support.sh"

"$lab" up b
"$lab" stop b  # its host is there now; this test wants to be the program's parent
"$lab" start a
dir=$("$lab" dir b)
cd "$dir"
"$lab" exec b "$LAB_BUILD/tamvo" -i -c config.json >"$LAB_DIR/edge.out" 2>&1 &
edge=$!
has_line "$LAB_DIR/edge.out" 'txloop start' || fail "b did not start"
b=192.168.15.12
reaches a "$b" || fail "a does not reach b"

"$lab" exec a ping -q -f -s 1400 -w 20 "$b" >"$LAB_DIR/flood.out" 2>&1 &
flood=$!
"$lab" exec a ping -q -c 20 -i 0.02 "$b" >/dev/null  # the flood is under way
end "$edge" || fail "the edge ended with status $?"
if "$lab" exec b ip link show Tamvo >/dev/null 2>&1; then fail "the interface is still there"; fi
diff - "$dir/tamvo.log" <<<$'tamvo start\ntamvo exit' || fail "the log"
grep -q 'Signal 15 received, preparing to exit' "$LAB_DIR/edge.out" || fail "the signal's line"
grep -q '"ip":	"192.168.15.12"' config.json || fail "the configuration was not written"
[ "$(stat -c %a config.json)" = 600 ] || fail "others can read the configuration"
has_line "$("$lab" dir tcr)/out" 'edge 0x00000000 logged out' || fail "b did not log out"
kill -INT "$flood"
wait "$flood" || true

# The central router, with an edge flooding its gateway.
"$lab" stop tcr
"$lab" exec tcr "$LAB_BUILD/tamvo-tcr" -b 10.77.0.254 >"$LAB_DIR/tcr.out" 2>&1 &
tcr=$!
has_line "$LAB_DIR/tcr.out" 'listens on' || fail "the central router did not start"
"$lab" stop a
"$lab" launch a
has_line "$LAB_DIR/tcr.out" '"edge-a" joined' || fail "a did not join"
"$lab" exec a ping -q -f -w 20 192.168.15.5 >"$LAB_DIR/flood.out" 2>&1 &
flood=$!
"$lab" exec a ping -q -c 20 -i 0.02 192.168.15.5 >/dev/null
end "$tcr" || fail "the central router ended with status $?"
grep -q 'SIGTERM, ending' "$LAB_DIR/tcr.out" || fail "the central router's last line"
kill -INT "$flood"
wait "$flood" || true
