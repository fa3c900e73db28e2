#!/usr/bin/env bash
# A second implementation of the sealed tunnel, openssl and a few lines of Python, joins, pings the
# gateway and goes on in a second channel. It does not get in with a wrong password, without the key
# that is asked of it, or to a central router with another key.

# shellcheck source=tests/netns/support.sh
. "$(dirname "$0")/support.sh"

here=$root/tests/netns
joins() { "$lab" exec b python3 "$here/sealed_join.py" 10.77.0.254:1922 "$@" >"$LAB_DIR/second.out" 2>&1; }
told() { grep -qF -e "$1" "$LAB_DIR/second.out" || fail "no \"$1\": $(cat "$LAB_DIR/second.out")"; }
stays_out() { # REASON ARGUMENT...
    if joins "${@:2}"; then fail "it got in"; fi
    told "$1"
}

LAB_SEALED=required "$lab" up a
"$lab" stop a
# A host without an edge: its interface alone is used.
LAB_SEALED='' "$lab" launch b
"$lab" kill b
key=$("$LAB_BUILD/tamvoctl" -s "$("$lab" dir tcr)/control" fingerprint)

joins "$key" qwop || fail "the second implementation did not join: $(cat "$LAB_DIR/second.out")"
told 'joined, pinged'
told 'went on in a second channel, logged out'
tcr_out=$(out_of tcr)
grep -q ' edge 0x0000000[01] "second" joined' "$tcr_out" || fail "the central router knows nothing of it"
grep -q ' edge 0x0000000[01] .*sealed anew from 10\.77\.0\.2:' "$tcr_out" || fail "it did not go on in its second channel"
has_line "$tcr_out" ' edge 0x0000000[01] logged out' || fail "it did not log out"

stays_out 'login refused, error 1002' "$key" wrong
stays_out 'the central router has another key' "sha256:$(printf '%064d' 0)" qwop

# An edge that has to show its key.
openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -subj /CN=any \
    -keyout "$LAB_DIR/second.key" -out "$LAB_DIR/second.pem" 2>/dev/null
own=sha256:$(openssl pkey -in "$LAB_DIR/second.key" -pubout -outform DER | sha256sum | cut -d' ' -f1)
sed -i "s/\"netmask\"/\"edges\": [ { \"serial\": 1009, \"key\": \"$own\" } ], &/" "$("$lab" dir tcr)/tcr.json"
kill -HUP "$(pid_of tcr)"
has_line "$tcr_out" 'SIGHUP: .* read again' || fail "the configuration was not read again: $(tail -2 "$tcr_out")"
stays_out 'login refused, error 1002' "$key" qwop
joins "$key" qwop "$LAB_DIR/second.key" "$LAB_DIR/second.pem" || fail "it did not join with its key: $(cat "$LAB_DIR/second.out")"
