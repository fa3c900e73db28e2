# What the tests in network namespaces share. Each one gets a lab of its own; its programs come from
# LAB_BUILD, its logs are shown when it fails, and nothing of it is left behind.
# shellcheck shell=bash

set -euo pipefail

if [ "$(id -u)" -ne 0 ]; then
    echo "SKIPPED: network namespaces need root"
    exit 77
fi

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
LAB_NAME=$(basename "$0" .sh)-$$
LAB_DIR=$(mktemp -d)
export LAB_NAME LAB_DIR LAB_BUILD=${LAB_BUILD:-$root/build/release}

# A program started with "$lab" exec ... & is this shell's child: its pid is $!.
lab=$root/lab/lab

fail() {
    reason=$*
    exit 1
}

finish() {
    local status=$? out
    trap - EXIT
    for out in "$LAB_DIR"/*/out "$LAB_DIR"/*.out; do
        [ -e "$out" ] || continue
        if grep -qE 'Sanitizer|runtime error' "$out"; then status=1; fi
    done
    if [ "$status" -ne 0 ]; then tail -n 200 "$LAB_DIR"/*/{out,tamvo.log} "$LAB_DIR"/*.out 2>/dev/null || true; fi
    cd /
    at_end || status=1
    "$lab" down || status=1
    rm -rf "$LAB_DIR"
    [ "$status" -eq 0 ] || echo "FAILED: ${reason:-line $failed_line}"
    exit "$status"
}
at_end() { :; } # what a test takes back itself
failed_line=
trap 'failed_line=$LINENO' ERR
trap finish EXIT

# Gets one answer from an address within ten seconds, however many requests that takes.
reaches() { "$lab" exec "$1" ping -q -c 1 -w 10 "$2" >/dev/null; }

# Pings must pass without loss.
pings() {
    "$lab" exec "$1" ping -q -c 3 -i 0.05 -W 5 -s "$3" "$2" >"$LAB_DIR/ping.out" ||
        fail "$1 lost pings of $3 bytes to $2"
}

# So many bytes must arrive by TCP as they were sent; they stay in LAB_DIR/sent: FROM TO BYTES
transfers() {
    local receiver
    head -c "$3" /dev/urandom >"$LAB_DIR/sent"
    "$lab" exec "$2" timeout 60 socat -u TCP-LISTEN:8,reuseaddr "CREATE:$LAB_DIR/arrived" &
    receiver=$!
    "$lab" exec "$2" timeout 10 sh -c 'until ss -Hlnt sport = 8 | grep -q .; do sleep 0.05; done'
    "$lab" exec "$1" timeout 60 socat -u "FILE:$LAB_DIR/sent" "TCP:$("$lab" addr "$2"):8" || fail "the transfer"
    wait "$receiver" || fail "the receiver"
    cmp "$LAB_DIR/sent" "$LAB_DIR/arrived" || fail "the file came changed"
}

# Waits up to ten seconds, or $patience, until a file has a line that matches.
has_line() { timeout "${patience:-10}" grep -q -m1 -e "$2" <(tail -n +1 -F "$1" 2>/dev/null); }

# The same, and gives up when the process ends.
has_line_of() { timeout 10 grep -q -m1 -e "$3" <(tail --pid="$1" -s 0.05 -n +1 -F "$2" 2>/dev/null); }

# Waits until an edge forwards: PID OUTPUT; and, under ThreadSanitizer, until its main thread sleeps
# between two looks: now and then the sanitizer loses a signal that meets a thread at work.
forwards() {
    has_line_of "$1" "$2" 'txloop start' || return 1
    if [[ $(ldd "$LAB_BUILD/tamvo") != *libtsan* ]]; then return; fi
    timeout 10 sh -c "until grep -q nanosleep /proc/$1/wchan; do sleep 0.02; done"
}

# Ends a child of this shell; its exit status, or 124 when it takes longer than two seconds.
end() {
    local begin
    begin=$(date +%s%N)
    kill -TERM "$1"
    local status=0
    wait "$1" || status=$?
    [ $((($(date +%s%N) - begin) / 1000000)) -le 2000 ] || status=124
    return "$status"
}

# Runs the edge of a host as this shell's child, $edge, with the configuration of the current
# folder, until it forwards: HOST [COMMAND...], where COMMAND runs it.
starts() {
    edge_out=$LAB_DIR/$1.out
    : >"$edge_out"
    "$lab" exec "$1" "${@:2}" "$LAB_BUILD/tamvo" -i -c config.json >"$edge_out" 2>&1 &
    edge=$!
    forwards "$edge" "$edge_out" || fail "the edge of $1 did not start"
}
tells() { grep -qF -e "$1" "$edge_out" || fail "the edge did not tell: $1"; }
ends() {
    kill -TERM "$edge"
    wait "$edge" || fail "the edge ended with status $?"
    if "$lab" exec "$1" ip link show Tamvo >/dev/null 2>&1; then fail "the interface is still there"; fi
}

out_of() { echo "$("$lab" dir "$1")/out"; }
pid_of() { cat "$("$lab" dir "$1")/pid"; }

# Has the host of edge c tell edge b, as the central router would, that router 0 is gone, which is
# edge a: SEQUENCE-NUMBER below 256.
forge() {
    # shellcheck disable=SC2059
    printf "$(printf '\\x03\\x0c\\x00\\x%02x' "$1")"'\x00\x14\x00\x00\xff\xff\xff\xff\x00\x00\x00\x01\x00\x00\x00\x00' |
        "$lab" exec c socat -u - "UDP:10.77.0.2:$("$lab" port b)"
}

# What three seconds cost these processes, none of which has anything to do. That is far below one
# percent of a processor; a thread that runs in circles takes all that it can get.
are_idle() {
    local pid
    local -A spent
    for pid in "$@"; do spent[$pid]=$(awk '{ print $14 + $15 }' "/proc/$pid/stat"); done
    sleep 3
    for pid in "$@"; do
        [ $(($(awk '{ print $14 + $15 }' "/proc/$pid/stat") - spent[$pid])) -le 15 ] ||
            fail "process $pid is busy"
    done
}

# Sizes of data on both sides of where the tunnel splits (a message of 1400 bytes: 1356 bytes of
# ping data), and those that fill the interface's MTU.
# shellcheck disable=SC2034
sizes="56 1356 1357 1372 1373 1472"
