#!/usr/bin/env bash
# The units at work: systemd starts an edge before its network and its central router are there, gives
# no right beyond those that are needed, runs further edges beside it, and ends them in order. The
# journal has every change of state and no secret.

# shellcheck source=tests/netns/services.sh
. "$(dirname "$0")/services.sh"

# 1. Up before the network and its central router, whose absence it tells once.
edge ip link set up0 down
edge systemctl start tamvo.service || fail "an edge without a network does not come up"
edge_tells '^started version=0\.1\.5 file=/etc/tamvo/tamvo\.json interface=Tamvo$'
edge_tells '^joining failed reason="echo not sent: .*" router=10\.77\.0\.254:1922$'
[ "$(property ActiveState tamvo.service)" = active ] || fail "the edge gave up"
[[ $(property StatusText tamvo.service) == "joining failed: echo "*"next attempt in "* ]] ||
    fail "its status: $(property StatusText tamvo.service)"

router systemctl start tamvo-tcr.service || fail "the central router does not come up"
edge ip link set up0 up
router_tells '^started version=0\.1\.5 file=/etc/tamvo/tamvo-tcr\.json state=/var/lib/tamvo-tcr/tcr\.db listen=0\.0\.0\.0:1922 subnets=1$'
wait_for "the edge does not join" is_joined tamvo.service
edge_tells '^joined address=192\.168\.15\.[0-9]+ identifier=0x[0-9a-f]{8} interface=Tamvo router=10\.77\.0\.254:1922$'
[ "$(count_of edge tamvo '^joining failed reason="echo not sent')" -eq 1 ] || fail "the absence was told more than once"
router_tells '^edge joined edge=0x[0-9a-f]{8} serial=0x[0-9a-f]{8} label="\\x1b\[31m<script>tamvo\.json" subnet=qwop address=192.168.15.[0-9]+ from=10.77.0.2:[0-9]+$'
gateway Tamvo

# Its unit lets the central router serve its page, too.
router bash -c 'exec 3<>/dev/tcp/127.0.0.1/8080 && printf "GET /metrics HTTP/1.0\r\n\r\n" >&3 && cat <&3' |
    grep -a '^tamvo_' >/dev/null || fail "no metrics of the central router"

# 2. What the edge may do, as the kernel has it.
pid=$(property MainPID tamvo.service)
has() { edge grep -qE "^$1:[[:space:]]*$2" "/proc/$pid/status" || fail "not $1 $2: $(edge grep "^$1:" "/proc/$pid/status")"; }
tamvo_uid=$(edge id -u tamvo)
has Uid "(${tamvo_uid}[[:space:]]*){4}"
for set in CapPrm CapEff CapBnd CapAmb; do has "$set" 0000000000001000; done
has NoNewPrivs 1
has Seccomp 2
inside() { edge nsenter -t "$pid" -m -- "$@"; }
[ "$(inside ls /dev/net)" = tun ] || fail "its devices"
if inside test -e /dev/fuse; then fail "it sees devices of others"; fi
for folder in /usr /etc /var /boot; do
    if inside touch "$folder/x" 2>/dev/null; then fail "it may write $folder"; fi
done
inside touch /etc/tamvo/x /var/lib/tamvo/x || fail "it may not write its own folders"
inside rm /etc/tamvo/x /var/lib/tamvo/x
if inside ls /etc/tamvo/edges >/dev/null 2>&1 && [ -n "$(inside ls /etc/tamvo/edges)" ]; then
    fail "it sees the files of other edges"
fi
pid=$(router systemctl show --value -p MainPID tamvo-tcr.service)
for set in CapPrm CapEff CapBnd CapAmb; do
    router grep -qE "^$set:[[:space:]]*0{16}$" "/proc/$pid/status" || fail "the central router has capabilities"
done
[ "$(router stat -c '%U %a' /etc/tamvo/tamvo-tcr.json /var/lib/tamvo-tcr /var/lib/tamvo-tcr/tcr.db | tr '\n' ' ')" = \
    'tamvo-tcr 600 tamvo-tcr 700 tamvo-tcr 600 ' ] || fail "the owners of the central router's files"

# 3. A further edge, with an interface and folders of its own.
edge systemctl start tamvo@office.service || fail "the second edge does not come up"
wait_for "the second edge does not join" is_joined tamvo@office.service
gateway tamvo-office
edge test -e /var/lib/tamvo/edges/office/tamvo.log || fail "its working folder"
if edge systemctl start tamvo@none.service 2>/dev/null; then fail "an edge without a file was started"; fi

# 4. The end in order, and the file after it.
edge systemctl stop tamvo.service
[ "$(property Result tamvo.service)" = success ] || fail "the end: $(property Result tamvo.service)"
edge_tells '^stopped file=/etc/tamvo/tamvo\.json$'
[ "$(edge stat -c '%U %G %a' /etc/tamvo/tamvo.json)" = 'tamvo tamvo 600' ] || fail "the rights of the written file"
edge grep -q '"ip":[[:space:]]*"192\.168\.15\.' /etc/tamvo/tamvo.json || fail "the file was not written back"
if edge ip link show Tamvo >/dev/null 2>&1; then fail "the interface is still there"; fi
gateway tamvo-office

nothing_secret_is_told
