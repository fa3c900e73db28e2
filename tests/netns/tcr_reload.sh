#!/usr/bin/env bash
# The central router reads its configuration again: subnets come and go, passwords change, a faulty
# file changes nothing; edges of another subnet lose not one ping.

# shellcheck source=tests/netns/support.sh
. "$(dirname "$0")/support.sh"

config=$LAB_DIR/tcr.json
subnet() { # NAME PASSWORD GATEWAY [MORE]
    echo "{ \"name\": \"$1\", \"password\": \"$2\", \"gateway\": \"$3\", \"netmask\": \"255.255.255.0\" ${4:-} }"
}
qwop=$(subnet qwop qwop 192.168.15.5)
serves() { # SUBNET...
    local IFS=,
    echo "{ \"silent after\": 5, \"subnets\": [ $* ] }" >"$config.new"
    mv "$config.new" "$config"
}
reloads() { # LINE
    kill -HUP "$(pid_of tcr)"
    has_line "$(out_of tcr)" "$1" || fail "it did not say: $1"
}
in_table() { "$lab" table >"$LAB_DIR/table" && grep -qF -e "$1" "$LAB_DIR/table"; }
gateway_answers() { "$lab" exec "$1" ping -q -c 1 -W 2 "$2" >/dev/null; }

serves "$qwop" "$(subnet other qwop 192.168.16.5)"
LAB_TCR_ARGS="-c $config -s $LAB_DIR/tcr.db" "$lab" up a b
"$lab" launch c
"$lab" stop c || true
sed -i 's/\("net name":[[:space:]]*\)"qwop"/\1"other"/; s/192\.168\.15\./192.168.16./' \
    "$("$lab" dir c)/config.json"
"$lab" start c
gateway_answers c 192.168.16.5 || fail "c is not in the other subnet"
b=$("$lab" addr b)

# a and b notice nothing of all that follows.
for target in "$b" 192.168.15.5; do
    "$lab" exec a ping -i 0.02 -W 5 "$target" >"$LAB_DIR/ping-$target" &
    pings+=("$!")
done

serves "$(subnet third x 192.168.17.5)" "$(subnet other changed 192.168.16.5)" "$qwop"
reloads "SIGHUP: $config read again, 3 subnet(s)"
gateway_answers c 192.168.16.5 || fail "a new password ended a session"
in_table 'subnet 2 "third" gateway 192.168.17.5' || fail "the new subnet is not served"
"$lab" stop c
"$lab" launch c
has_line "$(out_of tcr)" 'login from 10.77.0.3:[0-9]* refused, error 1002' ||
    fail "the old password still opens the subnet"
sed -i 's/\("user password":[[:space:]]*\)"qwop"/\1"changed"/' "$("$lab" dir c)/config.json"
"$lab" stop c || true
"$lab" start c

echo '{ "subnets": [' >"$config"
reloads "SIGHUP: $config: is not valid JSON (line 2); what was in force stays"
gateway_answers c 192.168.16.5 || fail "a faulty file changed something"

serves "$qwop" "$(subnet other changed 192.168.16.6)"
reloads "SIGHUP: $config read again, 2 subnet(s)"
if gateway_answers c 192.168.16.5; then fail "a subnet with another gateway kept its edges"; fi
"$lab" stop c || true
"$lab" start c
gateway_answers c 192.168.16.6 || fail "c does not reach the new gateway"

# Without serial numbers of its own the subnet has room for all; now c's is not among them.
serves "$qwop" "$(subnet other changed 192.168.16.6 ', "edges": [ 7, "0x8" ]')"
reloads "SIGHUP: $config read again, 2 subnet(s)"
"$lab" stop c
"$lab" launch c
has_line "$(out_of tcr)" 'login from 10.77.0.3:[0-9]* refused, error 1003' ||
    fail "an edge was let in that is not listed"
"$lab" stop c || true

serves "$qwop"
reloads "SIGHUP: $config read again, 1 subnet(s)"
if in_table '"other"'; then fail "the subnet is still served"; fi

kill -INT "${pings[@]}"
wait "${pings[@]}" || true
# The last one's answer may still have been on the road.
# shellcheck disable=SC2016
for target in "$b" 192.168.15.5; do
    sed -n 's/.*icmp_seq=\([0-9]*\) .*/\1/p' "$LAB_DIR/ping-$target" |
        awk '$1 != NR { lost = 1 } END { exit lost || NR < 100 }' || fail "a lost pings to $target"
done

# Without a file there is nothing to read.
"$lab" exec tcr "$LAB_BUILD/tamvo-tcr" -p 1999 >"$LAB_DIR/plain.out" 2>&1 &
plain=$!
has_line "$LAB_DIR/plain.out" 'listens on' || fail "it does not start without a file"
kill -HUP "$plain"
has_line "$LAB_DIR/plain.out" 'SIGHUP: there is no configuration file to read again' ||
    fail "it did not say that there is no file"
end "$plain" || fail "it ended with status $?"
