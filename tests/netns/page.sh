#!/usr/bin/env bash
# The central router's page in a lab: not there unless it is asked for; no request, however slow, and
# no number of them costs a packet; and a label that holds a script and an escape sequence is harmless
# wherever it is shown.

# shellcheck source=tests/netns/support.sh
. "$(dirname "$0")/support.sh"

clients=()
at_end() {
    [ "${#clients[@]}" -gt 0 ] || return 0
    kill "${clients[@]}" 2>/dev/null || true
    wait "${clients[@]}" 2>/dev/null || true
}

config=$LAB_DIR/tcr.json
writes_config() { # MORE KEYS
    cat >"$config" <<JSON
{ $1 "silent after": 5, "subnets": [
  { "name": "qwop", "password": "qwop", "gateway": "192.168.15.5", "netmask": "255.255.255.0" } ] }
JSON
}
listeners() { "$lab" exec tcr ss -Hltn; }
# shellcheck disable=SC2016
asks() {
    "$lab" exec tcr timeout 20 bash -c 'exec 3<>/dev/tcp/127.0.0.1/8080 &&
        printf "GET %s HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n" "$0" >&3 && cat <&3' "$1"
}
body() { asks "$1" | tr -d '\r' | sed '1,/^$/d'; }
ctl() { "$LAB_BUILD/tamvoctl" -s "$("$lab" dir "$1")/control" "${@:2}"; } # HOST COMMAND...

writes_config ""
export LAB_TCR_ARGS="-c $config -s $LAB_DIR/tcr.db"
"$lab" up a b
[ -z "$(listeners)" ] || fail "something listens that nobody asked for: $(listeners)"
"$lab" stop b
sed -i 's/edge-b/<script>alert(1)<\/script>\\u001b[31m/' "$("$lab" dir b)/config.json"
"$lab" launch b
has_line "$(out_of tcr)" '"<script>alert(1)</script>.\[31m" joined$' || fail "b did not join under that label"
b=$("$lab" addr b)

# An address that is none of the host's costs a line, and the page.
writes_config '"http": "192.0.2.1:8080",'
"$lab" stop tcr
"$lab" start tcr
[ "$(grep -c ' page not served: 192.0.2.1:8080: Cannot assign requested address$' "$(out_of tcr)")" -eq 1 ] ||
    fail "it does not say why there is no page"
reaches a "$b" || fail "a does not reach b"
writes_config '"http": "127.0.0.1:8080",'
"$lab" stop tcr
"$lab" start tcr
[ "$(listeners | awk '{ print $4 }')" = 127.0.0.1:8080 ] || fail "it listens at: $(listeners)"
[[ $(body /) == '<!doctype html>'* ]] || fail "no page: $(asks /)"

# Every edge is known again, and the label is shown as it is only where nobody obeys it.
shown='<script>alert(1)</script>\x1b[31m'
# shellcheck disable=SC2016
timeout 10 sh -c 'until "$0" -s "$1" status | grep -qF -e "$2"; do sleep 0.05; done' \
    "$LAB_BUILD/tamvoctl" "$("$lab" dir a)/control" "$shown" || fail "a does not tell of b: $(ctl a status)"
ctl tcr status | grep -qF -e "$shown" || fail "the central router does not tell of b: $(ctl tcr status)"
{
    ctl a status && ctl a -j status && ctl a metrics && ctl tcr status && ctl tcr -j status
    body /status.json && body /metrics && cat "$(out_of tcr)"
} >"$LAB_DIR/everything.out"
if grep -q $'\x1b' "$LAB_DIR/everything.out"; then fail "an escape sequence got through"; fi
ctl tcr -j status | grep -qF '"label":"<script>alert(1)</script>\u001b[31m"' || fail "the label is another one in JSON"
for metrics in "$(ctl a metrics)" "$(body /metrics)"; do
    grep -qF 'label="<script>alert(1)</script>\\x1b[31m"' <<<"$metrics" || fail "no such label in $metrics"
    ! command -v promtool >/dev/null || promtool check metrics <<<"$metrics" || fail "not as Prometheus has it"
done

# Clients that stall at every place of a request, others that ask without end, and pings meanwhile.
# shellcheck disable=SC2016
"$lab" exec tcr bash -c 'trap "" PIPE
    for _ in 1 2 3 4 5 6 7 8 9 10; do
        for part in "" GET "GET /status.json HTTP/1.1\r\nHost: " "GET /page.js HTTP/1.1\r\nX-Slow: "; do
            exec {client}<>/dev/tcp/127.0.0.1/8080 && printf "$part" >&"$client"
        done
    done
    echo "all stall"
    exec sleep 600' >"$LAB_DIR/stalled.out" 2>&1 &
clients+=("$!")
has_line "$LAB_DIR/stalled.out" 'all stall' || fail "no client stalls"
for path in /status.json /metrics /history.json; do
    # shellcheck disable=SC2016
    "$lab" exec tcr bash -c 'while exec 3<>/dev/tcp/127.0.0.1/8080; do
        printf "GET %s HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n" "$0" >&3 && cat <&3 >/dev/null
    done' "$path" >"$LAB_DIR/asking.out" 2>&1 &
    clients+=("$!")
done
for target in "$b" 192.168.15.5; do
    "$lab" exec a ping -q -c 200 -i 0.02 -W 5 "$target" >"$LAB_DIR/ping.out" || fail "no answer from $target"
    grep -q ' 0% packet loss' "$LAB_DIR/ping.out" || fail "packets were lost: $(cat "$LAB_DIR/ping.out")"
done
[[ $(body /status.json) == '{"schema":1,'* ]] || fail "the page is held up"
