"""Packets between the hosts of a lab: what is asked of its networks.

This runs where those networks are: for the lab in namespaces on this machine, for the booted router
in the machine that is the world around it."""

import contextlib
import ctypes
import errno
import itertools
import os
import select
import socket
import struct

# How long silence lasts before it counts as such, unless the router is so slow that it has to be asked
# whether it has seen what was sent.
PATIENCE = 0.5
settle = lambda: None

libc = ctypes.CDLL(None, use_errno=True)


def namespace(host):
    """The file that stands for a host's network."""
    with open(f"{os.environ['ORBA_LAB_STATE']}/{host}.pid", encoding="ascii") as file:
        return f"/proc/{file.read().split()[0]}/ns/net"


@contextlib.contextmanager
def on(host):
    """Sockets made inside belong to this host of the lab."""
    home = os.open("/proc/self/ns/net", os.O_RDONLY)
    there = os.open(namespace(host), os.O_RDONLY)
    if libc.setns(there, 0) != 0:
        raise OSError(ctypes.get_errno(), "setns")
    try:
        yield
    finally:
        libc.setns(home, 0)
        os.close(home)
        os.close(there)


def checksum(data):
    data += b"\0" * (len(data) % 2)
    total = sum(struct.unpack(f"!{len(data) // 2}H", data))
    while total >> 16:
        total = (total & 0xFFFF) + (total >> 16)
    return ~total & 0xFFFF


def waits(sock, patience=None, writing=False):
    """Whether there is something to be read, or a connection came to something."""
    wanted = ([], [sock], []) if writing else ([sock], [], [])
    if any(select.select(*wanted, PATIENCE if patience is None else patience)):
        return True
    settle()
    return any(select.select(*wanted, 0))


def connects(client, target):
    """What is wrong with a connection, as a number; 0 when nothing is."""
    client.setblocking(False)
    error = client.connect_ex(target)
    if error == errno.EINPROGRESS:
        error = client.getsockopt(socket.SOL_SOCKET, socket.SO_ERROR) if waits(client, writing=True) else error
    client.setblocking(True)
    return error


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
        if error := connects(client, (target, port)):
            return "refused" if error == errno.ECONNREFUSED else "dropped"
        if not server:
            return "connected"
        if not waits(server):
            return "elsewhere"
        connection, peer = server.accept()
        with connection:
            client.sendall(words)
            got = not words or (waits(connection) and connection.recv(999) == words)
            return peer[0] if got else "dropped"


def udp(host, target, port, listener=None, source=None, source_port=0):
    """The sender's address as the listener on (host, address) sees it; without one "refused" when the
    target says that nobody listens; or "dropped"."""
    server = None
    if listener:
        with on(listener[0]):
            server = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    with on(host):
        client = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    with contextlib.ExitStack() as stack:
        stack.enter_context(client)
        if server:
            stack.enter_context(server)
            server.bind((listener[1], port))
        for option in (socket.SO_REUSEADDR, socket.SO_REUSEPORT) if source_port else ():
            client.setsockopt(socket.SOL_SOCKET, option, 1)  # a server of the host may have it too
        client.bind((source or "", source_port))
        client.connect((target, port))
        client.send(b"hello")
        if server:
            return server.recvfrom(99)[1][0] if waits(server) else "dropped"
        try:
            return "answered" if waits(client) and client.recv(99) else "dropped"
        except ConnectionRefusedError:
            return "refused"


FLAGS = {"FIN": 1, "SYN": 2, "RST": 4, "PSH": 8, "ACK": 16, "URG": 32}


def tcp_header(source, target, names, port):
    flags = sum(FLAGS[name] for name in names)
    header = struct.pack("!HHIIBBHHH", 4321, port, 1, 0, 5 << 4, flags, 1024, 0, 0)
    pseudo = socket.inet_aton(source) + socket.inet_aton(target) + struct.pack("!HH", 6, 20)
    return header[:16] + struct.pack("!H", checksum(pseudo + header)) + header[18:]


def send_flags(host, source, target, names, port=9):
    """Sends a TCP packet with these flags to a closed port; whether it is answered."""
    header = tcp_header(source, target, names, port)
    return answered(host, socket.IPPROTO_TCP, header, target,
                    lambda answer: struct.unpack("!HH", answer[:4]) == (port, 4321), source)


def send_as(source, host, target, port=9):
    """Sends the beginning of a connection in somebody else's name."""
    with on(host):
        raw = socket.socket(socket.AF_INET, socket.SOCK_RAW, socket.IPPROTO_RAW)
    with raw:
        addresses = socket.inet_aton(source) + socket.inet_aton(target)
        head = struct.pack("!BBHHHBBH", 0x45, 0, 40, 0, 0, 64, socket.IPPROTO_TCP, 0) + addresses
        raw.sendto(head + tcp_header(source, target, ("SYN",), port), (target, 0))
    settle()


class Sniffer(contextlib.AbstractContextManager):
    """The IPv4 packets that an interface of a host receives."""

    def __init__(self, host, interface):
        with on(host):
            self.socket = socket.socket(socket.AF_PACKET, socket.SOCK_DGRAM, socket.htons(0x0800))
            self.socket.bind((interface, 0x0800))

    def __exit__(self, *_):
        self.socket.close()

    def next(self):
        """The next packet, or None."""
        return self.socket.recv(65535) if waits(self.socket) else None

    def find(self, wanted):
        """The first packet for which wanted(packet) is true, or None."""
        while packet := self.next():
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
