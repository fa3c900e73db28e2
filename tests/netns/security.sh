#!/usr/bin/env bash
# What docs/security.md says: anybody who reaches an edge's port can command it; a firewall rule
# closes that; an encrypted network below hides everything. A bystander is the host of edge c, on
# which no edge runs.

# shellcheck source=tests/netns/support.sh
. "$(dirname "$0")/support.sh"

"$lab" up a b c
"$lab" stop c
a=$("$lab" addr a)
b=$("$lab" addr b)
reaches a "$b" || fail "a does not reach b"

forge 77
has_line "$("$lab" dir b)/out" '^Del Router: .*seq=77,' || fail "b did not take the forged command"
if "$lab" exec b ping -q -c 1 -W 1 "$a" >/dev/null; then fail "b still reaches a"; fi

# An edge that minds where datagrams come from drops it and counts it, and nothing else.
config=$("$lab" dir b)/config.json
"$lab" stop b
sed -i 's/"recv timeout"/"strict source": true, "recv timeout"/' "$config"
"$lab" start b
forge 79
timeout 10 sh -c "until '$lab' stat b | grep -qx 'dropped, strict source: 1'; do sleep 0.1; done" ||
    fail "b did not count the forged command"
for size in $sizes; do
    pings a "$b" "$size"
    pings b "$a" "$size"
done
grep -q 'seq=79,' "$("$lab" dir b)/out" && fail "b took the forged command with a strict source"
"$lab" stat b >"$LAB_DIR/stat.out"
grep -qx 'dropped, strict source: 1' "$LAB_DIR/stat.out" || fail "b dropped what it should take"

"$lab" stop b
sed -i 's/"strict source":[[:space:]]*true/"strict source": false/' "$config"
"$lab" start b
"$lab" exec b nft -f - <<'TEXT'
table inet tamvo {
    chain input {
        type filter hook input priority filter; policy accept;
        iifname "up0" meta l4proto udp ip saddr != { 10.77.0.254, 10.77.0.1 } counter drop
    }
}
TEXT
forge 78
"$lab" exec b timeout 10 sh -c 'until nft list table inet tamvo | grep -q "packets 1 "; do
    sleep 0.05; done' || fail "the rule did not drop the forged command"
for size in $sizes; do pings a "$b" "$size"; done
grep -q 'seq=78,' "$("$lab" dir b)/out" && fail "b took the forged command behind the rule"

# The same three programs over an encrypted network, whose keys are exchanged by hand. Its control
# sockets lie in a folder that all hosts share: an interface name of its own for each.
tunnel() { echo "wg$$$1"; }
for host in a b tcr; do "$lab" stop "$host"; done
declare -A number=([a]=1 [b]=2 [tcr]=254) public
for host in a b tcr; do
    (umask 077 && wg genkey >"$LAB_DIR/$host.key")
    public[$host]=$(wg pubkey <"$LAB_DIR/$host.key")
    WG_PROCESS_FOREGROUND=1 "$lab" exec "$host" wireguard-go "$(tunnel "$host")" >"$LAB_DIR/wg-$host.out" 2>&1 &
    timeout 10 sh -c "until '$lab' exec $host ip link show $(tunnel "$host") >/dev/null 2>&1; do sleep 0.05; done"
done
for host in a b tcr; do
    args=()
    for peer in a b tcr; do
        [ "$peer" = "$host" ] || args+=(peer "${public[$peer]}" allowed-ips "10.99.0.${number[$peer]}/32"
            endpoint "10.77.0.${number[$peer]}:51820")
    done
    "$lab" exec "$host" wg set "$(tunnel "$host")" listen-port 51820 private-key "$LAB_DIR/$host.key" "${args[@]}"
    "$lab" exec "$host" ip addr add "10.99.0.${number[$host]}/24" dev "$(tunnel "$host")"
    "$lab" exec "$host" ip link set "$(tunnel "$host")" up
done
"$lab" exec b nft flush ruleset

"$lab" exec tcr tcpdump -Z root -U -i br0 -w "$LAB_DIR/wire" udp 2>"$LAB_DIR/tcpdump.out" &
capture=$!
has_line "$LAB_DIR/tcpdump.out" 'listening on' || fail "tcpdump"
"$lab" exec tcr "$LAB_BUILD/tamvo-tcr" -b 10.99.0.254 >"$LAB_DIR/tcr.out" 2>&1 &
has_line "$LAB_DIR/tcr.out" 'listens on' || fail "the central router"
cd "$LAB_DIR" # where the edges log
for edge in a b; do
    dir=$("$lab" dir "$edge")
    sed -i 's/"10\.77\.0\.254"/"10.99.0.254"/' "$dir/config.json"
    "$lab" exec "$edge" "$LAB_BUILD/tamvo" -i -c "$dir/config.json" >"$LAB_DIR/$edge.out" 2>&1 &
    has_line "$LAB_DIR/tcr.out" "\"edge-$edge\" joined" || fail "$edge did not join over the encrypted network"
done
reaches a "$b" || fail "a does not reach b over the encrypted network"
pings a "$b" 1472
kill -INT "$capture"
wait "$capture" || true
tcpdump -n -r "$LAB_DIR/wire" 2>/dev/null >"$LAB_DIR/wire.out"
[ "$(grep -c '\.51820 >' "$LAB_DIR/wire.out")" -gt 10 ] || fail "nothing encrypted was seen"
if grep -v '\.51820[ :]' "$LAB_DIR/wire.out"; then fail "something crossed in clear"; fi
