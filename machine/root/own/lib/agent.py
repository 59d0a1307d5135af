"""agent.py PORT: sends packets in the world's networks for whoever asks on a port. A line that comes in
is a Python tuple in base64: a mark, a function of packets.py and its arguments. What goes out is another:
"=", the mark, what came of it and what went wrong."""
import ast
import base64
import itertools
import os
import sys
import termios
import tty

import packets

packets.namespace = lambda host: f"/run/netns/{host}"
packets.PATIENCE = 1.5  # two emulators stand between a question and its answer

sniffers = {}
numbers = itertools.count()


def sniff(host, interface):
    number = next(numbers)
    sniffers[number] = packets.Sniffer(host, interface)
    return number


FUNCTIONS = {"ping": packets.ping, "tcp": packets.tcp, "udp": packets.udp, "send_flags": packets.send_flags,
             "sniff": sniff, "next": lambda number: sniffers[number].next(),
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
