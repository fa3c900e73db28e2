#!/usr/bin/env bash
# An edge that is started while its central router is away ends, as always, and is started again by
# whoever supervises it: it comes up when the central router does.

# shellcheck source=tests/netns/support.sh
. "$(dirname "$0")/support.sh"

"$lab" up a
"$lab" kill a
"$lab" kill tcr
cd "$("$lab" dir a)"
out=$LAB_DIR/supervised.out
: >"$out"

# A supervisor that gives up after a minute or so.
supervise() {
    local i
    for i in $(seq 100); do
        if "$lab" exec a "$LAB_BUILD/tamvo" -i -c config.json; then return 0; fi
        echo "start $i failed"
        sleep 0.1
    done
    return 1
}
supervise >"$out" 2>&1 &
supervisor=$!
has_line "$out" '^start 3 failed' || fail "it was not started again and again"
if grep -q 'txloop start' "$out"; then fail "it started without a central router"; fi

"$lab" start tcr
has_line "$out" 'txloop start' || fail "it did not come up with the central router"
reaches a 192.168.15.5 || fail "it does not reach the gateway"
ip netns pids "tamvo-$LAB_NAME-a" | while read -r pid; do
    if [ "$(cat "/proc/$pid/comm" 2>/dev/null)" = tamvo ]; then kill -TERM "$pid"; fi
done
wait "$supervisor" || fail "it did not end in order"
diff - tamvo.log <<<$'tamvo start\ntamvo exit' || fail "the log"
