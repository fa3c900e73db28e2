#!/usr/bin/env bash
# A full disk, a folder that cannot be written, no descriptor left, a configuration that is none:
# the edge carries on as far as it can, says what it could not do, ends with status 0, and what was
# in the folder is still there, whole.

# shellcheck source=tests/netns/support.sh
. "$(dirname "$0")/support.sh"

"$lab" up b
"$lab" stop b
disk=$LAB_DIR/disk
mkdir "$disk"
at_end() { umount -l "$disk"; }
mount -t tmpfs -o size=64k none "$disk"
cp "$("$lab" dir b)/config.json" "$disk/config.json"
cp "$disk/config.json" "$LAB_DIR/before.json"
cd "$disk"
dd if=/dev/zero of=fill bs=4k 2>/dev/null || true

left_whole() { # files that may be there
    cmp config.json "$LAB_DIR/before.json" || fail "the configuration is not what it was"
    [ "$(echo *)" = "$1" ] || fail "left behind: $(echo *)"
}

starts b
ends b
tells 'config file not written: config.json: No space left on device'
left_whole 'config.json fill tamvo.log'

rm fill
ASAN_OPTIONS=detect_leaks=0 starts b  # the search for leaks wants descriptors of its own
prlimit --pid "$edge" --nofile=4:4  # the log, of which it cannot have more than one
kill -USR1 "$edge"
has_line "$edge_out" 'status file not written: tamvo.stat: Too many open files' || fail "the status"
ends b
tells 'config file not written: config.json: Too many open files'
left_whole 'config.json tamvo.log'

rm tamvo.log
mount -o remount,ro "$disk"
starts b
tells 'log file not opened: tamvo.log: Read-only file system'
ends b
tells 'config file not written: config.json: Read-only file system'
left_whole config.json
mount -o remount,rw "$disk"

# Not understood, it gives a default edge, which finds its central router on the same host.
head -c 200 "$LAB_DIR/before.json" >config.json
cp config.json "$LAB_DIR/truncated.json"
"$lab" exec b "$LAB_BUILD/tamvo-tcr" >"$LAB_DIR/tcr.out" 2>&1 &
tcr=$!
has_line "$LAB_DIR/tcr.out" 'listens on' || fail "the central router did not start"
starts b
tells 'config file not usable, defaults in force: config.json'
ends b
tells 'config file kept as: config.json.bad'
cmp config.json.bad "$LAB_DIR/truncated.json" || fail "what somebody wrote is lost"
rm config.json.bad
mkdir config.json.bad # what is in the way gets its line
cp "$LAB_DIR/truncated.json" config.json
starts b
ends b
tells 'config file not kept as: config.json.bad: File exists'
kill "$tcr"
wait "$tcr" || fail "the central router ended with status $?"
