#!/usr/bin/env bash
# The packages of scripts/package, which calls this, as a user has them: on a Debian 12 they install
# without enabling or starting anything, run, are upgraded over the version before, removed,
# installed again and purged, and then nothing is left of them. Edge and central router each have a
# machine of their own.
#
# PACKAGES_BEFORE=FOLDER has the version before; without it the same programs count as such, under a
# lower revision.

# shellcheck source=tests/netns/support.sh
. "$(dirname "$0")/../netns/support.sh"
# shellcheck source=tests/netns/machine.sh
. "$root/tests/netns/machine.sh"
# shellcheck source=tests/packaging/debian.sh
. "$root/tests/packaging/debian.sh"
need_machines

headline() { printf '== %s\n' "$*"; }
at_end() {
    local name
    for name in router edge; do
        [ "$status" -eq 0 ] || [ -z "${machine_pid[$name]:-}" ] ||
            in_machine "$name" journalctl --no-pager 2>&1 | tail -n 40 || true
    done
    halt_all
}
LAB_BUILD=$root/build/package
edge() { in_machine edge "$@"; }
router() { in_machine router "$@"; }

headline "the packages, and those before"
now=("$root"/build/package/tamvo{,-tcr}_*.deb)
[ "$(dpkg-deb -f "${now[0]}" Package) ${#now[@]}" = 'tamvo 2' ] || fail "scripts/package has made no packages"
mkdir -p "$LAB_DIR"/packages/srv/{before,now}
cp "${now[@]}" "$LAB_DIR/packages/srv/now"
before=${PACKAGES_BEFORE:-}
if [ -z "$before" ]; then
    before=$LAB_DIR/before
    (cd "$root/build/package" && umask 022 && cpack -G DEB -D CPACK_DEBIAN_PACKAGE_RELEASE=1~before -B "$before") \
        >"$LAB_DIR/cpack.out" 2>&1 || fail "cpack: $(tail -n 5 "$LAB_DIR/cpack.out")"
fi
cp "$before"/tamvo{,-tcr}_*.deb "$LAB_DIR/packages/srv/before"
version_of() { dpkg-deb -f "$LAB_DIR/packages/srv/$1"/tamvo_*.deb Version; }
version=$(version_of now)
dpkg --compare-versions "$(version_of before)" lt "$version" || fail "$(version_of before) is not before $version"

headline "a Debian 12"
base=$LAB_DIR/debian
mkdir "$base"
# What the packages say that they need, and what this test itself uses there. Nothing runs yet.
depends=$(for package in "${now[@]}"; do dpkg-deb -f "$package" Depends; done | paste -sd,)
make_debian "$base" "$depends, systemd, systemd-sysv, iproute2, iputils-ping"

"$lab" up b >/dev/null
"$lab" stop b
"$lab" stop tcr
boot router tcr "$base" "$LAB_DIR/packages"
boot edge b "$base" "$LAB_DIR/packages"

# Everything that a package might leave, but for logs, the package manager's own and what it keeps.
traces() {
    in_machine "$1" sh -c 'find / -xdev -path /proc -prune -o -path /sys -prune -o -path /dev -prune -o \
        -path /var/log -prune -o -path /var/lib/dpkg -prune -o -path /var/cache -prune -o \
        -path /srv -prune -o -path "/etc/*-" -prune -o -path "/etc/.pwd.lock" -prune -o -printf "%p %M %u %g\n"
        find /run -xdev -name "*tamvo*"; cat /etc/passwd /etc/group; systemctl list-unit-files --no-legend' | sort
}
for name in router edge; do traces "$name" >"$LAB_DIR/$name.before"; done
dpkg_on() { # NAME ARGUMENTS, whose patterns are that machine's; a warning is as bad as an error
    in_machine "$1" sh -c "dpkg $2" >"$LAB_DIR/dpkg.log" 2>&1 || fail "dpkg $2: $(cat "$LAB_DIR/dpkg.log")"
    if grep -iqE 'warning|error|failed' "$LAB_DIR/dpkg.log"; then fail "dpkg $2: $(cat "$LAB_DIR/dpkg.log")"; fi
}
state() { in_machine "$1" systemctl show --value -p ActiveState "$2"; }
is_joined() { [[ $(edge systemctl show --value -p StatusText "$1") == "joined as "* ]]; }
gateway() { edge ping -q -c 1 -w 10 -I "$1" 192.168.15.5 >/dev/null || fail "no way through $1"; }
sums() { edge sha256sum /etc/tamvo/tamvo.json /etc/tamvo/edges/office.json; }
mode() { in_machine "$1" stat -c '%U %a' "$2"; }

headline "installed where a file is already: it stays"
edge sh -c 'mkdir /etc/tamvo && echo {} >/etc/tamvo/tamvo.json'
dpkg_on edge '-i /srv/before/tamvo_*.deb'
[ "$(edge cat /etc/tamvo/tamvo.json)" = '{}' ] || fail "another file is there"
[ "$(edge stat -c '%G %a' /etc/tamvo)" = 'tamvo 775' ] || fail "the edge may not replace its file"
dpkg_on edge '-P tamvo'

headline "installed: nothing is enabled or started, and each host has numbers of its own"
dpkg_on edge '-i /srv/before/tamvo_*.deb'
dpkg_on router '-i /srv/before/tamvo-tcr_*.deb /srv/before/tamvo_*.deb'
for name in router edge; do
    for unit in $(in_machine "$name" sh -c 'cd /usr/lib/systemd/system && ls tamvo*'); do
        [ "$(in_machine "$name" systemctl is-enabled "$unit" || true)" = disabled ] || fail "$unit is enabled"
        [[ $unit == *@* ]] || [ "$(state "$name" "$unit")" = inactive ] || fail "$unit was started"
    done
done
[ "$(mode edge /etc/tamvo/tamvo.json)" = 'tamvo 600' ] || fail "the rights of the edge's file"
[ "$(mode router /etc/tamvo/tamvo-tcr.json)" = 'tamvo-tcr 600' ] || fail "the rights of the central router's file"
edge grep -q '"strict source": true' /etc/tamvo/tamvo.json || fail "its source is not strict"
numbers() { in_machine "$1" grep -E '"(serial number|mac)":' /etc/tamvo/tamvo.json; }
[ "$(numbers edge)" != "$(numbers router)" ] || fail "two hosts have the same numbers"
if numbers edge | grep -qE '1001|03:E9'; then fail "the example's numbers are in force"; fi
for file in tamvo-tcr tamvo; do
    router tamvoctl check "/etc/tamvo/$file.json" >"$LAB_DIR/check.out" || fail "the first file: $(cat "$LAB_DIR/check.out")"
done

headline "runs, with the address and a password in the files"
edge /usr/share/tamvo/new-edge office
edge sed -i 's/203.0.113.5/10.77.0.254/; s/change me/changed/' /etc/tamvo/tamvo.json /etc/tamvo/edges/office.json
router sed -i 's/change me/changed/' /etc/tamvo/tamvo-tcr.json
router systemctl -q enable --now tamvo-tcr
edge systemctl -q enable --now tamvo tamvo@office
wait_for "the edge does not join" is_joined tamvo
wait_for "the further edge does not join" is_joined tamvo@office
gateway Tamvo
gateway tamvo-office
edge tamvoctl status | grep -w Tamvo >/dev/null || fail "tamvoctl tells nothing of the edge"
router tamvoctl subnet list | grep -w office >/dev/null || fail "tamvoctl tells nothing of the central router"

headline "upgraded: what runs goes on with the new version, the files stay"
edge systemctl stop tamvo
edge sed -i 's/"label":.*/"label": "mine",/' /etc/tamvo/tamvo.json
kept=$(edge sha256sum /etc/tamvo/tamvo.json)
office=$(edge systemctl show --value -p MainPID tamvo@office)
central=$(router systemctl show --value -p MainPID tamvo-tcr)
central_file=$(router sha256sum /etc/tamvo/tamvo-tcr.json)
dpkg_on edge '-i /srv/now/tamvo_*.deb'
dpkg_on router '-i /srv/now/tamvo-tcr_*.deb /srv/now/tamvo_*.deb'
# shellcheck disable=SC2016
[ "$(edge dpkg-query -W -f '${Version}' tamvo)" = "$version" ] || fail "the version after the upgrade"
[ "$(edge sha256sum /etc/tamvo/tamvo.json)" = "$kept" ] || fail "the upgrade touched the edge's file"
[ "$(router sha256sum /etc/tamvo/tamvo-tcr.json)" = "$central_file" ] || fail "the upgrade touched the central router's file"
[ "$(state edge tamvo)" = inactive ] || fail "the upgrade started an edge that was stopped"
[ "$(edge systemctl show --value -p MainPID tamvo@office)" != "$office" ] || fail "an edge goes on with the old program"
[ "$(router systemctl show --value -p MainPID tamvo-tcr)" != "$central" ] || fail "the central router goes on with the old program"
wait_for "the further edge does not join again" is_joined tamvo@office
edge systemctl start tamvo
wait_for "the edge does not join again" is_joined tamvo
gateway Tamvo
edge systemctl stop tamvo

headline "removed and installed again: files and state are there"
kept=$(sums)
dpkg_on edge '-r tamvo'
# shellcheck disable=SC2016
if edge sh -c 'grep -qx tamvo /proc/[0-9]*/comm' || edge ip link show tamvo-office >/dev/null 2>&1; then fail "an edge still runs"; fi
[ "$(edge sha256sum /etc/tamvo/tamvo.json)" = "$(head -n 1 <<<"$kept")" ] || fail "a removal touched the file"
dpkg_on edge '-i /srv/now/tamvo_*.deb'
edge systemctl start tamvo tamvo@office
wait_for "the edge does not join after it was installed again" is_joined tamvo
gateway tamvo-office

headline "purged while it runs: nothing is left"
dpkg_on edge '-P tamvo'
dpkg_on router '-P tamvo tamvo-tcr'
for name in router edge; do
    in_machine "$name" systemctl daemon-reload
    traces "$name" | diff "$LAB_DIR/$name.before" - || fail "something is left on machine $name"
done
headline "done: $version"
