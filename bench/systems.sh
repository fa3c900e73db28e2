# What scripts/bench measures: the floor twice, Tamvo open and sealed, peers that carry packets in
# clear and peers that encrypt, each with an edge in the lab's hosts a and b and everything between
# them through the host tcr. All of them stand beside each other for the whole run; who has nothing to
# carry costs nothing.
#
# For each system: address[SYSTEM], where b is reached through it, and pids[SYSTEM], the processes
# of its hub, of a and of b. Expects scripts/lib.sh, and the lab to be up.
# shellcheck shell=bash disable=SC2154

declare -A address pids

readonly hub=10.77.0.254 start_seconds=30 sealed_port=1923
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

# Beside the open one: a central router at another port, whose only subnet demands sealing.
sealed_edge() { # HOST, NUMBER, KEY
    local dir=$LAB_DIR/sealed/$1
    mkdir -p "$dir"
    cat >"$dir/config.json" <<TEXT
{
    "subnet": { "net name": "sealed", "user name": "sealed", "user password": "sealed" },
    "local router": { "label": "edge-$1", "serial number": $((2000 + $2)) },
    "lan": { "ip": "192.168.16.$((10 + $2))", "mac": "02:00:00:00:01:0$2",
             "interface": "sealed", "mtu": $mtu },
    "central router": { "ip": "$hub", "port": $sealed_port, "key": "$3" },
    "sstp": { "recv timeout": 200, "heartbeat interval": 2 }
}
TEXT
    run sealed "$1" env -C "$dir" "$LAB_BUILD/tamvo" -i -c "$dir/config.json"
    wait_interface "$1" sealed
}
raise_sealed() {
    local dir=$LAB_DIR/sealed/tcr key
    mkdir -p "$dir"
    cat >"$dir/tcr.json" <<TEXT
{
    "seal": "required", "state": "$dir/tcr.db",
    "subnets": [ { "name": "sealed", "password": "sealed",
                   "gateway": "192.168.16.5", "netmask": "255.255.255.0" } ]
}
TEXT
    run sealed tcr env -C "$dir" "$LAB_BUILD/tamvo-tcr" -b "$hub" -p "$sealed_port" -c "$dir/tcr.json"
    key=$(timeout "$start_seconds" grep -o -m 1 'sha256:[0-9a-f]*' \
        <(tail --pid="${pids[sealed]##* }" -n +1 -s 0.1 -F "$LAB_DIR/sealed-tcr.out" 2>/dev/null))
    sealed_edge a 1 "$key"
    sealed_edge b 2 "$key"
    address[sealed]=192.168.16.12
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

# What is sent to an edge goes through its neighbour, the hub.
tinc_host() { # SYSTEM, HOST, LINE...
    local dir=$LAB_DIR/$1/$2
    mkdir -p "$dir/hosts"
    printf 'Name = %s\nInterface = %s\nAddressFamily = ipv4\n' "$2" "$1" >"$dir/tinc.conf"
    [ "$2" = tcr ] || echo "ConnectTo = tcr" >>"$dir/tinc.conf"
    printf '%s\n' "Compression = 0" "${@:3}" >"$dir/hosts/$2"
    tincd -c "$dir" -K2048 </dev/null >/dev/null 2>&1
}
raise_any_tinc() { # SYSTEM, NET, PORT, LINE...
    local host other
    tinc_host "$1" tcr "Address = $hub $3" "Port = $3" "${@:4}"
    tinc_host "$1" a "Subnet = $2.1/32" "IndirectData = yes" "Port = $3" "${@:4}"
    tinc_host "$1" b "Subnet = $2.2/32" "IndirectData = yes" "Port = $3" "${@:4}"
    for host in tcr a b; do
        for other in tcr a b; do
            [ "$host" = "$other" ] ||
                cp "$LAB_DIR/$1/$other/hosts/$other" "$LAB_DIR/$1/$host/hosts"
        done
    done
    for host in tcr a b; do
        run "$1" "$host" tincd -c "$LAB_DIR/$1/$host" -D --pidfile="$LAB_DIR/$1/$host.pid"
    done
    give_address a "$1" "$2.1"
    give_address b "$1" "$2.2"
    address[$1]=$2.2
}
raise_tinc() { raise_any_tinc tinc 10.99.3 655 "Cipher = none" "Digest = none"; }
# With its own choice of cipher and digest.
raise_tinc-aes() { raise_any_tinc tinc-aes 10.99.6 656; }

# A server that passes packets between its clients itself; the control channel has certificates.
openvpn_host() { # SYSTEM, HOST, LINE...: a certificate, and the options that all share
    openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 2 \
        -subj "/CN=$2" -keyout "$LAB_DIR/$1.$2.key" -out "$LAB_DIR/$1.$2.crt" 2>/dev/null
    cat >"$LAB_DIR/$1.$2.conf" <<TEXT
dev $1
dev-type tun
topology subnet
proto udp4
cert $LAB_DIR/$1.$2.crt
key $LAB_DIR/$1.$2.key
disable-dco
keepalive 10 60
TEXT
    printf '%s\n' "${@:3}" >>"$LAB_DIR/$1.$2.conf"
}
openvpn_peers() { # SYSTEM, HOST...: whom to trust
    local host
    echo "<peer-fingerprint>"
    for host in "${@:2}"; do
        openssl x509 -in "$LAB_DIR/$1.$host.crt" -noout -sha256 -fingerprint | sed 's/.*=//'
    done
    echo "</peer-fingerprint>"
}
raise_any_openvpn() { # SYSTEM, NET, PORT, LINE...
    local host
    for host in tcr a b; do openvpn_host "$1" "$host" "${@:4}"; done
    {
        printf '%s\n' "server $2.0 255.255.255.0" client-to-client "dh none" "port $3"
        openvpn_peers "$1" a b
    } >>"$LAB_DIR/$1.tcr.conf"
    run "$1" tcr openvpn --config "$LAB_DIR/$1.tcr.conf"
    for host in a b; do
        { printf '%s\n' client nobind "remote $hub $3" && openvpn_peers "$1" tcr; } \
            >>"$LAB_DIR/$1.$host.conf"
        run "$1" "$host" openvpn --config "$LAB_DIR/$1.$host.conf"
        wait_interface "$host" "$1"
        "$lab" exec "$host" timeout "$start_seconds" \
            sh -c "until ip -4 -o addr show $1 | grep -q inet; do sleep 0.02; done"
    done
    address[$1]=$("$lab" exec b ip -4 -o addr show "$1" |
        awk '{ sub("/.*", "", $4); print $4 }')
}
# The data channel with neither cipher nor digest.
raise_openvpn() {
    raise_any_openvpn openvpn 10.99.4 1194 "cipher none" "data-ciphers none" "auth none"
}
raise_openvpn-gcm() { raise_any_openvpn openvpn-gcm 10.99.7 1195 "data-ciphers AES-128-GCM"; }

# A hub that forwards between its peers, which takes the Ethernet mode.
fastd_host() { # SYSTEM, HOST, ADDRESS, METHOD, LINE...
    cat >"$LAB_DIR/$1.$2.conf" <<TEXT
interface "$1";
mode tap;
method "$4";
mtu 1426;
bind $3;
secret "$(sed -n 's/^Secret: //p' "$LAB_DIR/$1.$2.key")";
TEXT
    printf '%s\n' "${@:5}" >>"$LAB_DIR/$1.$2.conf"
}
fastd_peer() { # SYSTEM, HOST, LINE...
    local key
    key=$(sed -n 's/^Public: //p' "$LAB_DIR/$1.$2.key")
    echo "peer \"$2\" { key \"$key\"; ${*:3} }"
}
raise_any_fastd() { # SYSTEM, NET, PORT, METHOD
    local host
    for host in tcr a b; do fastd --generate-key >"$LAB_DIR/$1.$host.key" 2>/dev/null; done
    fastd_host "$1" tcr "$hub:$3" "$4" "forward yes;" \
        "$(fastd_peer "$1" a)" "$(fastd_peer "$1" b)"
    for host in a b; do
        fastd_host "$1" "$host" "${uplink[$host]}:$3" "$4" \
            "$(fastd_peer "$1" tcr "remote $hub:$3;")"
    done
    for host in tcr a b; do run "$1" "$host" fastd --config "$LAB_DIR/$1.$host.conf"; done
    give_address a "$1" "$2.1"
    give_address b "$1" "$2.2"
    address[$1]=$2.2
}
raise_fastd() { raise_any_fastd fastd 10.99.5 10000 null; }
# The method that its manual recommends.
raise_fastd-salsa() { raise_any_fastd fastd-salsa 10.99.8 10001 salsa2012+umac; }

# The hub's kernel passes packets on from one peer to the other. The control sockets lie in a folder
# that all hosts share: each host has one of its own in its place.
wireguard_host() { # HOST, ADDRESS
    # shellcheck disable=SC2016
    run wireguard-go "$1" sh -c 'mount -t tmpfs none /run && exec wireguard-go -f wireguard-go'
    give_address "$1" wireguard-go "$2"
}
wireguard_set() { # HOST, OPTION...
    nsenter -t "${wireguard_pid[$1]}" -n -m wg set wireguard-go \
        private-key "$LAB_DIR/wireguard.$1.key" "${@:2}"
}
raise_wireguard-go() {
    local host
    local -A number=([a]=1 [b]=2 [tcr]=254) public wireguard_pid
    for host in tcr a b; do
        (umask 077 && wg genkey >"$LAB_DIR/wireguard.$host.key")
        public[$host]=$(wg pubkey <"$LAB_DIR/wireguard.$host.key")
        wireguard_host "$host" "10.99.9.${number[$host]}"
        wireguard_pid[$host]=${pids[wireguard-go]##* }
    done
    wireguard_set tcr listen-port 51820 peer "${public[a]}" allowed-ips 10.99.9.1/32 \
        peer "${public[b]}" allowed-ips 10.99.9.2/32
    for host in a b; do
        wireguard_set "$host" listen-port 51820 peer "${public[tcr]}" \
            allowed-ips 10.99.9.0/24 endpoint "$hub:51820" persistent-keepalive 5
    done
    "$lab" exec tcr sysctl -q -w net.ipv4.conf.wireguard-go.forwarding=1
    address[wireguard-go]=10.99.9.2
}

# Raises a system and waits until it carries packets.
raise() { # SYSTEM
    step "raising $1"
    "raise_$1"
    # Some answer themselves that there is no way yet, which ends a ping at once.
    "$lab" exec a timeout "$start_seconds" \
        sh -c "until ping -q -c 1 -W 1 ${address[$1]}; do sleep 0.1; done" >/dev/null
}
