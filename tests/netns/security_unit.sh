#!/usr/bin/env bash
# The lines that docs/security.md gives for a service manager, in the unit of edge b: they keep a
# bystander's command away, which b takes without them. The manager is systemd, as the first process
# of a namespace in b's host, with a tree of control groups of its own. The bystander is the host of
# edge c, on which no edge runs.

# shellcheck source=tests/netns/support.sh
. "$(dirname "$0")/support.sh"
# shellcheck source=tests/netns/machine.sh
. "$root/tests/netns/machine.sh"
need_machines
running=
at_end() {
    [ -z "$running" ] || { kill -KILL "$running" && wait "$running"; } 2>/dev/null || true
    (with_groups "timeout 10 sh -c 'while [ -d $LAB_NAME ]; do
        find $LAB_NAME -depth -type d -exec rmdir {} + || sleep 0.05; done'" 2>/dev/null)
}

"$lab" up a b c
for host in b c; do "$lab" stop "$host"; done
a=$("$lab" addr a)
dir=$("$lab" dir b)

# What the manager would change of the machine is read-only to it.
cat >"$LAB_DIR/manager" <<TEXT
for path in /etc /var /proc/sys; do mount --bind -o ro \$path \$path; done
mount -t tmpfs none /run
mount -t cgroup2 none /sys/fs/cgroup
mkdir -p /run/systemd/system
cp "$LAB_DIR/unit" /run/systemd/system/tamvo.service
exec env container=lab /lib/systemd/systemd --system --unit=tamvo.service
TEXT

start_with() { # further lines of the unit
    printf '%s\n' "[Unit]" "DefaultDependencies=no" "[Service]" "WorkingDirectory=$dir" \
        "ExecStart=$LAB_BUILD/tamvo -i -c config.json" "StandardOutput=append:$LAB_DIR/b.out" \
        "StandardError=append:$LAB_DIR/b.out" "$@" >"$LAB_DIR/unit"
    : >"$LAB_DIR/b.out"
    with_groups "mkdir $LAB_NAME && echo 0 >$LAB_NAME/cgroup.procs && exec '$lab' exec b \
        unshare --pid --fork --kill-child --cgroup --mount --uts --mount-proc sh -e '$LAB_DIR/manager'" \
        </dev/null >"$LAB_DIR/manager.out" 2>&1 &
    running=$!
    has_line "$LAB_DIR/b.out" 'txloop start' || fail "b does not forward"
    reaches b "$a" || fail "b does not reach a"
}

start_with
forge 77
has_line "$LAB_DIR/b.out" '^Del Router: .*seq=77,' || fail "b did not take the forged command"
at_end

mapfile -t lines < <(sed -n '/^\[Service\]$/,/^```$/p' "$root/docs/security.md" | grep '^IPAddress')
[ ${#lines[@]} -eq 2 ] || fail "the document does not give the two lines"
start_with "${lines[@]}"
forge 78
for size in $sizes; do pings b "$a" "$size"; done
if grep -q 'seq=78,' "$LAB_DIR/b.out"; then fail "b took the forged command behind the filter"; fi
