"""A lab of its own for the tests, and packets between its hosts."""

import contextlib
import ctypes
import itertools
import json
import os
import select
import socket
import struct
import subprocess
import tempfile
import unittest

ORBA = os.environ["ORBA"]
EXAMPLES = os.environ["EXAMPLES"]
STATE = os.environ["ORBA_LAB_STATE"]
ROUTER = "198.51.100.2"  # from the Internet
ROUTER_LAN = "192.168.1.1"
LAN = "192.168.1.10"
INTERNET = "198.51.100.1"
TRUSTED = "198.51.100.10"  # another address of the Internet host

# What up.sh says of something that kernel or tools lack.
MISSING = "not to be had here: "

# How long silence lasts before it counts as such.
PATIENCE = 0.5

libc = ctypes.CDLL(None, use_errno=True)


def example(name, **changes):
    """The settings of an example, some of them changed, as a configuration."""
    lines = []
    with open(f"{EXAMPLES}/{name}.conf", encoding="utf-8") as file:
        for line in file.read().split("\n[2]")[0].splitlines():
            if line.split("=")[0] not in changes:
                lines.append(line)
    lines += [f"{key}={value}" for key, value in changes.items()]
    return "\n".join(lines) + "\n"


def run(*words, **more):
    return subprocess.run(words, capture_output=True, text=True, check=False, **more)


def process_of(host):
    """The number of the process that holds a host's namespaces."""
    with open(f"{STATE}/{host}.pid", encoding="ascii") as file:
        return int(file.read().split()[0])


@contextlib.contextmanager
def on(host):
    """Sockets made inside belong to this host of the lab."""
    home = os.open("/proc/self/ns/net", os.O_RDONLY)
    there = os.open(f"/proc/{process_of(host)}/ns/net", os.O_RDONLY)
    if libc.setns(there, 0) != 0:
        raise OSError(ctypes.get_errno(), "setns")
    try:
        yield
    finally:
        libc.setns(home, 0)
        os.close(home)
        os.close(there)


def lan_mac(mac):
    """Gives the LAN host another MAC address, and lets the router forget the old one."""
    shell("lan", f"ip link set eth0 address {mac}; ip neigh flush all")
    shell("router", "ip neigh flush all")


def shell(host, command):
    """What a command on a host prints; it must succeed."""
    done = run(ORBA, "lab", "shell", host, "sh", "-c", command)
    if done.returncode != 0:
        raise AssertionError(f"{host}: {command}: {done.stderr or done.stdout}")
    return done.stdout


# ---- packets ----


def checksum(data):
    data += b"\0" * (len(data) % 2)
    total = sum(struct.unpack(f"!{len(data) // 2}H", data))
    while total >> 16:
        total = (total & 0xFFFF) + (total >> 16)
    return ~total & 0xFFFF


def waits(sock, patience=PATIENCE):
    return bool(select.select([sock], [], [], patience)[0])


def answered(host, protocol, body, target, is_answer, source=""):
    """Whether a host sends this and gets an answer, of which is_answer(packet) is true."""
    with on(host):
        raw = socket.socket(socket.AF_INET, socket.SOCK_RAW, protocol)
    with raw:
        raw.bind((source, 0))
        raw.sendto(body, (target, 0))
        while waits(raw):
            packet, sender = raw.recvfrom(65535)
            if sender[0] == target and is_answer(packet[20:]):
                return True
    return False


identities = itertools.count(1000)


def ping(host, target, size=8):
    """Whether an echo request of a new conversation is answered."""
    body = struct.pack("!BBHHH", 8, 0, 0, next(identities), 1) + b"x" * size
    body = body[:2] + struct.pack("!H", checksum(body)) + body[4:]
    return answered(host, socket.IPPROTO_ICMP, body, target, lambda answer: answer[0] == 0)


def tcp(host, target, port, source=None, listener=None, words=b""):
    """What comes of a connection: the address it comes from, as the listener on
    (host, address) sees it; "refused"; or "dropped", which it is too when the
    listener does not get these words over it."""
    server = None
    if listener:
        with on(listener[0]):
            server = socket.create_server((listener[1], port))
    with on(host):
        client = socket.socket()
    with contextlib.ExitStack() as stack:
        stack.enter_context(client)
        if server:
            stack.enter_context(server)
        if source:
            client.bind((source, 0))
        client.settimeout(PATIENCE)
        try:
            client.connect((target, port))
        except ConnectionRefusedError:
            return "refused"
        except OSError:
            return "dropped"
        if not server:
            return "connected"
        if not waits(server):
            return "elsewhere"
        connection, peer = server.accept()
        with connection:
            client.sendall(words)
            got = not words or (waits(connection) and connection.recv(999) == words)
            return peer[0] if got else "dropped"


def udp(host, target, port, listener, source=None):
    """The sender's address as the listener on (host, address) sees it, or "dropped"."""
    with on(listener[0]):
        server = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    with on(host):
        client = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    with server, client:
        server.bind((listener[1], port))
        if source:
            client.bind((source, 0))
        client.sendto(b"hello", (target, port))
        return server.recvfrom(99)[1][0] if waits(server) else "dropped"


FLAGS = {"FIN": 1, "SYN": 2, "RST": 4, "PSH": 8, "ACK": 16, "URG": 32}


def send_flags(host, source, target, names, port=9):
    """Sends a TCP packet with these flags to a closed port; whether it is answered."""
    flags = sum(FLAGS[name] for name in names)
    header = struct.pack("!HHIIBBHHH", 4321, port, 1, 0, 5 << 4, flags, 1024, 0, 0)
    pseudo = socket.inet_aton(source) + socket.inet_aton(target) + struct.pack("!HH", 6, 20)
    header = header[:16] + struct.pack("!H", checksum(pseudo + header)) + header[18:]
    return answered(host, socket.IPPROTO_TCP, header, target,
                    lambda answer: struct.unpack("!HH", answer[:4]) == (port, 4321), source)


class Sniffer(contextlib.AbstractContextManager):
    """The IPv4 packets that an interface of a host receives."""

    def __init__(self, host, interface):
        with on(host):
            self.socket = socket.socket(socket.AF_PACKET, socket.SOCK_DGRAM, socket.htons(0x0800))
            self.socket.bind((interface, 0x0800))

    def __exit__(self, *_):
        self.socket.close()

    def find(self, wanted, patience=PATIENCE):
        """The first packet for which wanted(packet) is true, or None."""
        while waits(self.socket, patience):
            packet = self.socket.recv(65535)
            if wanted(packet):
                return packet
        return None


def maximum_segment(packet):
    """The MSS option of a TCP packet."""
    segment = packet[(packet[0] & 15) * 4 :]
    options = segment[20 : (segment[12] >> 4) * 4]
    while options:
        kind = options[0]
        if kind == 2:
            return struct.unpack("!H", options[2:4])[0]
        options = options[1:] if kind < 2 else options[options[1] :]
    return None


# ---- the lab ----


class LabTest(unittest.TestCase):
    """A class of tests has a lab for one configuration, and may apply others
    that name the same interfaces."""

    EXAMPLE = "gateway"

    @classmethod
    def setUpClass(cls):
        with tempfile.NamedTemporaryFile("w", suffix=".conf") as file:
            file.write(example(cls.EXAMPLE))
            file.flush()
            done = run(ORBA, "lab", "up", "--config", file.name)
        if done.returncode != 0:
            raise AssertionError(done.stderr)
        shell("lan", "for n in 11 12 20 30 40 50; do ip address add 192.168.1.$n/24 dev eth0; done")
        shell("internet", f"ip address add {TRUSTED}/24 dev eth0")
        cls.lacks = {
            line.removeprefix(MISSING)
            for line in done.stdout.splitlines()
            if line.startswith(MISSING)
        }

    def needs(self, *features):
        for feature in features:
            if feature in self.lacks:
                self.skipTest(MISSING + feature)

    def orba(self, *words, config=None):
        """The tool's answer, and its exit code as "exit"."""
        with tempfile.NamedTemporaryFile("w", suffix=".conf") as file:
            file.write(config if config is not None else example(self.EXAMPLE))
            file.flush()
            done = run(ORBA, *words, "--config", file.name, "--json")
        self.assertTrue(done.stdout, done.stderr)
        return {"exit": done.returncode} | json.loads(done.stdout)

    def apply(self, *words, config=None):
        """Applies an entry point; no command may fail that is not meant to."""
        answer = self.orba("apply", *words, config=config)
        faults = [c for c in answer["commands"] if c["status"] not in (0, 125) and "harmless" not in c]
        self.assertEqual(faults, [])
        self.assertEqual(answer["exit"], 0)
        return answer

    def counted(self, chain, part):
        """Packets that met the rules of a chain with this text."""
        rules = shell("router", "iptables-save -c -t filter")
        return sum(int(line[1:].split(":")[0]) for line in rules.splitlines()
                   if f"-A {chain} " in line and part in line)

    def firewall(self, **changes):
        return self.apply("firewall_init", config=example(self.EXAMPLE, **changes))

    def output(self, getter, *words, config=None):
        return self.apply(getter, *words, config=config)["outputs"][0]
