# What the scripts share: the check for root, packages, builds, a lab and its clean-up. A script
# starts with
#
#   set -euo pipefail
#   cd "$(dirname "$0")/.."
#   . scripts/lib.sh
#
# shellcheck shell=bash

me=scripts/$(basename "$0")
lab=lab/lab
# A lab that the caller has up is none of a script's business.
unset LAB_DIR
# What is being done. A script that fails says it: "FAILED: ..." on standard error.
current=

step() { current=$*; }

# The command line is wrong: one line, status 2.
wrong_use() {
    echo "$me: $*" >&2
    exit 2
}

need_root() {
    [ "$(id -u)" -eq 0 ] && return
    echo "$me makes network namespaces: run it as root" >&2
    exit 1
}

# Build trees: PRESET [TARGET...], everything that the preset builds without one.
configure() { cmake --preset "$1" >/dev/null; }
build() {
    configure "$1"
    cmake --build --preset "$1" -- --quiet "${@:2}"
}

# Installs what is missing and builds the programs as they run in the field: PACKAGE-GROUP...
build_programs() {
    need_root
    scripts/packages build "$@"
    build release
}

# A lab of its own for this script, its folders in $LAB_DIR until the script ends; "$lab" up is the
# caller's. Edges and central router are those of build_programs.
make_lab() { # NAME
    LAB_DIR=$(mktemp -d -t "tamvo-$1.XXXXXX")
    export LAB_DIR LAB_NAME=$1 LAB_BUILD=$PWD/build/release
    trap finish EXIT
}

# The end of every script with a lab, status 0 or 1: the hosts go with all that runs in them, so do
# their folders, but for those of a failure when keep_logs is set. A script may trap it before it has
# a lab.
keep_logs=
finish() {
    local status=$? logs=
    trap - EXIT
    [ "$status" -eq 0 ] || logs=$keep_logs
    # What runs in the background goes first: it would report that its children were killed.
    jobs -p | xargs -r kill 2>/dev/null || true
    if [ -n "${LAB_DIR:-}" ]; then LAB_KEEP=$logs "$lab" down || status=1; fi
    if [ -z "$logs" ]; then rm -rf "${LAB_DIR:-}"; fi
    [ "$status" -ne 0 ] || exit 0
    [ -z "$current" ] || printf '\nFAILED: %s\n' "$current" >&2
    [ -z "$logs" ] || [ -z "${LAB_DIR:-}" ] ||
        echo "Logs: $LAB_DIR (out, tamvo.log and config.json of each host)" >&2
    exit 1
}

now_ms() { echo $((${EPOCHREALTIME/./} / 1000)); }

# Of a host of the lab: the process, a line of its /proc status as VmRSS, a figure of an edge's
# counters.
pid_of() { cat "$("$lab" dir "$1")/pid"; }
memory() { awk -v name="$2:" '$1 == name { print $2 }' "/proc/$(pid_of "$1")/status"; }
figure() { "$lab" stat "$1" | sed -n "s/^$2: //p"; }

# Waits until somebody in the host listens on the TCP port.
wait_listener() { # HOST, PORT
    "$lab" exec "$1" timeout 10 sh -c "until ss -Hlnt sport = $2 | grep -q .; do sleep 0.02; done"
}
