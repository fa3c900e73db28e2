#!/usr/bin/env bash
# Two edges on one host, the second with an interface of its own and an MTU with which no packet is
# split: both keys act, also when the interface is made again, and stay in the file. A name or an MTU
# that is none ends the start with one line and status 1, before anything is touched.

# shellcheck source=tests/netns/support.sh
. "$(dirname "$0")/support.sh"

"$lab" up a b
a=$("$lab" addr a)
mkdir "$LAB_DIR/office"
cd "$LAB_DIR/office"
with_lan() { # KEYS: the configuration of b with another serial number, and these in section "lan"
    sed "s/\"lan\":[[:space:]]*{/&$1,/; s/\"serial number\":[[:space:]]*[-0-9]*/\"serial number\": 77/" \
        "$("$lab" dir b)/config.json"
}

for keys in '"interface":"abc"' '"interface":"tam vo"' '"interface":5' '"mtu":575' '"mtu":1384.5'; do
    with_lan "$keys" >config.json
    cp config.json before.json
    status=0
    "$lab" exec b "$LAB_BUILD/tamvo" -i -c config.json >"$LAB_DIR/refused.out" 2>&1 || status=$?
    [ "$status" -eq 1 ] || fail "status $status instead of 1 with $keys"
    # A tool of the tests may have added something behind it.
    [ "$(grep -c . "$LAB_DIR/refused.out")" -le 3 ] || fail "more than one line for $keys"
    key=${keys%%:*}
    grep -q "^config file: key $key in section \"lan\" of the wrong kind, .*: config.json\$" \
        "$LAB_DIR/refused.out" || fail "no line for $keys"
    printf 'tamvo start\nconfig file refused, key %s in section "lan"\ntamvo core start failed\n' "$key" |
        diff - tamvo.log || fail "the log for $keys"
    cmp before.json config.json || fail "the file with $keys was touched"
done

with_lan '"interface":"office_1-main","mtu":1384' >config.json
starts b
tells 'TUN/TAP device office_1-main opened'
tells 'tap device mtu = 1384'
has_mtu() { "$lab" exec b timeout 10 sh -c "until ip link show $1 2>/dev/null | grep -q 'UP.* mtu $2 '; do sleep 0.02; done"; }
has_mtu office_1-main 1384 || fail "the interface has another MTU"
has_mtu Tamvo 1500 || fail "the first edge's interface has another MTU"
b=$("$lab" addr b)
second=$("$lab" exec b ip -4 -o addr show office_1-main | sed 's/.*inet \([0-9.]*\).*/\1/')
reaches a "$b" || fail "a does not reach the first edge"
reaches a "$second" || fail "a does not reach the second edge"

# Of the largest packet that it carries the message is the largest that is not split: 1384 + 16. The
# host sends it through this interface, not through the other edge's.
"$lab" exec b ip route replace "$a" dev office_1-main src "$second"
"$lab" exec b ping -q -c 1 -W 10 -M "do" -s 1356 -I office_1-main "$a" >"$LAB_DIR/ping.out" ||
    fail "the largest packet is lost"
if "$lab" exec b ping -q -c 1 -W 1 -M "do" -s 1357 -I office_1-main "$a" >"$LAB_DIR/ping.out" 2>&1; then
    fail "a larger one passed"
fi

# Deleted it is made again, with its MTU.
"$lab" exec b ip link delete office_1-main
has_line "$edge_out" '^net adapter office_1-main is back' || fail "the interface is not made again"
has_mtu office_1-main 1384 || fail "it lost its MTU"

kill -TERM "$edge"
wait "$edge" || fail "the edge ended with status $?"
if "$lab" exec b ip link show office_1-main >/dev/null 2>&1; then fail "the interface is still there"; fi
grep -q '"interface":[[:space:]]*"office_1-main"' config.json || fail "the name is not in the file"
grep -q '"mtu":[[:space:]]*1384$' config.json || fail "the MTU is not in the file"
reaches a "$b" || fail "the first edge went with the second"
