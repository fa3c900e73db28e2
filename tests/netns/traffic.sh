#!/usr/bin/env bash
# Ping, UDP and TCP cross the lab at every size, in both directions, and the gateway answers.

# shellcheck source=tests/netns/support.sh
. "$(dirname "$0")/support.sh"

"$lab" up a b
a=$("$lab" addr a)
b=$("$lab" addr b)
gateway=192.168.15.5
reaches a "$b" || fail "a does not reach b"
reaches b "$a" || fail "b does not reach a"

for size in $sizes; do
    pings a "$b" "$size"
    pings b "$a" "$size"
    pings a "$gateway" "$size"
done

# An echo service of each kind in b; what comes back must be what went.
"$lab" exec b socat UDP-RECVFROM:7,fork EXEC:cat >"$LAB_DIR/udp.out" 2>&1 &
"$lab" exec b socat TCP-LISTEN:7,fork,reuseaddr EXEC:cat >"$LAB_DIR/tcp.out" 2>&1 &
"$lab" exec b sh -c 'until ss -Hlnu sport = 7 | grep -q . && ss -Hlnt sport = 7 | grep -q .; do
    sleep 0.05; done'
for size in $sizes; do
    head -c "$size" /dev/urandom >"$LAB_DIR/sent"
    for service in udp tcp; do
        # shellcheck disable=SC2016
        "$lab" exec a timeout 10 bash -c 'exec 3<>"$0" && cat "$1" >&3 && head -c "$2" <&3' \
            "/dev/$service/$b/7" "$LAB_DIR/sent" "$size" >"$LAB_DIR/back" ||
            fail "$service with $size bytes"
        cmp "$LAB_DIR/sent" "$LAB_DIR/back" || fail "$service with $size bytes came back changed"
    done
done

head -c 5000000 /dev/urandom >"$LAB_DIR/sent"
"$lab" exec b socat -u TCP-LISTEN:8,reuseaddr "CREATE:$LAB_DIR/back" &
receiver=$!
"$lab" exec b sh -c 'until ss -Hlnt sport = 8 | grep -q .; do sleep 0.05; done'
"$lab" exec a socat -u "FILE:$LAB_DIR/sent" "TCP:$b:8"
wait "$receiver"
cmp "$LAB_DIR/sent" "$LAB_DIR/back" || fail "the file came changed"
