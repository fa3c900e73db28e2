"""An edge in a few lines, over the channel that openssl s_client makes: joins a subnet, pings its
gateway, goes on in a second channel and logs out, by docs/protocol.md alone.

  sealed_join.py ADDRESS:PORT FINGERPRINT PASSWORD [KEY-FILE CERTIFICATE-FILE]

Exit status 0 when all of it went well; else 1, with a line that says what did not.
"""

import hashlib
import select
import struct
import subprocess
import sys
import tempfile
import time

CENTRAL = 0xFFFFFFFF
SUBNET, SERIAL, VERSION = b"qwop", 1009, 0x00000105
MAC = bytes.fromhex("020000000009")
COMMAND, COMMAND_ACK, PACKET = 3, 4, 5
ECHO, LOGIN, LOGOUT, DHCP, ROUTER_GET, ROUTER_ADD, DEVICE_ADD = 2, 3, 4, 5, 14, 10, 16


def give_up(what):
    print(what)
    sys.exit(1)


def s_client(address, *options):
    return ["openssl", "s_client", "-dtls1_2", "-timeout", "-connect", address, *options]


def certificate_of(address, fingerprint):
    """The certificate that the central router shows, if its key is the one that is known."""
    shown = subprocess.run(s_client(address), stdin=subprocess.DEVNULL, capture_output=True,
                           timeout=30).stdout.decode()
    begin, end = "-----BEGIN CERTIFICATE-----", "-----END CERTIFICATE-----\n"
    if begin not in shown:
        give_up("the central router shows no certificate")
    pem = shown[shown.index(begin):shown.index(end) + len(end)].encode()
    public = subprocess.run(["openssl", "x509", "-noout", "-pubkey"], input=pem,
                            capture_output=True, check=True).stdout
    der = subprocess.run(["openssl", "pkey", "-pubin", "-outform", "DER"], input=public,
                         capture_output=True, check=True).stdout
    if "sha256:" + hashlib.sha256(der).hexdigest() != fingerprint:
        give_up("the central router has another key")
    return pem


class Channel:
    """One message is one record: s_client makes one of what it reads at once, so that the next
    message is written only when the one before was answered."""

    def __init__(self, address, options):
        self.seq = 0
        self.received = b""
        self.tool = subprocess.Popen(s_client(address, "-quiet", *options), stdin=subprocess.PIPE,
                                     stdout=subprocess.PIPE, stderr=subprocess.PIPE, bufsize=0)

    def send(self, kind, sub, body=b"", src=CENTRAL, dst=CENTRAL, seq=None):
        if seq is None:
            self.seq += 1
            seq = self.seq
        head = struct.pack(">BBHHBBII", kind, sub, seq, 16 + len(body), 0, 0, src, dst)
        self.tool.stdin.write(head + body)

    def receive(self, seconds):
        """The next message as (kind, sub type, seq, body), or None."""
        end = time.monotonic() + seconds
        while True:
            if len(self.received) >= 16:
                length = struct.unpack_from(">H", self.received, 4)[0]
                if len(self.received) >= length:
                    message, self.received = self.received[:length], self.received[length:]
                    kind, sub, seq = struct.unpack_from(">BBH", message)
                    return kind, sub, seq, message[16:]
            left = end - time.monotonic()
            if left <= 0 or not select.select([self.tool.stdout], [], [], left)[0]:
                return None
            got = self.tool.stdout.read(65536)
            if not got:
                give_up("the channel ended: " + self.tool.stderr.read().decode())
            self.received += got

    def acknowledge(self, sub, seq, src):
        """A command of the central router: its own reply has an error only for a router add."""
        self.send(COMMAND_ACK, sub, struct.pack(">I", 0) if sub == ROUTER_ADD else b"", src,
                  seq=seq)

    def ask(self, what, sub, body=b"", src=CENTRAL):
        """The body of the reply; the request is repeated with its number."""
        self.seq += 1
        seq = self.seq
        for _ in range(20):
            self.send(COMMAND, sub, body, src, seq=seq)
            end = time.monotonic() + 0.5
            while (left := end - time.monotonic()) > 0:
                got = self.receive(left)
                if got and got[:3] == (COMMAND_ACK, sub, seq):
                    return got[3]
                if got and got[0] == COMMAND:
                    self.acknowledge(got[1], got[2], src)
        give_up(f"{what}: no reply")

    def close(self):
        self.tool.kill()
        self.tool.wait()


def text(value):
    return value.ljust(32, b"\0")


def login(channel, password, src=CENTRAL):
    body = text(SUBNET) + text(b"") + text(password) + struct.pack(">II", SERIAL, VERSION)
    error, identifier = struct.unpack(">II", channel.ask("login", LOGIN, body, src))
    if error:
        give_up(f"login refused, error {error}")
    return identifier


def checksum(data):
    total = sum(struct.unpack(f">{len(data) // 2}H", data))
    while total > 0xFFFF:
        total = (total & 0xFFFF) + (total >> 16)
    return ~total & 0xFFFF


def ping(channel, identifier, own, gateway):
    """An echo request to the gateway inside an IPv4 packet, and its reply."""
    for number in range(1, 41):
        echo = struct.pack(">BBHHH", 8, 0, 0, 0x5EA1, number) + b"from afar" * 4
        echo = echo[:2] + struct.pack(">H", checksum(echo)) + echo[4:]
        head = struct.pack(">BBHHHBBH4s4s", 0x45, 0, 20 + len(echo), number, 0, 64, 1, 0, own,
                           gateway)
        head = head[:10] + struct.pack(">H", checksum(head)) + head[12:]
        channel.send(PACKET, 0, head + echo, identifier)
        end = time.monotonic() + 0.5
        while (left := end - time.monotonic()) > 0:
            got = channel.receive(left)
            if got and got[0] == COMMAND:
                channel.acknowledge(got[1], got[2], identifier)
            if got and got[0] == PACKET and got[3][12:20] == gateway + own and got[3][20] == 0:
                if got[3][24:] != echo[4:]:
                    give_up("the gateway's answer is not what was asked")
                return
    give_up("the gateway does not answer")


def main():
    address, fingerprint, password = sys.argv[1], sys.argv[2], sys.argv[3].encode()
    options = ["-verify_return_error", "-partial_chain"]
    if len(sys.argv) > 4:
        options += ["-key", sys.argv[4], "-cert", sys.argv[5]]
    with tempfile.NamedTemporaryFile() as trusted:
        trusted.write(certificate_of(address, fingerprint))
        trusted.flush()
        options += ["-CAfile", trusted.name]
        channel = Channel(address, options)
        channel.ask("echo", ECHO)
        identifier = login(channel, password)
        lent = channel.ask("dhcp", DHCP, bytes(4) + MAC + bytes(2), identifier)
        error, gateway, _, own = struct.unpack(">I4s4s4s", lent)
        if error:
            give_up(f"dhcp refused, error {error}")
        channel.ask("router get", ROUTER_GET, b"", identifier)
        router = struct.pack(">HBBIIHHI", 2, 3, 0, identifier, SERIAL, 0, 0, 0)
        error = struct.unpack(
            ">I", channel.ask("router add", ROUTER_ADD, router + text(b"second"), identifier))[0]
        if error:
            give_up(f"router add refused, error {error}")
        device = struct.pack(">IHH4s6s", identifier, 1, 1, own, MAC)
        channel.ask("device add", DEVICE_ADD, device, identifier)
        ping(channel, identifier, own, gateway)
        print("joined, pinged")

        # Another channel, from another port: the session goes on in it.
        other = Channel(address, options)
        other.seq = channel.seq
        if login(other, password, identifier) != identifier:
            give_up("another identifier in the second channel")
        ping(other, identifier, own, gateway)
        channel.close()
        other.ask("logout", LOGOUT, b"", identifier)
        other.close()
        print("went on in a second channel, logged out")


main()
