#!/usr/bin/env bash
# Five edges start and stop ten times each, all at once: nothing is left of any of them, neither in
# their hosts nor in the central router.

# shellcheck source=tests/netns/support.sh
. "$(dirname "$0")/support.sh"

"$lab" up a b c d e
edges="a b c d e"
for host in $edges; do "$lab" stop "$host"; done
descriptors() { find "/proc/$(pid_of tcr)/fd" -mindepth 1 | wc -l; }
before=$(descriptors)

ten_times() {
    cd "$("$lab" dir "$1")"
    find . -type f ! -name config.json -delete
    for _ in 1 2 3 4 5 6 7 8 9 10; do
        starts "$1"
        ends "$1"
        diff - tamvo.log <<<$'tamvo start\ntamvo exit' || fail "the log of $1"
        [ -z "$(ip netns pids "tamvo-$LAB_NAME-$1")" ] || fail "a process of $1 is left"
        [ "$(echo *)" = 'config.json tamvo.log' ] || fail "files of $1 are left: $(echo *)"
    done
}
children=()
for host in $edges; do
    (trap 'echo "${reason:-line $failed_line}"' EXIT; ten_times "$host"; trap - EXIT) &
    children+=($!)
done
for child in "${children[@]}"; do wait "$child" || fail "an edge did not come through"; done

[ "$(descriptors)" -eq "$before" ] || fail "the central router had $before descriptors, now $(descriptors)"
if "$lab" table | grep ' joined '; then fail "the central router believes that an edge is there"; fi
