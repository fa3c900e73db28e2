# What the tests of sealed edges share: a lab whose central router wants sealed edges, with somebody
# who means harm on the road of each.
# shellcheck shell=bash

# shellcheck source=tests/netns/support.sh
. "$(dirname "${BASH_SOURCE[0]}")/support.sh"

export LAB_SEALED=${LAB_SEALED:-required} LAB_IMPAIR=${LAB_IMPAIR:-attack}

# Has the attacker on an edge's road do something: EDGE ORDER...
orders() { "$lab" attack "$@" >"$LAB_DIR/order.out" || fail "the attacker: $(cat "$LAB_DIR/order.out")"; }
config_of() { echo "$("$lab" dir "$1")/config.json"; }
# An edge writes its file anew, with other blanks. A value of the file: EDGE KEY [NEW].
value_of() { sed -nE "s/.*\"$2\":[[:space:]]*\"?([^\",}]*[^\",} ]).*/\1/p" "$(config_of "$1")"; }
sets() { sed -i -E "s/(\"$2\":[[:space:]]*\"?)[^\",} ]*/\1$3/" "$(config_of "$1")"; }
speaks_openly() { sed -i -zE 's/,[[:space:]]*"key":[[:space:]]*"sha256:[0-9a-f]*"//' "$(config_of "$1")"; }
# The central router's table has a fixed text for each edge but for when it was heard.
edges_of_table() { "$lab" table | sed -n 's/.*\(edge 0x.*\) heard .*/\1/p'; }
identifier_of() { "$lab" table | sed -n "s/.*edge \\(0x[0-9a-f]*\\) joined .*\"edge-$1\"/\\1/p"; }
logins() { grep -c 'logged in' "$(out_of tcr)" || true; }

# What an edge counts as refused at its port: that came from outside its channel, and records that
# it did not open.
refused_by() {
    "$lab" stat "$1" >"$LAB_DIR/stat.out"
    awk -F': ' '/^dropped, outside the sealed channel:|^dropped, sealed record not opened:/ { sum += $2 }
                END { print sum + 0 }' "$LAB_DIR/stat.out"
}
# The same of the central router.
refused_by_tcr() {
    "$LAB_BUILD/tamvoctl" -s "$("$lab" dir tcr)/control" -j status >"$LAB_DIR/status.out"
    "$lab" table >>"$LAB_DIR/status.out"
    grep -oE '"records not opened":[0-9]*|(malformed|foreign|wrong) [0-9]*' "$LAB_DIR/status.out" |
        awk -F'[: ]' '{ sum += $NF } END { print sum + 0 }'
}
# Waits until one of these has grown by so much, and fails when it does not, or grows by more:
# COUNTER BEFORE MORE [EDGE]
grows_by() {
    local now want=$(($2 + $3))
    for _ in $(seq 100); do
        now=$("$1" "${@:4}")
        [ "$now" -lt "$want" ] || break
        sleep 0.1
    done
    [ "$now" -eq "$want" ] || fail "$1 ${*:4} counts $((now - $2)), not $3"
}

# Captures what crosses an edge's road until it is ended: EDGE FILE.
captures() {
    "$lab" exec tcr tcpdump -Z root --immediate-mode -U -s 0 -i "to-$1" -w "$2" 2>"$LAB_DIR/tcpdump.out" &
    capture=$!
    has_line_of "$capture" "$LAB_DIR/tcpdump.out" 'listening on' || fail "tcpdump"
}
end_capture() {
    kill -INT "$capture"
    wait "$capture" || true
}

# Runs an edge that must not join; LAB_DIR/EDGE.out has what it printed.
cannot_join() {
    local status=0
    (cd "$("$lab" dir "$1")" && exec "$lab" exec "$1" timeout 60 "$LAB_BUILD/tamvo" -i -c config.json) \
        >"$LAB_DIR/$1.out" 2>&1 || status=$?
    [ "$status" -eq 1 ] || fail "edge $1, which must not join, ended with status $status"
}
