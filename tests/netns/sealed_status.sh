#!/usr/bin/env bash
# What sealed programs tell of their keys and channels, on the control socket, in what they print and
# in the counters; and what an edge says that knows another key than the central router's.

# shellcheck source=tests/netns/support.sh
. "$(dirname "$0")/support.sh"

ctl() { "$LAB_BUILD/tamvoctl" -s "$("$lab" dir "$1")/control" "${@:2}"; } # HOST COMMAND...
printed_key() { sed -n 's/.*key \(sha256:[0-9a-f]\{64\}\)$/\1/p' "$(out_of "$1")" | tail -1; }
shows() { # HOST PATTERN COMMAND...
    ctl "$1" "${@:3}" >"$LAB_DIR/shown.out" || fail "tamvoctl ${*:3} of $1 failed"
    grep -qE -e "$2" "$LAB_DIR/shown.out" || fail "tamvoctl ${*:3} of $1 shows no $2: $(cat "$LAB_DIR/shown.out")"
}
refuses() { # HOST PATTERN
    if ctl "$1" fingerprint >"$LAB_DIR/shown.out" 2>&1; then fail "$1 tells a key: $(cat "$LAB_DIR/shown.out")"; fi
    grep -q -e "$2" "$LAB_DIR/shown.out" || fail "$1 does not tell why: $(cat "$LAB_DIR/shown.out")"
}

# An edge in the open beside a sealed one.
LAB_SEALED=offered "$lab" up a
"$lab" start b
for host in a tcr; do
    [ "$(ctl "$host" fingerprint)" = "$(printed_key "$host")" ] || fail "$host tells another key than it printed"
done
key=$(ctl tcr fingerprint)
own=$(ctl a fingerprint)
for file in "$("$lab" dir a)/config.json.key" "$("$lab" dir tcr)/tcr.db.key"; do
    [ "$(stat -c %a "$file")" = 600 ] || fail "$file is not its owner's alone"
    # By another program than ours.
    [ "sha256:$(openssl pkey -in "$file" -pubout -outform DER | sha256sum | cut -d' ' -f1)" = "$([[ $file = */a/* ]] && echo "$own" || echo "$key")" ] ||
        fail "the key of $file has another fingerprint"
done
pings a "$("$lab" addr b)" 1472
shows a "^  sealed +[A-Z0-9-]+, central router $key, own key $own$" status
shows a "\"sealed\":\{\"key\":\"$own\",\"central_router_key\":\"$key\",\"cipher\":\"" --json status
shows a "^tamvo_edge_sealed\{.*central_router_key=\"$key\",cipher=\"[A-Z0-9-]+\"\} 1$" metrics
shows tcr "^  sealed +key $key, channels 1, strangers 0$" status
shows tcr '^  edge-a .* yes ' status
shows tcr '^  edge-b .* no ' status
shows tcr "\"sealed\":true,\"key\":\"$own\"" --json status
shows tcr '"sealed":false,"key":null' --json status
shows b '"sealed":null' --json status
refuses b '"key" in section "central router"'

# What reaches an edge's port from outside its channel is refused and counted, under its name. The
# messages are what would take edge b away, from a host that is not the central router, and a record.
port=$("$lab" port a)
send() { # shellcheck disable=SC2059
    printf "$1" | "$lab" exec b socat -u - "UDP:10.77.0.1:$port"
}
send '\x03\x0c\x00\x07\x00\x14\x00\x00\xff\xff\xff\xff\x00\x00\x00\x00\x00\x00\x00\x01'
send '\x17\xfe\xfd\x00\x01\x00\x00\x00\x00\x00\x09\x00\x02ab'
counted() { # NAME
    # shellcheck disable=SC2016
    timeout 10 sh -c 'until "$1" -s "$2" -j status | grep -q "\"$3\":1[,}]"; do sleep 0.05; done' sh \
        "$LAB_BUILD/tamvoctl" "$("$lab" dir a)/control" "$1" || fail "a did not count: $1"
}
counted 'outside the sealed channel'
counted 'sealed record not opened'
"$lab" stat a | grep -q '^dropped, outside the sealed channel: 1$' || fail "the printed counters differ"
pings a "$("$lab" addr b)" 56

# Another key than the one that is named is never spoken to, and the edge says which it met.
"$lab" stop a
config=$("$lab" dir a)/config.json
sed -i "s/$key/$own/" "$config"
"$lab" launch a
has_line "$(out_of a)" "no sealed channel with 10.77.0.254:1922: the other end's key is $key" ||
    fail "the edge does not tell which key it met"

# A damaged key is left as it is, and ends the start.
kill_and_damage() { # HOST, KEY FILE, STATUS, COMMAND...
    "$lab" stop "$1"
    echo damaged >"$2"
    local status=0
    (cd "$("$lab" dir "$1")" && exec "$lab" exec "$1" "${@:4}") >"$LAB_DIR/start.out" 2>&1 || status=$?
    [ "$status" = "$3" ] || fail "$1 with a damaged key ended with status $status"
    [ "$(cat "$2")" = damaged ] || fail "$1 replaced its damaged key"
}
kill_and_damage a "$config.key" 1 "$LAB_BUILD/tamvo" -i -c config.json
grep -q "key file .*config.json.key: is damaged" "$("$lab" dir a)/tamvo.log" || fail "tamvo.log does not name the key file"
"$lab" stop b
kill_and_damage tcr "$("$lab" dir tcr)/tcr.db.key" 2 "$LAB_BUILD/tamvo-tcr" -c tcr.json -b 10.77.0.254
grep -q "key file .*tcr.db.key: is damaged" "$LAB_DIR/start.out" || fail "the central router does not name the key file"

# In the open there is no key.
rm -f "$("$lab" dir tcr)/tcr.json"
LAB_TCR_ARGS='' "$lab" start tcr
refuses tcr '"seal" in its configuration'
