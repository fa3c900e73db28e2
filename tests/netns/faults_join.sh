#!/usr/bin/env bash
# The central router no longer answers from some step of the join on, and meanwhile a SIGTERM comes:
# the edge ends by itself, leaves nothing behind, and is the same edge the next time.

# shellcheck source=tests/netns/support.sh
. "$(dirname "$0")/support.sh"

"$lab" up a b
"$lab" stop b
cd "$("$lab" dir b)"
sed -i 's/\("recv timeout":[^0-9]*\)200/\1500/' config.json
out=$LAB_DIR/b.out

# Sub types: echo, login, address, subnet, routers, devices of a router, then the two registrations.
# Without the topology an edge joins all the same, and then it is asked to end.
for step in 2:1 3:1 5:1 6:1 14:0 18:0 10:1 16:1; do
    sub_type=${step%:*} expected=${step#*:}
    "$lab" exec tcr nft "
        table inet join { chain input { type filter hook input priority 0;
            ip saddr 10.77.0.2 udp dport 1922 @th,64,8 3 @th,72,8 $sub_type counter drop; }; }"
    "$lab" exec b "$LAB_BUILD/tamvo" -i -c config.json >"$out" 2>&1 &
    edge=$!
    "$lab" exec tcr timeout 10 sh -c 'until nft list table inet join | grep -q "packets [1-9]"; do
        sleep 0.02; done' || fail "step $sub_type was not reached"
    kill -TERM "$edge"
    status=0
    wait "$edge" || status=$?
    [ "$status" -eq "$expected" ] || fail "exit status $status at step $sub_type"
    grep -q 'Signal 15 received, preparing to exit' "$out" || fail "no word of the signal at $sub_type"
    line=$'connected tcr failed, tcr is not online\ntamvo core start failed'
    [ "$status" -eq 1 ] || line='tamvo exit'
    diff - tamvo.log <<<$'tamvo start\n'"$line" || fail "the log at step $sub_type"
    [ -z "$(ip netns pids "tamvo-$LAB_NAME-b")" ] || fail "a process is left of step $sub_type"
    if "$lab" exec b ip link show Tamvo >/dev/null 2>&1; then fail "the interface is still there"; fi
    "$lab" exec tcr nft flush ruleset
done

"$lab" start b
[ "$("$lab" table | grep -c ' joined ')" -eq 2 ] || fail "not two edges"
[ "$("$lab" addr b)" = 192.168.15.12 ] || fail "b has another address"
reaches a 192.168.15.12 || fail "a does not reach b"
