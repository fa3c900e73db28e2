#!/usr/bin/env bash
# A central router with two addresses answers each edge from the one that the edge speaks to, also
# what it sends unasked, and after a restart.

# shellcheck source=tests/netns/support.sh
. "$(dirname "$0")/support.sh"

# c speaks to the second address, and hears nothing of the first, which the system would choose.
export LAB_TCR_ARGS="-b 0.0.0.0 -s $LAB_DIR/tcr.db"
"$lab" up a
"$lab" exec tcr ip addr add 10.77.0.253/24 dev br0
"$lab" launch c
"$lab" stop c || true
deaf_to_the_first() {
    "$lab" exec c nft -f - <<'TEXT'
flush ruleset
table inet tamvo {
    chain input {
        type filter hook input priority 0;
        ip saddr 10.77.0.254 udp sport 1922 counter drop
    }
}
TEXT
}
deaf_to_the_first
sed -i 's/"10\.77\.0\.254"/"10.77.0.253"/' "$("$lab" dir c)/config.json"
"$lab" start c
deaf_to_the_first # and count anew: the session of before was at the first address
for edge in a c; do "$lab" exec tcr bridge link set dev "to-$edge" isolated on; done
a=$("$lab" addr a)
reaches c "$a" || fail "c does not reach a over the central router"
pings c 192.168.15.5 56

# What is announced to it leaves from there too, also by one that only knows it from its state.
"$lab" kill tcr
"$lab" start tcr
"$lab" start b
b=$("$lab" addr b)
reaches b "$("$lab" addr c)" || fail "b does not reach c"
pings c "$b" 56
"$lab" exec c nft list table inet tamvo >"$LAB_DIR/nft.out"
grep -q 'packets 0 ' "$LAB_DIR/nft.out" ||
    fail "something for c left from the other address"
