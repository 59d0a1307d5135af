"""agent.py PORT: sends packets in the world's networks for whoever asks on a port. A line that comes in
is a Python tuple in base64: a mark, a function of packets.py and its arguments. What goes out is another:
"=", the mark, what came of it and what went wrong."""
import ast
import base64
import itertools
import os
import select
import socket
import struct
import sys
import termios
import tty

import packets

packets.namespace = lambda host: f"/run/netns/{host}"
ROUNDS = 8  # more than a packet and its answer cross the wire, addresses asked for included


def settle():
    """Returns once the router has answered what was sent after a packet, which it takes up in turn:
    two emulators that share a processor with others may take seconds for what else takes none."""
    with packets.on("lan"):
        wire = socket.socket(socket.AF_PACKET, socket.SOCK_RAW, socket.htons(0x0806))
    with wire:
        wire.bind(("eth0", 0x0806))
        own = wire.getsockname()[4]
        # Who has 192.168.1.1? Asked by nobody, so that the router keeps no record of it.
        probe = struct.pack("!6s6sHHHBBH6s4s6s4s", b"\xff" * 6, own, 0x0806, 1, 0x0800, 6, 4, 1, own, bytes(4),
                            bytes(6), socket.inet_aton("192.168.1.1"))
        for _ in range(ROUNDS):
            wire.send(probe)
            answer = b""
            while answer[20:22] != b"\0\2":
                if not select.select([wire], [], [], 10)[0]:
                    return  # a link that is down, or a filter
                answer = wire.recv(99)


packets.settle = settle

sniffers = {}
numbers = itertools.count()


def sniff(host, interface):
    number = next(numbers)
    sniffers[number] = packets.Sniffer(host, interface)
    return number


FUNCTIONS = {"ping": packets.ping, "tcp": packets.tcp, "udp": packets.udp, "send_flags": packets.send_flags,
             "send_as": packets.send_as, "sniff": sniff, "next": lambda number: sniffers[number].next(),
             "leave": lambda number: sniffers.pop(number).__exit__()}


def main():
    port = os.open(f"/dev/{sys.argv[1]}", os.O_RDWR)
    tty.setraw(port, termios.TCSANOW)  # a question may be there already
    with open(port, "rb", buffering=0) as lines, open(os.dup(port), "wb", buffering=0) as answers:
        for line in lines:
            mark, function, arguments, named = ast.literal_eval(base64.b64decode(line).decode())
            try:
                answer = (FUNCTIONS[function](*arguments, **named), None)
            except Exception as error:  # whoever asked is told
                answer = (None, f"{type(error).__name__}: {error}")
            text = base64.b64encode(repr(("=", mark, *answer)).encode())
            answers.write(text + b"\n")


main()
