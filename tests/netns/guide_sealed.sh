#!/usr/bin/env bash
# "Seal it" in docs/guide.md on the guide's two hosts, and what docs/security.md says of the central
# router's key: changed without a gap, and an end's secrets written down to look inside.

# shellcheck source=tests/netns/support.sh
. "$(dirname "$0")/support.sh"
# shellcheck source=tests/netns/guide_hosts.sh
. "$root/tests/netns/guide_hosts.sh"
all_is_well

names() { # MACHINE KEYS: what its edge's section "central router" names
    on "$1" systemctl stop tamvo
    on "$1" sed -i -zE 's#("port":[[:space:]]*1922)(,[[:space:]]*"key":[^}]*[^}[:space:]])?#\1, "key": '"$2"'#' "$edge_file"
    on "$1" systemctl start --no-block tamvo
}
says() { wait_for "$1 does not say: $2, but: $(status_of "$1" tamvo)" status_is "$@"; }
status_is() { status_of "$1" tamvo | grep -qF -e "$2"; }

# ---- Seal it ----

off='"seal": "off"'
grep -qF "in place of \`$off\`:" "$guide" || fail "the guide names another line"
line=$(block json "## Seal it")
hub grep -q "$off," "$hub_file" || fail "there is no $off in $hub_file"
hub sed -i "s/ *$off,/$line/" "$hub_file"
hub tamvoctl check "$hub_file"
hub systemctl restart tamvo-tcr
key=$(hub sh -c "$(block sh "## Seal it")")
[[ $key =~ ^sha256:[0-9a-f]{64}$ ]] || fail "fingerprint: $key"
branch systemctl restart --no-block tamvo
says branch 'login refused, error 1002'
for name in hub branch; do names "$name" "\"$key\""; done
all_is_well
for name in hub branch; do
    on "$name" tamvoctl status | grep -qE "^ +sealed +[A-Z0-9-]+, central router $key, own key sha256:[0-9a-f]{64}$" ||
        fail "the status of $name has no line of its channel"
done
other=sha256:$(printf '%064d' 0)
names branch "\"$other\""
says branch "no sealed channel: the other end's key is $key"

# ---- Change the central router's key ----

guide=$root/docs/security.md
next=sha256:$(hub bash -c "cd /var/lib/tamvo-tcr && $(block sh "### Change a key")" | cut -d' ' -f1)
[[ $next =~ ^sha256:[0-9a-f]{64}$ && $next != "$key" ]] || fail "the next key's fingerprint: $next"
for name in hub branch; do names "$name" "[ \"$key\", \"$next\" ]"; done
all_is_well
joins_seen() { journal hub tamvo-tcr | grep -c '^edge joined ' || true; }
joined=$(joins_seen)
[ "$joined" -gt 0 ] || fail "the central router's journal has no joins"
hub sh -c 'cd /var/lib/tamvo-tcr && mv tcr.db.key.next tcr.db.key && systemctl restart tamvo-tcr'
[ "$(hub tamvoctl -s /run/tamvo-tcr/control fingerprint)" = "$next" ] || fail "the central router has another key"
goes_on() { on "$1" tamvoctl status | grep -q "^ *sealed .*central router $next,"; }
for name in hub branch; do wait_for "the edge of $name does not go on with the next key" goes_on "$name"; done
answers branch 192.168.15.1
[ "$(joins_seen)" = "$joined" ] || fail "an edge did not go on in its session"
for name in hub branch; do names "$name" "\"$next\""; done
all_is_well

# ---- Look inside ----

secrets=/var/lib/tamvo/secrets
[[ $(block console "### Look inside") == *"Environment=SSLKEYLOGFILE=$secrets"* ]] || fail "another file in the document"
branch mkdir -p /run/systemd/system/tamvo.service.d
printf '[Service]\nEnvironment=SSLKEYLOGFILE=%s\n' "$secrets" |
    branch sh -c 'cat >/run/systemd/system/tamvo.service.d/secrets.conf && systemctl daemon-reload'
if branch test -e "$secrets"; then fail "secrets are written down unasked"; fi
branch systemctl restart --no-block tamvo
all_is_well
branch grep -q '^CLIENT_RANDOM ' "$secrets" || fail "no secrets of the channel"
[ "$(branch stat -c '%U %a' "$secrets")" = 'tamvo 600' ] || fail "the secrets are not their owner's alone"
