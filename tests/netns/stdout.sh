#!/usr/bin/env bash
# Standard output that nobody reads holds nothing up, in both programs: closed, with a reader that
# is gone, and with one that has stopped. No ping is lost, heartbeats are answered, a SIGTERM ends
# them in time, and what was left out is counted. STALL_SECONDS=60 stops the reader for a minute.

# shellcheck source=tests/netns/support.sh
. "$(dirname "$0")/support.sh"

stall_seconds=${STALL_SECONDS:-10}

"$lab" up a b
"$lab" stop b # their hosts are there now; this test wants to be the programs' parent
"$lab" stop tcr
b=192.168.15.12
cd "$("$lab" dir b)"

# Edge a may still be about to set its interface up.
a_reaches_b() {
    timeout 20 sh -c "until '$lab' exec a ping -q -c 1 -W 1 $b >/dev/null 2>&1; do sleep 0.05; done" ||
        fail "a does not reach b"
}

# Runs both with their standard output on a pipe, whose reader is a program: COMMAND...
start_both() {
    rm -f "$LAB_DIR"/{tcr,edge}.read
    mkfifo "$LAB_DIR/tcr.pipe" "$LAB_DIR/edge.pipe"
    "$@" <"$LAB_DIR/tcr.pipe" >"$LAB_DIR/tcr.read" &
    tcr_reader=$!
    "$lab" exec tcr "$LAB_BUILD/tamvo-tcr" -b 10.77.0.254 >"$LAB_DIR/tcr.pipe" 2>"$LAB_DIR/tcr.out" &
    tcr=$!
    has_line "$LAB_DIR/tcr.read" 'listens on' || fail "the central router did not start"
    "$lab" stop a
    "$lab" launch a
    "$@" <"$LAB_DIR/edge.pipe" >"$LAB_DIR/edge.read" &
    edge_reader=$!
    "$lab" exec b "$LAB_BUILD/tamvo" -i -c config.json >"$LAB_DIR/edge.pipe" 2>"$LAB_DIR/edge.out" &
    edge=$!
    forwards "$edge" "$LAB_DIR/edge.read" || fail "b did not start"
    a_reaches_b
    rm "$LAB_DIR/tcr.pipe" "$LAB_DIR/edge.pipe"
}

# A command that has the edge print its map and changes nothing: PORT.
delete_nobody() {
    # shellcheck disable=SC2016
    "$lab" exec a bash -c 'printf "$0" >"/dev/udp/10.77.0.2/$1"' \
        '\x03\x0c\x00\x01\x00\x14\x00\x00\xff\xff\xff\xff\x00\x00\x00\x01\x00\x00\x00\x0e' "$1"
}

# Traffic in both directions for so many seconds while both programs print more than a pipe and
# they themselves hold.
under_traffic() {
    local printing status=0 port
    port=$("$lab" exec b ss -Hanup | sed -n 's/.*:\([0-9]*\) .*"tamvo".*/\1/p')
    (while sleep 0.01; do
        kill -USR1 "$edge" "$tcr" || exit
        delete_nobody "$port"
    done) &
    printing=$!
    "$lab" exec a ping -q -i 0.02 -c $((50 * $1)) -W 5 "$b" >"$LAB_DIR/ping.out" || status=$?
    kill "$printing"
    wait "$printing" || true
    [ "$status" -eq 0 ] || fail "no ping came back"
    rm -f tamvo.stat
    kill -USR1 "$edge"
    timeout 10 sh -c 'until [ -s tamvo.stat ]; do sleep 0.05; done' || fail "no status"
    if ! grep -q ' 0% packet loss' "$LAB_DIR/ping.out"; then
        cat tamvo.stat
        "$lab" stat a
        fail "pings were lost"
    fi
    grep -q '^heartbeats unanswered: [01]$' tamvo.stat || fail "heartbeats stayed unanswered"
}

end_both() {
    end "$edge" || fail "the edge ended with status $?"
    if "$lab" exec b ip link show Tamvo >/dev/null 2>&1; then fail "the interface is still there"; fi
    end "$tcr" || fail "the central router ended with status $?"
}

# Stopped, then gone on: what was printed meanwhile is there but for what was left out.
start_both cat
kill -STOP "$tcr_reader" "$edge_reader"
under_traffic "$stall_seconds"
grep '^lines left out' tamvo.stat
kill -CONT "$tcr_reader" "$edge_reader"
has_line "$LAB_DIR/edge.read" '^lines left out' || fail "the edge's reader got nothing more"
under_traffic 1
end_both
wait "$tcr_reader" "$edge_reader"
grep -q 'Signal 15 received' "$LAB_DIR/edge.read" || fail "the edge's last lines are missing"
grep -q 'SIGTERM, ending' "$LAB_DIR/tcr.read" || fail "the central router's last line is missing"

# Stopped until the end.
start_both cat
kill -STOP "$tcr_reader" "$edge_reader"
under_traffic 2
end_both
kill -KILL "$tcr_reader" "$edge_reader"
wait "$tcr_reader" "$edge_reader" || true

# Gone.
start_both cat
kill "$tcr_reader" "$edge_reader"
wait "$tcr_reader" "$edge_reader" || true
under_traffic 2
grep -q '^lines left out: [1-9]' tamvo.stat || fail "nothing was counted"
end_both

# Closed from the start: nothing that the programs open takes its place.
# shellcheck disable=SC2016
closed=(sh -c 'exec "$@" >&-' sh)
"$lab" exec tcr "${closed[@]}" "$LAB_BUILD/tamvo-tcr" -b 10.77.0.254 2>"$LAB_DIR/tcr.out" &
tcr=$!
"$lab" exec tcr timeout 10 sh -c 'until ss -Hlnu sport = 1922 | grep -q .; do sleep 0.05; done'
"$lab" exec b "${closed[@]}" "$LAB_BUILD/tamvo" -i -c config.json 2>"$LAB_DIR/edge.out" &
edge=$!
"$lab" stop a
"$lab" launch a
a_reaches_b
under_traffic 1
grep -q '^lines left out: [1-9]' tamvo.stat || fail "nothing was counted"
end_both
