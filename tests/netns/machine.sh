# Whole machines for tests: systemd as the first process of namespaces of its own in a host of the
# lab, on a root that is thrown away. What stands in the roots below is not touched; of the machine
# that the test runs on nothing is changed.
#
# Needs tests/netns/support.sh, and control groups of version 2.
# shellcheck shell=bash disable=SC2154

# The control groups are mounted for one command only, which takes the place of the shell.
with_groups() { # COMMAND, which finds them in the current folder
    # shellcheck disable=SC2016
    exec unshare --mount sh -ec 'mount -t cgroup2 none /mnt && cd /mnt && eval "$1"' - "$1"
}
need_machines() {
    (with_groups true 2>/dev/null) && return
    echo "SKIPPED: no control groups of version 2"
    exit 77
}

declare -A machine_pid
machine_dir() { echo "$LAB_DIR/machine-$1"; }
group_of() { echo "$LAB_NAME-$1"; }

# Starts a machine on this root, with what lies in the folders on top, and waits until its manager
# answers: NAME HOST ROOT [FOLDER...]
boot() {
    local name=$1 host=$2 below=$3 dir
    dir=$(machine_dir "$name")
    shift 3
    mkdir -p "$dir"/{top,merged}
    cat >"$dir/init" <<TEXT
mount -t tmpfs none "$dir/top"
mkdir "$dir/top/upper" "$dir/top/work"
for folder in $*; do cp -a "\$folder/." "$dir/top/upper"; done
mount -t overlay none -o "lowerdir=$below,upperdir=$dir/top/upper,workdir=$dir/top/work" "$dir/merged"
cd "$dir/merged"
mkdir -p proc sys dev run tmp
mount -t proc none proc
mount -t sysfs none sys
mount -t cgroup2 none sys/fs/cgroup
mount -t tmpfs none run
mount -t tmpfs none tmp
mount -t tmpfs none dev
mkdir dev/net dev/pts dev/shm
mount -t devpts -o newinstance,ptmxmode=0666 none dev/pts
ln -s pts/ptmx dev/ptmx
mknod -m 0666 dev/null c 1 3
mknod -m 0666 dev/zero c 1 5
mknod -m 0666 dev/full c 1 7
mknod -m 0666 dev/random c 1 8
mknod -m 0666 dev/urandom c 1 9
mknod -m 0666 dev/tty c 5 0
# Nobody reads a console.
mknod -m 0600 dev/console c 1 3
# As the system's device manager leaves it.
mknod -m 0666 dev/net/tun c 10 200
# Everybody's as well, and nothing that a unit needs.
mknod -m 0666 dev/fuse c 10 229
# Of what is there only the journal is started.
rm -rf etc/systemd/system/*.wants usr/lib/systemd/system/*.wants usr/lib/systemd/system-generators
mkdir etc/systemd/system/multi-user.target.wants
rm -f etc/machine-id
od -An -N16 -tx1 /dev/urandom | tr -d ' ' >etc/machine-id
mkdir -p run/systemd/system/test.target.wants etc/systemd/journald.conf.d
printf '[Journal]\nStorage=volatile\nRateLimitBurst=0\nForwardToConsole=no\n' >etc/systemd/journald.conf.d/test.conf
printf '[Unit]\nDefaultDependencies=no\nWants=systemd-journald.service systemd-journald.socket systemd-journald-dev-log.socket\n' \
    >run/systemd/system/test.target
mkdir old
pivot_root . old
umount -l old
rmdir old
exec env -i container=lab PATH=/usr/sbin:/usr/bin:/sbin:/bin /lib/systemd/systemd --system --unit=test.target
TEXT
    with_groups "mkdir $(group_of "$name") && echo 0 >$(group_of "$name")/cgroup.procs && exec '$lab' exec $host \
        unshare --pid --fork --kill-child --cgroup --mount --uts --propagation private sh -e '$dir/init'" \
        </dev/null >"$dir.out" 2>&1 &
    machine_pid[$name]=$!
    wait_for "machine $name does not come up" is_up "$name"
}

# The first process of the machine, the only child of what started it.
init_of() { cut -d' ' -f1 "/proc/${machine_pid[$1]}/task/${machine_pid[$1]}/children" 2>/dev/null; }
is_up() { in_machine "$1" systemctl is-system-running 2>/dev/null | grep -qE 'running|degraded'; }

# Runs a command in a machine.
in_machine() { # NAME COMMAND...
    local name=$1
    shift
    nsenter -t "$(init_of "$name")" -m -p -C -u -n -r -w -- env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin \
        LC_ALL=C.UTF-8 SYSTEMD_PAGER='' DEBIAN_FRONTEND=noninteractive "$@"
}

# Tries again until a command succeeds, for at most half a minute: WHAT-FAILED COMMAND...
wait_for() {
    local what=$1 end=$((SECONDS + 30))
    shift
    until "$@"; do
        [ "$SECONDS" -lt "$end" ] || fail "$what"
        sleep 0.1
    done
}

# Ends a machine at once, with all that runs in it.
halt() { # NAME
    [ -n "${machine_pid[$1]:-}" ] || return 0
    { kill -KILL "${machine_pid[$1]}" && wait "${machine_pid[$1]}"; } 2>/dev/null || true
    unset "machine_pid[$1]"
    (with_groups "timeout 10 sh -c 'while [ -d $(group_of "$1") ]; do
        find $(group_of "$1") -depth -type d -exec rmdir {} + || sleep 0.05; done'" 2>/dev/null)
}
halt_all() {
    local name status=0
    for name in "${!machine_pid[@]}"; do halt "$name" || status=1; done
    return "$status"
}

# What the journal of a machine has from a program: NAME PROGRAM
journal() { in_machine "$1" journalctl --no-pager -o cat -t "$2"; }
