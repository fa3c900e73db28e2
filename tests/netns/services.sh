# The units at work, for tests: as the build tree installs them, each program on a machine of its own,
# with the edges' files as a package makes them. The password is a word that must be seen nowhere.
# shellcheck shell=bash disable=SC2154

# shellcheck source=tests/netns/support.sh
. "$(dirname "$0")/support.sh"
# shellcheck source=tests/netns/machine.sh
. "$root/tests/netns/machine.sh"
need_machines
at_end() {
    local name out
    for name in router edge; do
        out=$LAB_DIR/machine-$name.out
        [ -z "${machine_pid[$name]:-}" ] || in_machine "$name" journalctl --no-pager >>"$out" 2>&1 || true
        # The programs' standard error is in the journal.
        if grep -qE 'Sanitizer|runtime error' "$out"; then
            reason="a fault on machine $name: $(grep -m1 -E 'Sanitizer|runtime error' "$out")"
            failed=1
        fi
        if [ "$status" -ne 0 ] || [ -n "$failed" ]; then tail -n 60 "$out"; fi
    done
    halt_all && [ -z "$failed" ]
}
failed=
canary=secret-canary-7f3a

"$lab" up b
"$lab" stop b
"$lab" stop tcr
DESTDIR=$LAB_DIR/installed cmake --install "$LAB_BUILD" >/dev/null
prefix=$(sed -n 's/^CMAKE_INSTALL_PREFIX:PATH=//p' "$LAB_BUILD/CMakeCache.txt")
boot router tcr / "$LAB_DIR/installed"
boot edge b / "$LAB_DIR/installed"

edge() { in_machine edge "$@"; }
router() { in_machine router "$@"; }
edge_tells() { wait_for "the edge's journal has no: $1" sh_grep edge tamvo "$1"; }
router_tells() { wait_for "the central router's journal has no: $1" sh_grep router tamvo-tcr "$1"; }
sh_grep() { journal "$1" "$2" | grep -E -e "$3" >/dev/null; }
count_of() { journal "$1" "$2" | grep -cE -e "$3" || true; }
property() { edge systemctl show --value -p "$1" "$2"; }
is_joined() { [[ $(property StatusText "$1") == "joined as "* ]]; }
gateway() { edge ping -q -c 1 -w 10 -I "$1" 192.168.15.5 >/dev/null || fail "no way through $1"; }

for machine in router edge; do
    in_machine "$machine" systemd-sysusers 2>/dev/null
    for unit in tamvo tamvo@ tamvo-tcr; do
        in_machine "$machine" mkdir -p "/run/systemd/system/$unit.service.d"
        # Pauses are short here. What sanitizers look for at the end they look for elsewhere: it takes
        # more rights than a unit gives.
        printf '[Service]\nRestartSec=200ms\nEnvironment=ASAN_OPTIONS=detect_leaks=0\n' |
            in_machine "$machine" sh -c "cat >/run/systemd/system/$unit.service.d/test.conf"
    done
    in_machine "$machine" systemctl daemon-reload
done

# The files: of the edges as the package makes them, with what they need to know of this network.
edge "$prefix/share/tamvo/new-edge"
edge "$prefix/share/tamvo/new-edge" office
if edge "$prefix/share/tamvo/new-edge" office 2>/dev/null; then fail "a file was made twice"; fi
for file in tamvo.json edges/office.json; do
    [ "$(edge stat -c '%U %G %a' "/etc/tamvo/$file")" = 'tamvo tamvo 600' ] || fail "the rights of $file"
    edge sed -i "s/\"office\"/\"qwop\"/; s/change me/$canary/; s/203.0.113.5/10.77.0.254/
        s/\"label\": \"[^\"]*\"/\"label\": \"\\\\u001b[31m<script>${file##*/}\"/; s/\"heartbeat interval\": 20/\"heartbeat interval\": 2/" \
        "/etc/tamvo/$file"
done
drawn() { edge grep -E '"(serial number|mac)":' "/etc/tamvo/$1"; }
[ "$(drawn tamvo.json)" != "$(drawn edges/office.json)" ] || fail "two edges with the same numbers"
if drawn tamvo.json | grep -qE '1001|03:E9'; then fail "an edge with the example's numbers"; fi
router mkdir -p /etc/tamvo
# Of another owner, as an administrator's copy is: it becomes the program's own.
router sh -c "sed -e '/\"edges\":/d; /\"control\":/d; s/change me/$canary/; s/\"office\"/\"qwop\"/' \
    $prefix/share/tamvo-tcr/tamvo-tcr.json >/etc/tamvo/tamvo-tcr.json; chmod 600 /etc/tamvo/tamvo-tcr.json"

# Nothing that was printed or is secret went to the journal or into a working folder.
nothing_secret_is_told() {
    local machine
    for machine in router edge; do
        in_machine "$machine" journalctl --no-pager -o export -a >"$LAB_DIR/$machine.journal"
        if grep -qaF "$canary" "$LAB_DIR/$machine.journal"; then fail "a secret is in the journal of $machine"; fi
        if grep -qaF -e 'System config' -e 'Login ACK' "$LAB_DIR/$machine.journal"; then fail "a print-out is there"; fi
        if LC_ALL=C grep -qaP '\x1b' "$LAB_DIR/$machine.journal"; then fail "an escape sequence is there"; fi
        if in_machine "$machine" grep -rqF "$canary" /var/lib/tamvo /var/lib/tamvo-tcr 2>/dev/null; then
            fail "a secret is in a working folder of $machine"
        fi
    done
}
