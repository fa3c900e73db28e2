#!/usr/bin/env bash
# A central router that is killed and started again, an edge that is, and two edges with one serial
# number: each prints it, and ends or comes back as before.

# shellcheck source=tests/netns/support.sh
. "$(dirname "$0")/support.sh"

"$lab" up a b c
"$lab" stop c
a=$("$lab" addr a) b=$("$lab" addr b) c=192.168.15.13
identifier() { "$lab" table | sed -n "s/.*edge \(0x[0-9a-f]*\) joined.*\"edge-$1\".*/\1/p"; }

# Edges whose central router is gone say so, and wait. A new one knows nobody: they are started
# again, which they survive in order.
"$lab" kill tcr
for edge in a b; do
    patience=30 has_line "$(out_of "$edge")" 'sstp drop off, count = 6' || fail "$edge did not notice"
done
are_idle "$(pid_of a)" "$(pid_of b)"
"$lab" start tcr
for edge in a b; do
    "$lab" stop "$edge" || fail "$edge did not end"
    diff - "$("$lab" dir "$edge")/tamvo.log" <<<$'tamvo start\ntamvo exit' || fail "the log of $edge"
    "$lab" start "$edge"
done
[ "$("$lab" addr a) $("$lab" addr b)" = "$a $b" ] || fail "other addresses than before"
reaches a "$b" || fail "a does not reach b through the new central router"

# A second edge with b's serial number: the one that came last is the edge of that number. The other
# one gets its line, and its end changes nothing.
number=$(identifier b)
sed -i 's/1003/1002/' "$("$lab" dir c)/config.json"
: >"$(out_of b)"
"$lab" start c
has_line "$(out_of tcr)" "edge $number session moved to 10.77.0.3:.*, was at 10.77.0.2:" || fail "no line says so"
[ "$(identifier b)$(identifier c)" = "$number" ] || fail "not one edge of that number"

# Killed and started at once, before anybody misses it.
number=$(identifier a)
"$lab" kill a
"$lab" start a
[ "$("$lab" addr a)" = "$a" ] || fail "a has another address after it was killed"
[ "$(identifier a)" = "$number" ] || fail "a has another identifier after it was killed"
reaches a "$c" || fail "a does not reach c after it was killed"
reaches c "$a" || fail "c does not reach a after it was killed"

patience=30 has_line "$(out_of b)" 'sstp drop off, count = 6' || fail "b did not notice"
"$lab" stop b || fail "b did not end"
reaches a "$c" || fail "the end of b took c away"
