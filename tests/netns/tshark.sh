# What the tests of the dissector share: a capture of a lab's links, and tshark to look at it, with
# packaging/wireshark/tamvo.lua where its user would have copied it.
# shellcheck shell=bash

command -v tshark >/dev/null || {
    echo "SKIPPED: there is no tshark"
    exit 77
}
# shellcheck source=tests/netns/support.sh
. "$(dirname "${BASH_SOURCE[0]}")/support.sh"
capture=$LAB_DIR/capture

mkdir -p "$LAB_DIR/home/.local/lib/wireshark/plugins"
cp "$root/packaging/wireshark/tamvo.lua" "$LAB_DIR/home/.local/lib/wireshark/plugins"
tshark_options=()
# Frames of the capture, looked at twice as Wireshark does, so that a request knows its reply.
show() {
    HOME=$LAB_DIR/home XDG_CONFIG_HOME=$LAB_DIR/home tshark -2 -n -r "$capture" "${tshark_options[@]}" "$@" \
        2>"$LAB_DIR/tshark.err" ||
        fail "tshark: $(cat "$LAB_DIR/tshark.err")"
}
fields() { # FILTER FIELD...
    local names=() field
    for field in "${@:2}"; do names+=(-e "$field"); done
    show -Y "$1" -T fields -E occurrence=f "${names[@]}"
}
are() { # WHAT WANTED GOT
    [ "$2" = "$3" ] || fail "$1: $3 instead of $2"
}
has_no_lua_error() {
    if show -V | grep -a -A3 'Lua Error' >"$LAB_DIR/lua.out"; then fail "$(cat "$LAB_DIR/lua.out")"; fi
}

# Captures the bridge of the lab; ended once all that was sent before has been captured.
captures_all() {
    "$lab" exec tcr tcpdump -Z root --immediate-mode -U -B 32768 -i br0 -w "$capture" udp 2>"$LAB_DIR/tcpdump.out" &
    tcpdump=$!
    has_line "$LAB_DIR/tcpdump.out" 'listening on' || fail "tcpdump"
}
end_capture() {
    echo "the end of it" | "$lab" exec a socat - UDP:10.77.0.254:9 || true
    timeout 10 sh -c "until grep -aqs 'the end of it' '$capture'; do sleep 0.05; done" || fail "the end"
    kill -INT "$tcpdump"
    wait "$tcpdump" || true
}
