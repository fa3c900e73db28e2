#!/usr/bin/env bash
# The page of the overlay in headless Chromium, against a central router with 48 simulated edges, and
# its metrics before promtool. Two labels hold a script and an escape sequence. Screenshots go to
# SCREENSHOTS, a folder of the build by default. Runs in a network namespace of its own, which has
# the loopback interface only; scripts/packages web installs what it needs.

set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
build=${LAB_BUILD:-$root/build/release}
readonly edges=48 url=http://127.0.0.1:8080/

for tool in chromium promtool python3 curl; do
    command -v "$tool" >/dev/null && continue
    echo "SKIPPED: there is no $tool, see scripts/packages web"
    exit 77
done
if [ "${1:-}" != inside ]; then
    unshare --net true 2>/dev/null || {
        echo "SKIPPED: network namespaces need root"
        exit 77
    }
    exec unshare --net "$0" inside
fi
ip link set lo up

folder=$(mktemp -d)
screenshots=${SCREENSHOTS:-$build/screenshots}
mkdir -p "$screenshots"
current="the start"
pids=()
finish() {
    local status=$?
    trap - EXIT
    for pid in "${pids[@]}"; do
        kill "$pid" 2>/dev/null || true
        wait "$pid" || status=1
    done
    if grep -qE 'Sanitizer|runtime error' "$folder"/*.out; then status=1; fi
    if [ "$status" -ne 0 ]; then
        tail -n 10 "$folder"/*.out
        echo "FAILED: $current"
    fi
    rm -rf "$folder"
    exit "$status"
}
trap finish EXIT

{
    echo '{ "silent after": 3, "http": "127.0.0.1:8080", "control": "'"$folder/control"'",'
    echo '  "state": "'"$folder/tcr.db"'", "subnets": ['
    for ((i = 0; i < edges / 16; ++i)); do
        echo "{ \"name\": \"lab-$i\", \"password\": \"pw\", \"gateway\": \"10.0.$i.1\","
        echo '  "netmask": "255.255.255.0" },'
    done
    # A name that an administrator would not give.
    echo '{ "name": "<img src=x onerror=owned=1>\u001b", "password": "pw", "gateway": "10.9.0.1",'
    echo '  "netmask": "255.255.255.0" }'
    echo '] }'
} >"$folder/tcr.json"
"$build/tamvo-tcr" -c "$folder/tcr.json" >"$folder/tcr.out" 2>&1 &
tcr=$!
pids+=("$tcr")
curl -sf --retry 60 --retry-delay 1 --retry-connrefused "$url" >/dev/null

current="the edges join"
"$build/tamvo-edges" "$edges" 127.0.0.1:1922 '<script>window.owned=1</script>' $'\e[31mred\e[0m' \
    $'\xe2\x80\xaegnp.elif' >"$folder/edges.out" 2>&1 &
pids=("$!" "${pids[@]}")
timeout 60 grep -q -m1 '^joined' <(tail -n +1 -F "$folder/edges.out" 2>/dev/null)

current="the metrics are as Prometheus wants them"
# They may be a second old.
for ((i = 0; i < 1000; ++i)); do
    curl -sf "${url}metrics" >"$folder/metrics"
    [ "$(grep -c '^tamvo_tcr_edge_up{' "$folder/metrics")" -lt "$edges" ] || break
done
[ "$i" -lt 1000 ]
promtool check metrics <"$folder/metrics"

current="the page in a browser"
timeout 150 python3 "$root/tests/web/overlay.py" "$url" "$folder/control" "$edges" "$screenshots" "$tcr"
