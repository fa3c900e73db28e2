#!/usr/bin/env bash
# Two edges that are started for the first time in the same second differ in serial number and MAC
# address: with one serial number they would take turns in throwing each other off.

# shellcheck source=tests/netns/support.sh
. "$(dirname "$0")/support.sh"

"$lab" up a b
for host in a b tcr; do "$lab" stop "$host"; done

# The second lasts as long as the test.
libraries=(/usr/lib/*/faketime/libfaketime.so.1)
fake=(env "LD_PRELOAD=${LAB_FAKETIME:-${libraries[0]}}" "FAKETIME=2026-01-01 00:00:00"
    NO_FAKE_STAT=1 DONT_FAKE_MONOTONIC=1 ASAN_OPTIONS=verify_asan_link_order=0)
cd "$LAB_DIR"
for host in a b; do
    # No central router answers here, but the file is written before anybody is asked.
    "$lab" exec "$host" "${fake[@]}" "$LAB_BUILD/tamvo" -i -c "$host.json" \
        >"$host.out" 2>&1 || true
done
for key in 'serial number' mac; do
    a=$(grep "\"$key\"" a.json) || fail "no $key in the first file of a"
    b=$(grep "\"$key\"" b.json) || fail "no $key in the first file of b"
    [ "$a" != "$b" ] || fail "two edges with one $key: $a"
done
