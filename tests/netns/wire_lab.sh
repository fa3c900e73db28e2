# What the tests over a bad wire share: joins that come through or fail as they should, and a pair of
# edges through everything that such a wire does.
# shellcheck shell=bash disable=SC2154

joined=0 failed=0
# Runs the edge of a host that is stopped: it joins and ends, or gives up with status 1: HOST.
# Counts which; edge.out has what it printed.
tries_to_join() {
    local edge status=0
    : >"$LAB_DIR/edge.out"
    (cd "$("$lab" dir "$1")" && exec "$lab" exec "$1" "$LAB_BUILD/tamvo" -i -c config.json) \
        >"$LAB_DIR/edge.out" 2>&1 &
    edge=$!
    if forwards "$edge" "$LAB_DIR/edge.out"; then
        joined=$((joined + 1))
        kill -TERM "$edge"
        wait "$edge" || fail "the exit status of an edge that joined"
        return
    fi
    failed=$((failed + 1))
    wait "$edge" || status=$?
    [ "$status" -eq 1 ] || fail "exit status $status of a join that failed"
}

# Loss, doubles and disorder cost a transfer from a to b nothing but time; what was corrupted or cut
# neither; and when the wires are good again everything passes.
survive_bad_wires() {
    local b edge size
    b=$("$lab" addr b)
    reaches a "$b" || fail "a does not reach b"
    for edge in a b; do
        "$lab" wire "$edge" --loss 2 --duplicate 2 --reorder 2 --delay 1 --jitter 1 --seed 4
    done
    transfers a b 500000
    for edge in a b; do "$lab" wire "$edge" --corrupt 20 --truncate 20 --seed 5; done
    # A time stamp that comes back corrupted can make ping wait for its last answer as good as for ever.
    "$lab" exec a timeout 20 ping -q -i 0.002 -c 1500 -s 1472 -W 1 "$b" >"$LAB_DIR/ping.out" || true
    for edge in a b; do "$lab" wire "$edge" --loss 0; done
    grep -q "corrupted [1-9]" "$("$lab" dir wire-a)/out" || fail "nothing was corrupted"
    reaches a "$b" || fail "a does not reach b over a wire that is good again"
    for size in $sizes; do pings a "$b" "$size"; done
}
