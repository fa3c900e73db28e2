#!/usr/bin/env bash
# Floods of commands, of lone fragments and of requests from a bystander: meanwhile an edge joins and
# reaches the flooded one, heartbeats are answered, and right after it everything passes.

# shellcheck source=tests/netns/support.sh
. "$(dirname "$0")/support.sh"

"$lab" up a b d
"$lab" stop d
a=$("$lab" addr a)
b=$("$lab" addr b)
reaches a "$b" || fail "a does not reach b"
edge="10.77.0.1 $("$lab" port a)"
router="10.77.0.254 1922"

# The flood lasts until it is ended.
flooded() { # kind, address and port, an edge that joins
    local flooding address port out=$LAB_DIR/flood-$1.out
    read -r address port <<<"$2"
    "$lab" exec d "$LAB_BUILD/tamvo-flood" --seconds 100 "$1" "$address" "$port" >"$out" &
    flooding=$!
    has_line_of "$flooding" "$out" '^floods' || fail "no flood of $1"
    "$lab" start "$3" || fail "$3 did not join during a flood of $1"
    reaches "$3" "$a" || fail "$3 did not reach a during a flood of $1"
    kill "$flooding" || fail "the flood of $1 ended too soon"
    wait "$flooding" || true
    grep -q 'sstp drop off' "$("$lab" dir a)/out" && fail "heartbeats stayed unanswered"
    reaches b "$a" || fail "b does not reach a after a flood of $1"
}

flooded commands "$edge" c
flooded fragments "$edge" e
flooded requests "$router" f
"$lab" stat a >"$LAB_DIR/stat.out" || fail "no status"
for line in 'fragments waiting: 1024' 'dropped, fragment without partner: [1-9]'; do
    grep -q "^$line" "$LAB_DIR/stat.out" || fail "the status lacks \"$line\""
done
"$lab" table >"$LAB_DIR/table.out"
grep -q 'logins refused [1-9]' "$LAB_DIR/table.out" || fail "no request of the flood was refused"
grep -q 'timed out' "$("$lab" dir tcr)/out" && fail "an edge was given up"
for size in $sizes; do pings a "$b" "$size"; done
for host in a b c e f; do "$lab" stop "$host" || fail "$host did not end"; done
