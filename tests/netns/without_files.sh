#!/usr/bin/env bash
# The two programs work together with no file at all: a default edge finds a default central router
# beside it, and leaves a configuration behind.

# shellcheck source=tests/netns/support.sh
. "$(dirname "$0")/support.sh"

"$lab" up b
"$lab" stop b
mkdir "$LAB_DIR/bin"
cp "$LAB_BUILD/tamvo" "$LAB_DIR/bin/"
cd "$LAB_DIR/bin"
"$lab" exec b "$LAB_BUILD/tamvo-tcr" >"$LAB_DIR/tcr.out" 2>&1 &
tcr=$!
has_line "$LAB_DIR/tcr.out" 'listens on 127.0.0.1 port 1922' || fail "the central router"
"$lab" exec b ./tamvo -i >"$LAB_DIR/edge.out" 2>&1 &
edge=$!
has_line "$LAB_DIR/tcr.out" '"tap-2" joined' || fail "the edge did not join"
grep -q '"mtuj":	1400' config.json || fail "the default configuration"
[ "$(stat -c %a config.json)" = 600 ] || fail "others can read the configuration"
"$lab" exec b ping -q -c 1 -w 10 192.168.15.5 >/dev/null || fail "the gateway does not answer"
addr=$("$lab" exec b ip -4 -o addr show Tamvo | awk '{ sub("/.*", "", $4); print $4 }')
kill -TERM "$edge"
wait "$edge" || fail "the edge's exit status"
grep -q "\"ip\":	\"$addr\"" config.json || fail "the address was not written back"
grep -q '"p2p eanble":	false' config.json || fail "the configuration was not rewritten"

"$lab" exec b ./tamvo -i >"$LAB_DIR/again.out" 2>&1 &
edge=$!
forwards "$edge" "$LAB_DIR/again.out" || fail "the edge did not join again"
grep -q "^ IP:$addr\$" "$LAB_DIR/again.out" || fail "another address than before"
kill -INT "$edge"
wait "$edge" || fail "the edge's exit status after SIGINT"
kill -INT "$tcr"
wait "$tcr" || fail "the central router's exit status"
