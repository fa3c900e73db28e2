#!/usr/bin/env bash
# A start that cannot succeed ends with status 1, says why in the log and leaves no interface.

# shellcheck source=tests/netns/support.sh
. "$(dirname "$0")/support.sh"

"$lab" up b
"$lab" stop b
cd "$("$lab" dir b)"

expect_failure() { # log line, command...
    local line=$1 status=0
    shift
    rm -f tamvo.log
    "$lab" exec b "$@" >"$LAB_DIR/edge.out" 2>&1 || status=$?
    [ "$status" -eq 1 ] || fail "exit status $status instead of 1: $*"
    printf 'tamvo start\n%s\ntamvo core start failed\n' "$line" | diff - tamvo.log ||
        fail "the log of: $*"
    if "$lab" exec b ip link show Tamvo >/dev/null 2>&1; then fail "the interface is still there"; fi
}

sed 's/\("user password":[[:space:]]*\)"qwop"/\1"other"/' config.json >refused.json
expect_failure 'connected tcr failed, tcr is not online' "$LAB_BUILD/tamvo" -i -c refused.json

"$lab" stop tcr
expect_failure 'connected tcr failed, tcr is not online' "$LAB_BUILD/tamvo" -i -c config.json

expect_failure 'net adapter open failed' unshare -m sh -c \
    "mount -t tmpfs none /dev/net && exec $LAB_BUILD/tamvo -i -c config.json"
grep -q 'Cannot open TUN/TAP dev /dev/net/tun' "$LAB_DIR/edge.out" || fail "the reason"
