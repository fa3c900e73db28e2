#!/usr/bin/env bash
# docs/guide.md, as a new user has it: two hosts from source; then the branches of its decision list for
# what does not start or does not join.

# shellcheck source=tests/netns/support.sh
. "$(dirname "$0")/support.sh"
# shellcheck source=tests/netns/guide_hosts.sh
. "$root/tests/netns/guide_hosts.sh"

try "See that it works"
try "See that it works" 2

# An edge that does not start.
change branch "$(value interface '"x"')"
try "**A name or MTU"
change_back branch
branch /usr/local/share/tamvo/new-edge plant
branch sed -i 's/tamvo-plant/Tamvo/; s/change me/secret/' /etc/tamvo/edges/plant.json
branch systemctl start --no-block tamvo@plant
try "**Another program has the interface**"
branch systemctl stop tamvo@plant
branch systemctl stop tamvo
branch rm /dev/net/tun
branch systemctl start --no-block tamvo
try "**No tunnel driver.**"
branch mknod -m 0666 /dev/net/tun c 10 200
joins branch

# A file that says something else.
change branch 's/"central router":/"central router"/'
try "### A file that says something else"
change_back branch
change branch 's/"user password":/"pasword":/'
try "**A key that nobody reads**"
change_back branch

# A central router that does not start.
change_hub "$(value gateway '"192.168.15.0"')"
try "**A fault in its file**"
hub_back
change_hub "$(value bind '"203.0.113.77"')"
try "**The address to listen on is not there**"
hub_back
joins branch
hub systemctl stop tamvo-tcr
hub systemd-run -q --unit=other /usr/local/sbin/tamvo-tcr -b 0.0.0.0
hub systemctl start --no-block tamvo-tcr
try "**The port is taken**"
hub systemctl stop other
all_is_well
hub systemctl stop tamvo-tcr
hub sh -c 'echo nothing >/var/lib/tamvo-tcr/tcr.db; rm -f /var/lib/tamvo-tcr/tcr.db-*'
hub systemctl start --no-block tamvo-tcr
try "**The state file is damaged**"
hub mv /var/lib/tamvo-tcr/tcr.db /root
all_is_well

# Nobody answers: each line of the table.
first=$(block console "### Nobody answers" | sed -n 's/^hub# \(ss .*\)/\1/p')
second=$(block console "### Nobody answers" | sed -n 's/^hub# \(.*tcpdump .*\)/\1/p')
timed_out() {
    branch systemctl restart --no-block tamvo
    prints branch "systemctl show -P StatusText tamvo" \
        "joining failed: echo timed out, router 203.0.113.5:..., next attempt in ..."
}
# An edge that starts asks at once.
passes() {
    branch systemctl restart --no-block tamvo
    passed=$(hub sh -c "$second" 2>/dev/null | grep -F 203.0.113.9 || true)
}
asks() { # who asks, and from where
    passes
    port=$(grep -oE -m1 '203\.0\.113\.9\.[0-9]+ > 203\.0\.113\.5\.1922' <<<"$passed" | grep -oE '[0-9]+ >' | tr -d ' >')
}
hub systemctl stop tamvo-tcr
timed_out
[ -z "$(hub sh -c "$first" | tail -n +2)" ] || fail "something listens"
hub systemctl start tamvo-tcr
change_hub "$(value bind '"127.0.0.1"')"
timed_out
prints hub "$first" "UNCONN 0 0 127.0.0.1:1922 0.0.0.0:*"
hub_back
joins branch
change branch "$(value port 1923)"
timed_out
passes
if grep -q '> 203\.0\.113\.5\.1922' <<<"$passed"; then fail "requests arrive: $passed"; fi
change_back branch
rules hub 'i udp dport 1922 ip saddr 203.0.113.9 drop'
timed_out
wait_for "no requests arrive" asks
if grep -q "1922 > 203.0.113.9.$port" <<<"$passed"; then fail "they are answered: $passed"; fi
no_rules hub
joins branch
rules branch 'i udp sport 1922 drop'
timed_out
try "### Nobody answers"
no_rules branch
joins branch
rules hub 'o ip daddr 203.0.113.9 udp sport 1922 ip saddr set 203.0.113.6'
timed_out
try "**Answers from another address**"
change branch "$(value "strict source" false)"
joins branch
no_rules hub
change_back branch

# No way out.
branch ip route del 203.0.113.0/24
branch systemctl restart --no-block tamvo
try "### No way out"
branch ip route add 203.0.113.0/24 dev up0 src 203.0.113.9
joins branch

rules branch 'o udp dport 1922 drop'
branch systemctl restart --no-block tamvo
prints branch "systemctl show -P StatusText tamvo" "joining failed: echo not sent: Operation not permitted, ..."
no_rules branch
joins branch

# Refused, for each reason.
change branch "$(value "user password" '"wrong"')"
try "### Refused"
change_back branch
change_hub 's/"name": "office",/& "edges": [ 1 ],/' reload
branch systemctl restart --no-block tamvo
prints branch "systemctl show -P StatusText tamvo" "joining failed: login refused, error 1003, ..."
try "### Refused" 2
hub_back reload
joins branch
change_hub "$(value "lowest version" '"0.2.0"')" reload
branch systemctl restart --no-block tamvo
prints branch "systemctl show -P StatusText tamvo" "joining failed: login refused, error 1001, ..."
hub_back reload
all_is_well
