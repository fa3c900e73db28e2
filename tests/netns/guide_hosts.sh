# What the tests of docs/guide.md share: its two hosts, "hub" and "branch", set up from source with its
# commands, and what runs its blocks. A fault is brought about, the commands of its branch are run
# where they are said to be, and have to print what the guide says; after the repair all is well again.
#
# Needs tests/netns/support.sh.
# shellcheck shell=bash disable=SC2154

# shellcheck source=tests/netns/machine.sh
. "$root/tests/netns/machine.sh"
need_machines
if [[ $(ldd "$LAB_BUILD/tamvo") == *libtsan* ]]; then
    echo "SKIPPED: what the guide says is tried with the other sanitizers"
    exit 77
fi
guide=$root/docs/guide.md
at_end() {
    local name
    for name in hub branch; do
        [ "$status" -eq 0 ] || [ -z "${machine_pid[$name]:-}" ] ||
            in_machine "$name" journalctl --no-pager -o cat 2>&1 | tail -n 30 || true
    done
    halt_all
}
# As root has it after a login.
on() { # MACHINE COMMAND...
    in_machine "$1" env PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin "${@:2}"
}
hub() { on hub "$@"; }
branch() { on branch "$@"; }

# The N-th block (the first) of some language that follows a line with that text.
block() { # LANGUAGE TEXT [N]
    grep -qF -e "$2" "$guide" || fail "the guide has no: $2"
    awk -v text="$2" -v wanted="${3:-1}" -v fence='```'"$1" '
        !found { found = index($0, text) && !/^- \[/ && !/^\|/; next }
        $0 == fence { inside = ++count == wanted; next }
        /^```/ { inside = 0 }
        inside' "$guide"
}
# What a line of the guide stands for: "..." for anything, and figures that differ from run to run.
pattern_of() {
    sed -E 's/[][\\.*^$+?(){}|]/\\&/g
        s/\\\.\\\.\\\./.*/g
        s#[0-9]+(\\\.[0-9]+)? (ms|s)\b#[0-9.]+ (ms|s|m|h)#g
        s/[0-9]+ packets/[0-9]+ packets/g
        s/^ +|^/[[:space:]]*/; s/ +/[[:space:]]+/g' <<<"$1"
}
# Runs one command of a block until it prints every line below it: MACHINE COMMAND LINE...
prints() {
    local machine=$1 command=$2 line out end=$((SECONDS + 30)) missing
    shift 2
    while :; do
        out=$(on "$machine" bash -c "cd / && $command" 2>&1) || true
        missing=
        for line in "$@"; do
            # The end of a column may be blank.
            grep -qE -e "^$(pattern_of "$line")[[:space:]]*$" <<<"$out" || missing=$line
        done
        [ -n "$missing" ] || return 0
        [ "$SECONDS" -lt "$end" ] ||
            fail "$machine# $command"$'\n'"does not print: $missing"$'\n'"but: $out"
        sleep 0.2
    done
}
# Holds what a block says against what its commands print: TEXT [N]
try() {
    local line machine='' command='' lines=() tried=0
    while IFS= read -r line || [ -n "$machine" ]; do
        if [[ $line =~ ^(hub|branch)([#$])\ (.*)$ || -z $line ]]; then
            if [ -n "$machine" ]; then
                prints "$machine" "$command" "${lines[@]}"
                tried=$((tried + 1))
            fi
            machine='' lines=()
            if [ -n "$line" ]; then machine=${BASH_REMATCH[1]} command=${BASH_REMATCH[3]}; fi
            # As anybody else than root.
            [ "${BASH_REMATCH[2]-}" != '$' ] ||
                command="setpriv --reuid=65534 --regid=65534 --clear-groups $command"
        else
            lines+=("$line")
        fi
    done < <(block console "$@")
    [ "$tried" -gt 0 ] || fail "the guide has no block: $*"
    echo "tried: $* ($tried)"
}

status_of() { on "$1" systemctl show -P StatusText "$2"; }
is_joined() { [[ $(status_of "$1" "${2:-tamvo}") =~ ^("joined as "|"central router back") ]]; }
joins() { wait_for "the edge of $1 does not join: $(status_of "$1" "${2:-tamvo}")" is_joined "$@"; }
# Writes something else into the file of an edge that is stopped meanwhile, or of the central router.
edge_file=/etc/tamvo/tamvo.json
hub_file=/etc/tamvo/tamvo-tcr.json
change() { # MACHINE SED-SCRIPT
    on "$1" systemctl stop tamvo
    on "$1" cp -p "$edge_file" /root/edge.json
    on "$1" sed -i "$2" "$edge_file"
    on "$1" systemctl start --no-block tamvo
}
value() { printf '%s' 's#\("'"$1"'":[[:space:]]*\)[^,]*#\1'"$2#"; } # a script that sets KEY VALUE
change_back() { # MACHINE
    on "$1" systemctl stop tamvo
    on "$1" sh -c "cat /root/edge.json >$edge_file"
    on "$1" systemctl start --no-block tamvo
    joins "$1"
}
change_hub() { # SED-SCRIPT [restart or reload]
    hub cp -p "$hub_file" /root/hub.json
    hub sed -i "$1" "$hub_file"
    hub systemctl "${2:-restart}" --no-block tamvo-tcr
}
hub_back() { # [restart or reload]
    hub sh -c "cat /root/hub.json >$hub_file"
    hub systemctl "${1:-restart}" --no-block tamvo-tcr
}
is_answered() { on "$1" ping -q -c 1 -W 1 "$2" >/dev/null 2>&1; }
answers() { wait_for "$2 does not answer $1" is_answered "$@"; }
all_is_well() {
    joins hub
    joins branch
    answers branch 192.168.15.5
    answers branch 192.168.15.1
}
rules() { # MACHINE RULE...: a firewall there, until no_rules
    local machine=$1 rule
    shift
    on "$machine" nft add table inet t
    on "$machine" nft 'add chain inet t i { type filter hook input priority 0; }'
    on "$machine" nft 'add chain inet t o { type filter hook output priority 0; }'
    for rule in "$@"; do on "$machine" nft add rule inet t "$rule"; done
}
no_rules() { on "$1" nft delete table inet t; }
reaches_not() { ! on "$1" ping -q -c 2 -i 0.2 -W 1 "${@:2}" >/dev/null || fail "$1 reaches ${*:2}"; }

# ---- Two hosts, from source ----

"$lab" up b >/dev/null
"$lab" stop b
"$lab" stop tcr
for address in 203.0.113.5 203.0.113.6; do "$lab" exec tcr ip addr add "$address/24" dev br0; done
"$lab" exec b ip addr add 203.0.113.9/24 dev up0
DESTDIR=$LAB_DIR/installed cmake --install "$LAB_BUILD" >/dev/null
boot hub tcr / "$LAB_DIR/installed"
boot branch b / "$LAB_DIR/installed"
for name in hub branch; do
    on "$name" hostname "$name"
    # Faults are waited for, so pauses are short.
    for unit in tamvo tamvo@ tamvo-tcr; do
        on "$name" mkdir -p "/run/systemd/system/$unit.service.d"
        printf '[Service]\nRestartSec=300ms\nEnvironment=ASAN_OPTIONS=detect_leaks=0\n' |
            on "$name" sh -c "cat >/run/systemd/system/$unit.service.d/test.conf"
    done
    while IFS= read -r line; do
        on "$name" sh -c "$line" || fail "$name: $line"
    done < <(block sh "**From source**" | grep -E '^systemd-sysusers|new-edge')
done
while IFS= read -r line; do hub sh -c "$line" || fail "hub: $line"; done < <(block sh "**From source**" 2)
hub sed -i 's/change me/secret/; s/"silent after": 60/"silent after": 5/' "$hub_file"
for name in hub branch; do
    on "$name" sed -i 's/change me/secret/; s/"heartbeat interval": 20/"heartbeat interval": 2/
        s/"rejoin after": 60/"rejoin after": 3/' "$edge_file"
done
hub sed -i 's/"ip": "0\.0\.0\.0"/"ip": "192.168.15.1"/' "$edge_file"
branch sed -i 's/"ip": "0\.0\.0\.0"/"ip": "192.168.15.2"/' "$edge_file"
hub tamvoctl check "$hub_file"
hub systemctl -q enable --now tamvo-tcr
for name in hub branch; do
    on "$name" tamvoctl check "$edge_file"
    on "$name" systemctl -q enable --now tamvo
    joins "$name"
done
