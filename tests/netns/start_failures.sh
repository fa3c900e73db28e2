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

tells() { grep -qF -e "$1" "$LAB_DIR/edge.out" || fail "it did not tell: $1"; }

sed 's/\("user password":[[:space:]]*\)"qwop"/\1"other"/' config.json >refused.json
expect_failure 'connected tcr failed, tcr is not online' "$LAB_BUILD/tamvo" -i -c refused.json

"$lab" stop tcr
expect_failure 'connected tcr failed, tcr is not online' "$LAB_BUILD/tamvo" -i -c config.json

expect_failure 'net adapter open failed' unshare -m sh -c \
    "mount -t tmpfs none /dev/net && exec $LAB_BUILD/tamvo -i -c config.json"
tells 'Cannot open TUN/TAP dev /dev/net/tun'
tells 'net adapter Tamvo not opened: No such file or directory'

# The driver can be opened by anybody, but gives no interface. Nothing was sent by then.
sent() { "$lab" exec b nstat -asz UdpOutDatagrams | grep UdpOut; }
before=$(sent)
expect_failure 'net adapter open failed' setpriv --bounding-set -net_admin \
    "$LAB_BUILD/tamvo" -i -c config.json
tells 'net adapter Tamvo not opened: Operation not permitted'
[ "$(sent)" = "$before" ] || fail "it sent datagrams without an interface"

# Descriptors for neither interface nor socket, behind those of standard output's thread and the log.
limited() { expect_failure "$1" prlimit --nofile="$2" "$LAB_BUILD/tamvo" -i -c config.json 3>&- 4>&- 5>&-; }
# UBSan wants some for itself, and then reports what is not so.
if [[ $(ldd "$LAB_BUILD/tamvo") != *libubsan* ]]; then
    limited 'net adapter open failed' 5
    tells 'net adapter Tamvo not opened: Too many open files'
    limited 'connected tcr failed, tcr is not online' 6
    tells 'socket failed: Too many open files'
    status=0
    "$lab" exec tcr prlimit --nofile=5 "$LAB_BUILD/tamvo-tcr" >"$LAB_DIR/edge.out" 2>&1 3>&- 4>&- || status=$?
    [ "$status" -eq 2 ] || fail "the central router's exit status $status"
    tells 'tamvo-tcr: signals: Too many open files'
fi

# A file that is no configuration gives the defaults, which lead nowhere here, and stays as it is.
head -c 100 config.json >truncated
: >empty
truncate -s 3G huge
{ printf '\377'; head -c 3000 /dev/urandom; } >binary  # no digit first: a number would be JSON
for config in truncated empty huge binary; do
    before=$(stat -c '%i %s %y' "$config")
    expect_failure 'connected tcr failed, tcr is not online' "$LAB_BUILD/tamvo" -i -c "$config"
    tells "config file not usable, defaults in force: $config"
    [ "$(stat -c '%i %s %y' "$config")" = "$before" ] || fail "$config was touched"
done
