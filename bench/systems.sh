# What scripts/bench measures: the floor twice, Tamvo, and peers that carry packets in clear, each
# with an edge in the lab's hosts a and b and everything between them through the host tcr. All of
# them stand beside each other for the whole run; who has nothing to carry costs nothing.
#
# For each system: address[SYSTEM], where b is reached through it, and pids[SYSTEM], the processes
# of its hub, of a and of b. Expects scripts/lib.sh, and the lab to be up.
# shellcheck shell=bash disable=SC2154

declare -A address pids

readonly hub=10.77.0.254 start_seconds=30
readonly -A uplink=([a]=10.77.0.1 [b]=10.77.0.2)

run() { # SYSTEM, HOST, COMMAND...
    "$lab" exec "$2" "${@:3}" </dev/null >"$LAB_DIR/$1-$2.out" 2>&1 &
    pids[$1]+=" $!"
    # It ends with its host.
    disown
}

wait_interface() { # HOST, INTERFACE
    "$lab" exec "$1" timeout "$start_seconds" \
        sh -c "until [ -e /sys/class/net/$2 ]; do sleep 0.02; done"
}

give_address() { # HOST, INTERFACE, ADDRESS
    wait_interface "$1" "$2"
    "$lab" exec "$1" ip addr add "$3/24" dev "$2"
    "$lab" exec "$1" ip link set "$2" up
}

raise_tamvo() {
    "$lab" start tcr
    for host in a b; do
        "$lab" start "$host"
        "$lab" exec "$host" ip link set Tamvo mtu "$mtu" # as the key "mtu" does
    done
    address[tamvo]=$("$lab" addr b)
    pids[tamvo]="$(pid_of tcr) $(pid_of a) $(pid_of b)"
}

raise_any_floor() { # SYSTEM, PORT, NET, OPTION...
    local program=("$LAB_BUILD/bench-floor" --port "$2" "${@:4}")
    run "$1" tcr "${program[@]}" hub "${uplink[a]}" "${uplink[b]}"
    run "$1" a "${program[@]}" edge "$1" "$hub" 0 1
    run "$1" b "${program[@]}" edge "$1" "$hub" 1 0
    give_address a "$1" "$3.1"
    give_address b "$1" "$3.2"
    address[$1]=$3.2
}
raise_floor() { raise_any_floor floor 1931 10.99.1; }
raise_batched() { raise_any_floor batched 1932 10.99.2 --batched; }

# Cipher and digest none; what is sent to an edge goes through its neighbour, the hub.
tinc_host() { # HOST, LINE...
    local dir=$LAB_DIR/tinc/$1
    mkdir -p "$dir/hosts"
    printf 'Name = %s\nInterface = tinc\nAddressFamily = ipv4\n' "$1" >"$dir/tinc.conf"
    [ "$1" = tcr ] || echo "ConnectTo = tcr" >>"$dir/tinc.conf"
    printf '%s\n' "Cipher = none" "Digest = none" "Compression = 0" "${@:2}" >"$dir/hosts/$1"
    tincd -c "$dir" -K2048 </dev/null >/dev/null 2>&1
}
raise_tinc() {
    local host other
    tinc_host tcr "Address = $hub"
    tinc_host a "Subnet = 10.99.3.1/32" "IndirectData = yes"
    tinc_host b "Subnet = 10.99.3.2/32" "IndirectData = yes"
    for host in tcr a b; do
        for other in tcr a b; do
            [ "$host" = "$other" ] ||
                cp "$LAB_DIR/tinc/$other/hosts/$other" "$LAB_DIR/tinc/$host/hosts"
        done
    done
    for host in tcr a b; do
        run tinc "$host" tincd -c "$LAB_DIR/tinc/$host" -D --pidfile="$LAB_DIR/tinc/$host.pid"
    done
    give_address a tinc 10.99.3.1
    give_address b tinc 10.99.3.2
    address[tinc]=10.99.3.2
}

# A server that passes packets between its clients itself; the control channel has certificates, the
# data channel neither cipher nor digest.
openvpn_host() { # HOST: a certificate, and the options that all share
    openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 2 \
        -subj "/CN=$1" -keyout "$LAB_DIR/openvpn.$1.key" -out "$LAB_DIR/openvpn.$1.crt" 2>/dev/null
    cat >"$LAB_DIR/openvpn.$1.conf" <<TEXT
dev openvpn
dev-type tun
topology subnet
proto udp4
cert $LAB_DIR/openvpn.$1.crt
key $LAB_DIR/openvpn.$1.key
cipher none
data-ciphers none
auth none
disable-dco
keepalive 10 60
TEXT
}
openvpn_peers() { # HOST...: whom to trust
    local host
    echo "<peer-fingerprint>"
    for host in "$@"; do
        openssl x509 -in "$LAB_DIR/openvpn.$host.crt" -noout -sha256 -fingerprint | sed 's/.*=//'
    done
    echo "</peer-fingerprint>"
}
raise_openvpn() {
    local host
    for host in tcr a b; do openvpn_host "$host"; done
    {
        printf '%s\n' "server 10.99.4.0 255.255.255.0" client-to-client "dh none"
        openvpn_peers a b
    } >>"$LAB_DIR/openvpn.tcr.conf"
    run openvpn tcr openvpn --config "$LAB_DIR/openvpn.tcr.conf"
    for host in a b; do
        { printf '%s\n' client nobind "remote $hub" && openvpn_peers tcr; } \
            >>"$LAB_DIR/openvpn.$host.conf"
        run openvpn "$host" openvpn --config "$LAB_DIR/openvpn.$host.conf"
        wait_interface "$host" openvpn
        "$lab" exec "$host" timeout "$start_seconds" \
            sh -c 'until ip -4 -o addr show openvpn | grep -q inet; do sleep 0.02; done'
    done
    address[openvpn]=$("$lab" exec b ip -4 -o addr show openvpn |
        awk '{ sub("/.*", "", $4); print $4 }')
}

# Method null, and a hub that forwards between its peers, which takes the Ethernet mode.
fastd_host() { # HOST, ADDRESS, LINE...
    cat >"$LAB_DIR/fastd.$1.conf" <<TEXT
interface "fastd";
mode tap;
method "null";
mtu 1426;
bind $2:10000;
secret "$(sed -n 's/^Secret: //p' "$LAB_DIR/fastd.$1.key")";
TEXT
    printf '%s\n' "${@:3}" >>"$LAB_DIR/fastd.$1.conf"
}
fastd_peer() { # HOST, LINE...
    local key
    key=$(sed -n 's/^Public: //p' "$LAB_DIR/fastd.$1.key")
    echo "peer \"$1\" { key \"$key\"; ${*:2} }"
}
raise_fastd() {
    local host
    for host in tcr a b; do fastd --generate-key >"$LAB_DIR/fastd.$host.key" 2>/dev/null; done
    fastd_host tcr "$hub" "forward yes;" "$(fastd_peer a)" "$(fastd_peer b)"
    for host in a b; do
        fastd_host "$host" "${uplink[$host]}" "$(fastd_peer tcr "remote $hub:10000;")"
    done
    for host in tcr a b; do run fastd "$host" fastd --config "$LAB_DIR/fastd.$host.conf"; done
    give_address a fastd 10.99.5.1
    give_address b fastd 10.99.5.2
    address[fastd]=10.99.5.2
}

# Raises a system and waits until it carries packets.
raise() { # SYSTEM
    step "raising $1"
    "raise_$1"
    # Some answer themselves that there is no way yet, which ends a ping at once.
    "$lab" exec a timeout "$start_seconds" \
        sh -c "until ping -q -c 1 -W 1 ${address[$1]}; do sleep 0.1; done" >/dev/null
}
