# How scripts/bench measures a system: each function takes its name and records figures. Expects
# bench/systems.sh, what scripts/bench sets, a sink for UDP and an iperf3 server in b.
# shellcheck shell=bash disable=SC2154

readonly udp_port=9 patience=30 attempts=3 tcp_segment=1448 loaded_ping_seconds=0.004
clock_ticks=$(getconf CLK_TCK)

record() { # SYSTEM, MEASURE, VALUE
    echo "$links $round $1 $2 $3" >>"$samples"
}

# Of two numbers, with a scale: A / B * SCALE.
divide() {
    awk -v a="$1" -v b="$2" -v scale="${3:-1}" 'BEGIN { if (b == 0) exit 1; print a / b * scale }'
}

# Ticks that the processes of a system have used.
ticks_of() { # SYSTEM
    local pid all=0
    for pid in ${pids[$1]}; do
        all=$((all + $(awk '{ print $14 + $15 }' "/proc/$pid/stat")))
    done
    echo "$all"
}
seconds_since() { divide "$(($(ticks_of "$1") - $2))" "$clock_ticks"; } # SYSTEM, TICKS

# A client may come before the server has done with the former one.
iperf() { # SYSTEM, OPTION...
    local attempt
    for ((attempt = 0; attempt < attempts; ++attempt)); do
        timeout "$patience" "$lab" exec a iperf3 -J -c "${address[$1]}" "${@:2}" \
            >"$LAB_DIR/iperf.json" && return
        sleep 0.5
    done
    jq -r .error "$LAB_DIR/iperf.json" >&2
    return 1
}
of_iperf() { jq "$1" "$LAB_DIR/iperf.json"; }

measure_tcp1() {
    local before
    before=$(ticks_of "$1")
    iperf "$1" -t "$tcp_seconds"
    record "$1" tcp1.cpu \
        "$(divide "$(seconds_since "$1" "$before")" "$(of_iperf .end.sum_received.bytes)" 1e9)"
    record "$1" tcp1 "$(divide "$(of_iperf .end.sum_received.bits_per_second)" 1e6)"
}
measure_tcp4() {
    iperf "$1" -t "$tcp_seconds" -P 4
    record "$1" tcp4 "$(divide "$(of_iperf .end.sum_received.bits_per_second)" 1e6)"
}
measure_both() {
    iperf "$1" -t "$tcp_seconds" --bidir
    local there back
    there=$(of_iperf .end.sum_received.bits_per_second)
    back=$(of_iperf .end.sum_received_bidir_reverse.bits_per_second)
    record "$1" both "$(awk -v a="$there" -v b="$back" 'BEGIN { print (a + b) / 1e6 }')"
}

load() { # MODE, SYSTEM, SIZE, SECONDS, [RATE]
    timeout "$patience" "$lab" exec a \
        "$bench/bench-load" "$1" "${address[$2]}" "$udp_port" "${@:3}"
}
measure_udp() { # SYSTEM, SIZE
    local before received rate
    before=$(ticks_of "$1")
    read -r _ _ _ received _ rate < <(load flood "$1" "$2" "$udp_seconds")
    record "$1" "udp$2.cpu" "$(divide "$(seconds_since "$1" "$before")" "$received" 1e6)"
    record "$1" "udp$2.flood" "$(divide "$rate" 1000)"
    read -r _ rate < <(load search "$1" "$2" "$search_seconds")
    record "$1" "udp$2.lossfree" "$(divide "$rate" 1000)"
}
measure_udp64() { measure_udp "$1" 64; }
measure_udp1372() { measure_udp "$1" 1372; }

# Median and 99th of the times that a ping printed, in microseconds.
time_at() { awk -v at="$1" 'NR == at { print $1 * 1000 }' "$LAB_DIR/times"; } # RANK
record_pings() { # SYSTEM, MEASURE
    local count
    sed -n 's/.* time=\([0-9.]*\) ms$/\1/p' "$LAB_DIR/pings" | sort -n >"$LAB_DIR/times"
    count=$(wc -l <"$LAB_DIR/times")
    [ "$count" -gt 0 ]
    record "$1" "$2" "$(time_at $(((count + 1) / 2)))"
    record "$1" "${2}99" "$(time_at $(((count * 99 + 99) / 100)))"
}
pings() { # SYSTEM, COUNT, INTERVAL
    timeout "$patience" "$lab" exec a ping -c "$2" -i "$3" -W 2 "${address[$1]}" >"$LAB_DIR/pings"
}
measure_idle() {
    pings "$1" "$idle_pings" 0.002
    record_pings "$1" rtt.idle
}
# Starts a stream and waits for its first second: its process is in stream.
start_stream() { # SYSTEM
    local attempt
    for ((attempt = 0; attempt < attempts; ++attempt)); do
        timeout "$patience" "$lab" exec a iperf3 -c "${address[$1]}" -t "$patience" --forceflush \
            >"$LAB_DIR/stream" 2>/dev/null &
        stream=$!
        while kill -0 "$stream" 2>/dev/null; do
            if grep -q '1.00.*sec' "$LAB_DIR/stream"; then return; fi
            sleep 0.02
        done
    done
    return 1
}
# The stream lasts longer than the pings, and is cut when they are through.
measure_loaded() {
    local stream
    start_stream "$1"
    pings "$1" "$loaded_pings" "$loaded_ping_seconds" || true # lost ones are no fault here
    kill "$stream"
    wait "$stream" || true
    record_pings "$1" rtt.load
}

# The most that an edge had resident since forget_memory.
forget_memory() { # SYSTEM
    local pid
    for pid in ${pids[$1]}; do echo 5 >"/proc/$pid/clear_refs"; done
}
measure_memory() {
    local edges
    read -r _ edges <<<"${pids[$1]}"
    # shellcheck disable=SC2086
    set -- "$1" $edges
    record "$1" memory "$(cat "/proc/$2/status" "/proc/$3/status" |
        awk '/^VmHWM/ && $2 > most { most = $2 } END { print most / 1024 }')"
}

# System calls of all processes of a system while a command runs: SYSTEM, COMMAND...
calls_during() {
    local with
    # shellcheck disable=SC2086
    with=$(echo ${pids[$1]} | tr ' ' ,)
    # The counter lies in a file system that is mounted for this alone.
    # shellcheck disable=SC2016
    unshare -m sh -c 'mountpoint -q /sys/kernel/tracing ||
            mount -t tracefs none /sys/kernel/tracing; exec "$@"' sh \
        perf stat -x , -o "$LAB_DIR/calls" -e raw_syscalls:sys_enter -p "$with" -- "${@:2}" \
        >"$LAB_DIR/during"
    awk -F , '/sys_enter/ { print $1 }' "$LAB_DIR/calls"
}
# Where the kernel or its rights give no such counter the figures are missing.
measure_calls() {
    local calls received
    calls=$(calls_during "$1" timeout "$patience" "$lab" exec a \
        "$bench/bench-load" flood "${address[$1]}" "$udp_port" 64 "$udp_seconds") || return 0
    read -r _ _ _ received _ <"$LAB_DIR/during"
    [ "$calls" -gt 0 ] 2>/dev/null || return 0
    record "$1" calls.udp64 "$(divide "$calls" "$received")"
    calls=$(calls_during "$1" timeout "$patience" "$lab" exec a \
        iperf3 -J -c "${address[$1]}" -t "$tcp_seconds") || return 0
    received=$(jq .end.sum_received.bytes "$LAB_DIR/during")
    record "$1" calls.tcp1 "$(divide "$calls" "$received" "$tcp_segment")"
}
