#!/usr/bin/env bash
# docs/guide.md, as a new user has it: the branches of its decision list for what has joined, and yet
# does not work.

# shellcheck source=tests/netns/support.sh
. "$(dirname "$0")/support.sh"
# shellcheck source=tests/netns/guide_hosts.sh
. "$root/tests/netns/guide_hosts.sh"
all_is_well

# Joined, but nothing comes.
branch ip link add lan0 type veth peer name lan1
branch ip link set lan1 up
branch ip addr add 192.168.15.77/25 dev lan0
branch ip link set lan0 up
try "**Another route takes the packets.**"
reaches_not branch 192.168.15.1
branch ip link delete lan0
all_is_well
branch ip link set Tamvo down
reaches_not hub 192.168.15.2
try "**The interface was taken down.**"
branch ip link set Tamvo up
all_is_well

# One host is not reached.
try "### One host is not reached"
of_hub=$(block console "### One host is not reached" | sed -n 's/^hub# //p')
hub systemctl kill -s STOP tamvo
prints hub "$of_hub" "hub ... silent ..."
hub systemctl kill -s CONT tamvo
prints hub "$of_hub" "hub ... joined ..."
hub systemctl stop tamvo
prints hub "$of_hub" "hub ... away ..."
is_off_the_list() { ! branch tamvoctl status | grep -q '^  hub '; }
wait_for "an edge that logged out is on the list" is_off_the_list
hub systemctl start tamvo
all_is_well
rules branch 'i iifname Tamvo icmp type echo-request drop'
hub timeout 20 ping -q -i 0.2 192.168.15.2 >/dev/null &
pinger=$!
try "**The other host does not answer.**"
no_rules branch
{ kill "$pinger" && wait "$pinger"; } 2>/dev/null || true
reaches_not hub 192.168.15.99
try "**An address that nobody has.**"
serial=$(branch tamvoctl -j status | jq .serial)
change hub "$(value "serial number" "$serial")"
try "**Two edges with one serial number**"
change_back hub
all_is_well

# Only small packets: the outer network carries 1,400 bytes, and drops fragments.
branch ip link set up0 mtu 1400
hub nft add table inet f
hub nft 'add chain inet f p { type filter hook prerouting priority -450; }'
hub nft add rule inet f p 'iifname br0 ip frag-off & 0x3fff != 0 drop'
answers branch 192.168.15.1
reaches_not branch -s 1472 192.168.15.1
try "### Only small packets"
for size in 1388 1372; do branch ping -q -M 'do' -s $size -c 1 203.0.113.5 >"$LAB_DIR/size" 2>&1 && break; done
[ "$size" = 1372 ] || fail "the outer network carries $size bytes of data"
for name in hub branch; do change "$name" "$(value mtu $((size - 16)))"; done
for name in hub branch; do joins "$name"; done
prints branch "ip link show Tamvo" "...mtu $((size - 16)) ..."
answers branch 192.168.15.1
branch ping -q -s 1472 -c 3 -i 0.2 -W 5 192.168.15.1 >/dev/null || fail "packets as large as the guide says are lost"
for name in hub branch; do change_back "$name"; done
hub nft delete table inet f
branch ip link set up0 mtu 1500
all_is_well

# Lost on the way.
hub systemctl stop tamvo-tcr
prints branch "journalctl -o cat -n 1 -t tamvo" "central router lost router=203.0.113.5:1922"
hub systemctl start tamvo-tcr
try "**The central router was away.**"
all_is_well
hub systemctl stop tamvo-tcr
hub mount -t tmpfs -o size=4m none /var/lib/tamvo-tcr
hub systemctl start tamvo-tcr
all_is_well
hub sh -c 'cat /dev/zero >/var/lib/tamvo-tcr/full 2>/dev/null' || true
branch systemctl restart --no-block tamvo
try "**The state cannot be written**"
hub rm /var/lib/tamvo-tcr/full
prints hub "journalctl -o cat -n 20 -t tamvo-tcr" "state written again"
all_is_well
hub systemctl kill -s STOP tamvo-tcr
# shellcheck disable=SC2016
branch bash -c 'printf -v x %1300s; for _ in {1..2000}; do printf %s "$x" >/dev/udp/203.0.113.5/1922; done'
hub systemctl kill -s CONT tamvo-tcr
try "**Bursts are lost in a socket's buffer.**"
[ "$(hub nstat -az UdpRcvbufErrors | awk '/UdpRcvbufErrors/ { print $2 }')" -gt 0 ] || fail "no burst was lost"
all_is_well
try "**The edge dropped it**"

# tamvoctl says no.
branch systemctl stop tamvo
try "### tamvoctl says no"
branch systemctl start tamvo
joins branch
try "### tamvoctl says no" 2
branch systemctl kill -s STOP tamvo
try "### tamvoctl says no" 3
branch systemctl kill -s CONT tamvo
all_is_well

# Several edges on one host, in one subnet here.
while IFS= read -r line; do
    line=${line#branch# }
    case $line in
        editor*) branch sed -i 's/change me/secret/; s/"heartbeat interval": 20/"heartbeat interval": 2/' "${line#editor }" ;;
        *plant) branch sh -c "${line/#\/usr\/share/\/usr\/local\/share}" ;;
        *systemctl*) branch sh -c "$line" ;;
        *)
            joins branch tamvo@plant
            branch sh -c "$line" | grep -q 'interface  *tamvo-plant' || fail "$line"
            ;;
    esac
done < <(block console "## Several edges on one host")
branch ping -q -c 1 -w 10 -I tamvo-plant 192.168.15.5 >/dev/null || fail "the second edge carries nothing"
branch systemctl stop tamvo@plant

# No address was free: a network with room for the first edge alone.
branch systemctl stop tamvo
change_hub "$(value netmask '"255.255.255.252"')"
prints hub "ip -br -4 addr show Tamvo" "Tamvo UNKNOWN 192.168.15.6/30"
branch systemctl start tamvo
joins branch
try "**No address was free.**"
