#!/usr/bin/env bash
# The units when something goes wrong: systemd starts again what was killed or stands still, and the
# journal tells what was lost, what came back and which file has a fault, and no secret.

# shellcheck source=tests/netns/services.sh
. "$(dirname "$0")/services.sh"

# They are looked at more often than in the field.
for machine in router edge; do
    for unit in tamvo tamvo-tcr; do
        in_machine "$machine" sh -c "printf '[Service]\nWatchdogSec=5\nWatchdogSignal=SIGKILL\n' \
            >/run/systemd/system/$unit.service.d/watchdog.conf"
    done
    in_machine "$machine" systemctl daemon-reload
done
router systemctl start tamvo-tcr.service
edge systemctl start tamvo.service
wait_for "the edge does not join" is_joined tamvo.service

# 1. What is killed, stands still or loses something comes back, and says so.
restarts() { in_machine "$1" systemctl show --value -p NRestarts "$2"; }
is_restarted() { [ "$(restarts "$1" "$2")" -ge "$3" ]; }
edge systemctl kill -s KILL tamvo.service
wait_for "a killed edge is not started again" is_restarted edge tamvo.service 1
wait_for "it does not join again" is_joined tamvo.service
stands_still() { # MACHINE UNIT RESTARTS
    in_machine "$1" sh -c "kill -STOP \$(systemctl show --value -p MainPID $2)"
    wait_for "$2 stands still and is not started again" is_restarted "$1" "$2" "$3"
    in_machine "$1" journalctl --no-pager -u "$2" | grep 'Watchdog timeout' >/dev/null || fail "not for the watchdog"
    wait_for "$2 is not up again" in_machine "$1" systemctl -q is-active "$2"
}
stands_still edge tamvo.service 2
wait_for "it does not join after that" is_joined tamvo.service
[ "$(restarts router tamvo-tcr.service)" -eq 0 ] || fail "the central router does not feed its watchdog"
stands_still router tamvo-tcr.service 1
edge ip link delete Tamvo
edge_tells '^interface lost interface=Tamvo$'
edge_tells '^interface back interface=Tamvo address=192\.168\.15\.[0-9]+$'
router systemctl stop tamvo-tcr.service
router_tells '^stopped$'
edge_tells '^central router lost router=10\.77\.0\.254:1922$'
router systemctl start tamvo-tcr.service
edge_tells '^central router back router=10\.77\.0\.254:1922$'
gateway Tamvo
[ "$(restarts edge tamvo.service)" -eq 2 ] || fail "the edge does not feed its watchdog"
router systemctl reload tamvo-tcr.service
router_tells '^configuration read again file=/etc/tamvo/tamvo-tcr\.json subnets=1$'

# 2. Faults, and passwords of the wrong kind, in a place of their own or in none.
edge sed -i "s/\"interface\":[^,]*/\"interface\": \"$canary-too-long\"/" /etc/tamvo/edges/office.json
edge systemctl start tamvo@office.service 2>/dev/null || true
edge_tells '^configuration fault file=/etc/tamvo/edges/office\.json reason="key \\"interface\\" in section \\"lan\\" of the wrong kind'
edge_tells '^start failed reason="config file refused'
wait_for "an edge that cannot start is given up" is_restarted edge tamvo@office.service 8
edge systemctl stop tamvo@office.service
edge systemctl stop tamvo.service
edge sed -i "s/$canary/x$canary/; s/\"recv timeout\":/\"user password\": \"$canary\", &/" /etc/tamvo/tamvo.json
edge systemctl start tamvo.service
router_tells '^login refused from=10\.77\.0\.2:[0-9]+ error=1002$'
edge_tells '^joining failed reason="login refused, error 1002"'
edge_tells '^configuration fault file=/etc/tamvo/tamvo\.json reason="unknown key \\"user password\\" in section'
edge systemctl stop tamvo.service || fail "an edge that waits does not end in order"
[ "$(property Result tamvo.service)" = success ] || fail "the end of a waiting edge"
router sed -i "s/\"password\":.*/\"password\": [\"$canary\"],/" /etc/tamvo/tamvo-tcr.json
router systemctl reload tamvo-tcr.service
router_tells '^configuration fault reason=.*password.*is not a text'

nothing_secret_is_told
for machine in router edge; do
    grep -qa '^PRIORITY=3' "$LAB_DIR/$machine.journal" || fail "no level of an error on machine $machine"
done
