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
    if [ "$status" -ne 0 ]; then tail -n 200 "$LAB_DIR"/*/out "$LAB_DIR"/*.out 2>/dev/null || true; fi
    "$lab" down || status=1
    rm -rf "$LAB_DIR"
    [ "$status" -eq 0 ] || echo "FAILED: ${reason:-line $failed_line}"
    exit "$status"
}
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

# Waits up to ten seconds until a file has a line that matches.
has_line() { timeout 10 grep -q -m1 -e "$2" <(tail -n +1 -F "$1" 2>/dev/null); }

# The same, and gives up when the process ends.
has_line_of() { timeout 10 grep -q -m1 -e "$3" <(tail --pid="$1" -s 0.05 -n +1 -F "$2" 2>/dev/null); }

# Sizes of data on both sides of where the tunnel splits (a message of 1400 bytes: 1356 bytes of
# ping data), and those that fill the interface's MTU.
# shellcheck disable=SC2034
sizes="56 1356 1357 1372 1373 1472"
