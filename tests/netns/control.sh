#!/usr/bin/env bash
# tamvoctl with a running central router and its edges: every command, and what nobody may do to the
# sockets.

# shellcheck source=tests/netns/support.sh
. "$(dirname "$0")/support.sh"

socket_of() { echo "$("$lab" dir "$1")/control"; }
ctl() { "$LAB_BUILD/tamvoctl" -s "$(socket_of "$1")" "${@:2}"; } # HOST COMMAND...

# Asks again until the reply matches: HOST PATTERN, within ten seconds.
tells_soon() {
    # shellcheck disable=SC2016
    timeout 10 sh -c 'until "$1" -s "$2" -j status | grep -qE -e "$3"; do sleep 0.05; done' sh \
        "$LAB_BUILD/tamvoctl" "$(socket_of "$1")" "$2" 2>/dev/null ||
        fail "$1 does not tell $2: $(ctl "$1" -j status 2>&1)"
}
shows() { # HOST PATTERN COMMAND...
    ctl "$1" "${@:3}" >"$LAB_DIR/shown.out" || fail "tamvoctl ${*:3} failed"
    grep -qE -e "$2" "$LAB_DIR/shown.out" || fail "tamvoctl ${*:3} of $1 shows no $2: $(cat "$LAB_DIR/shown.out")"
}

cat >"$LAB_DIR/tcr.json" <<'JSON'
{ "subnets": [ { "name": "qwop", "password": "qwop", "gateway": "192.168.15.5", "netmask": "255.255.255.0" },
               { "name": "spare", "password": "x", "gateway": "10.1.0.1", "netmask": "255.255.0.0" } ] }
JSON
LAB_SSTP='"rejoin after": 3' LAB_TCR_ARGS="-c $LAB_DIR/tcr.json" "$lab" up a b
a=$("$lab" addr a)
b=$("$lab" addr b)
for host in a b tcr; do
    tells_soon "$host" '"schema":1'
    [ "$(stat -c %a "$(socket_of "$host")")" = 600 ] || fail "the socket of $host is not its owner's alone"
done

# status: what is known, and what twenty pings carried.
tells_soon a '"label":"edge-b"'
reaches a "$b" || fail "a does not reach b"
"$lab" exec a ping -q -c 20 -i 0.02 -W 5 "$b" >/dev/null || fail "a lost pings to b"
"$lab" exec a ping -q -c 1 -W 0.1 192.168.15.99 >/dev/null || true
tells_soon a '"state":"on"'
tells_soon a '"unknown destination":1'
tells_soon a '"central_router":[^}]*"round_trip_ms":[0-9]'
shows a "^edge-a: tamvo 0\.1\.5, up " status
shows a "^  address +$a/24, gateway 192\.168\.15\.5, subnet qwop$" status
shows a '^  identifier +0x0000000[01], serial 1001$' status
shows a '^  interface +Tamvo, MTU 1500$' status
shows a '^  central router +10\.77\.0\.254:1922, answers, round trip [0-9.]+ ms, last answer ' status
shows a "^  edge-b +$b +10\.77\.0\.2:[0-9]+ +on +[0-9.]+ ms +2[0-9] +[0-9.]+ KiB +[0-9.]+ K?i?B/s +2[0-9] " status
shows a '^  1  unknown destination$' status
shows tcr '^Subnet 0 "qwop", gateway 192\.168\.15\.5/24, 2 of 16 slots taken$' status
shows tcr "^  edge-a +1001  joined .* 10\.77\.0\.1:[0-9]+ +$a +[0-9.]+ ms +2[0-9] +[0-9.]+ KiB" status
shows tcr '^Subnet 1 "spare", gateway 10\.1\.0\.1/16, 0 of 16 slots taken$' status
shows tcr "\"lease\":\"$b\"" status --json

# The drops have the names of the printed status.
"$lab" stat a | sed -n 's/^dropped, \(.*\): [0-9]*$/\1/p' | sort >"$LAB_DIR/printed"
ctl a -j status | grep -o '"drops":{[^}]*}' | grep -o '"[^"]*":[0-9]' | sed 's/^"\(.*\)":.$/\1/' | sort >"$LAB_DIR/told"
[ -s "$LAB_DIR/told" ] || fail "no drops are told"
diff "$LAB_DIR/printed" "$LAB_DIR/told" || fail "the drops have other names"

# watch, metrics, subnet list, check.
ctl b watch -n 2 >"$LAB_DIR/watch.out" || fail "watch failed"
[ "$(grep -c '^edge-b: tamvo' "$LAB_DIR/watch.out")" -eq 2 ] || fail "watch did not show two frames"
shows a '^tamvo_edge_peer_received_packets_total\{interface="Tamvo",identifier="[01]",serial="1002",label="edge-b"\} 2[0-9]$' metrics
shows a '^tamvo_edge_dropped_total\{interface="Tamvo",reason="unknown destination"\} 1$' metrics
shows tcr '^ +0 +qwop +192\.168\.15\.5 +255\.255\.255\.0 +2 +0 +0 +0 +16  all$' subnet list
"$LAB_BUILD/tamvoctl" check "$LAB_DIR/tcr.json" | grep -qF 'in order (central router)' || fail "a good file has faults"
"$LAB_BUILD/tamvoctl" check "$("$lab" dir a)/config.json" | grep -qF 'in order (edge)' || fail "a good file has faults"
sed 's/"lan":/"lna":/' "$("$lab" dir a)/config.json" >"$LAB_DIR/bad.json"
if "$LAB_BUILD/tamvoctl" check "$LAB_DIR/bad.json" >"$LAB_DIR/check.out"; then fail "a bad file has no fault"; fi
line=$(grep -n '"lna"' "$LAB_DIR/bad.json" | cut -d: -f1)
grep -qxF "$LAB_DIR/bad.json:$line: unknown key \"lna\"" "$LAB_DIR/check.out" || fail "it said: $(cat "$LAB_DIR/check.out")"

# Commands of the other program are refused.
if ctl a subnet list 2>"$LAB_DIR/refused.out"; then fail "an edge listed subnets"; fi
grep -qxF 'tamvoctl: an edge has no such command' "$LAB_DIR/refused.out" || fail "no reason was given"
if ctl tcr edge remove 77 2>"$LAB_DIR/refused.out"; then fail "an edge was removed that is not there"; fi
grep -qxF 'tamvoctl: no edge has that serial number' "$LAB_DIR/refused.out" || fail "no reason was given"

# Whoever stalls or talks nonsense holds nobody up.
for host in a tcr; do
    for _ in 1 2 3 4 5 6 7 8 9 10; do
        socat -u "UNIX-CONNECT:$(socket_of "$host")" - >/dev/null &
        stalled+=("$!")
    done
    head -c 200000 /dev/urandom | socat -u - "UNIX-CONNECT:$(socket_of "$host")" 2>/dev/null || true
    [[ $(echo '{"command":"status"' | socat - "UNIX-CONNECT:$(socket_of "$host")") == '{"error":'* ]] ||
        fail "nonsense was not refused by $host"
    ctl "$host" status >/dev/null || fail "$host is held up"
done
kill "${stalled[@]}" 2>/dev/null || true
wait "${stalled[@]}" 2>/dev/null || true
pings a "$b" 56

# edge remove: the others forget the edge at once; it comes back by itself.
shows tcr '^removed 0x0000000[01] "edge-a" of subnet "qwop"$' edge remove 1001
grep -q 'edge 0x0000000[01] "edge-a" removed by an operator' "$(out_of tcr)" || fail "it was not logged"
tells_soon b '"peers":\[\]'
if "$lab" exec b ping -q -c 1 -W 0.5 "$a" >/dev/null; then fail "b still reaches a"; fi
tells_soon a '"state":"silent"'
tells_soon a '"joined again":1'
tells_soon b '"label":"edge-a"'
reaches b "$("$lab" addr a)" || fail "b does not reach a any more"

# A second program in the same folder goes on without, and says so in one line.
(cd "$("$lab" dir tcr)" && exec "$lab" exec tcr "$LAB_BUILD/tamvo-tcr" -p 1999) >"$LAB_DIR/second.out" 2>&1 &
second=$!
has_line "$LAB_DIR/second.out" 'listens on' || fail "it does not start"
[ "$(grep -c 'control socket not opened: control: in use by another program$' "$LAB_DIR/second.out")" -eq 1 ] ||
    fail "it does not say that it has no socket"
end "$second" || fail "it ended with status $?"
ctl tcr status >/dev/null || fail "it took the socket away"

# A killed program's socket is replaced, an ended one's is gone.
"$lab" kill b
[ -S "$(socket_of b)" ] || fail "the killed edge took its socket along"
if ctl b status 2>"$LAB_DIR/refused.out"; then fail "a killed edge answered"; fi
grep -qxF "tamvoctl: $(socket_of b): Connection refused, no program listens there" "$LAB_DIR/refused.out" ||
    fail "it said: $(cat "$LAB_DIR/refused.out")"
"$lab" start b
tells_soon b '"address":'
"$lab" stop b
if [ -e "$(socket_of b)" ]; then fail "the socket is still there"; fi
"$lab" stop tcr
if [ -e "$(socket_of tcr)" ]; then fail "the socket is still there"; fi
