#!/usr/bin/env python3
"""How long the tool takes for a whole router, as its filter records become more.

  growth.py ORBA CONFIG [RECORDS...]

Runs `orba` as a person would, with CONFIG and in it so many records of
IPPortFilterRules (64 to 4,096, each number twice the one before, unless they are
given), and prints the processor time of each question in milliseconds, all
processes together. The records are of every kind that a page can make, at random
from a fixed seed; none of them takes all packets.
"""
import os
import random
import resource
import subprocess
import sys
import tempfile

QUESTIONS = {
    "ports": ["ports", "-c", "NEW"],
    "check": ["check", "-c", "NEW"],
    "expect": ["expect", "EXPECTATIONS", "-c", "NEW"],
    "diff": ["diff", "OLD", "NEW"],
    "plan --origins": ["plan", "firewall_init", "-c", "NEW", "--origins"],
}
# Most of them do not hold, so that each wants a reason.
EXPECTATIONS = ["wan can reach router tcp/%d" % port for port in range(1, 6)] + [
    "lan cannot reach wan tcp/%d" % port for port in range(1, 6)
]

TCP, UDP, ICMP = 1, 2, 4


def record(numbers):
    below = numbers.randrange
    network = "192.168.%d." % below(8)
    host = network + str(1 + below(254))
    source = numbers.choice([host] * 8 + [network + "0/24", network + "%d/28" % (16 * below(16))])
    to_any = below(4) != 0
    destination = "any/0" if to_any else "%d.%d.%d.%d" % (1 + below(222), below(256), below(256), below(256))
    protocol = numbers.choice([TCP] * 5 + [UDP] * 3 + [ICMP])
    first = 0 if protocol == ICMP else 1 + below(1024) if below(4) else 1024 + below(60000)
    last = min(first + below(2000), 65535) if first and below(3) == 0 else 0
    return "%s,,0,0,%s,,%d,%d,%d,1,,,,," % (source, destination, first, last, protocol)


def with_records(lines, records):
    key = "IPPortFilterRules="
    return "".join(key + ";".join(records) + "\n" if line.startswith(key) else line for line in lines)


def milliseconds(command):
    def spent():
        usage = resource.getrusage(resource.RUSAGE_CHILDREN)
        return usage.ru_utime + usage.ru_stime

    before = spent()
    done = subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
    if done.returncode not in (0, 1):  # 1: something was found
        sys.exit("%s: %s" % (" ".join(command), done.stderr))
    return 1000 * (spent() - before)


def main():
    orba, config = sys.argv[1:3]
    counts = [int(count) for count in sys.argv[3:]] or [64 << i for i in range(7)]
    with open(config) as file:
        lines = file.readlines()
    with tempfile.TemporaryDirectory() as folder:
        paths = {name: os.path.join(folder, name) for name in ("OLD", "NEW", "EXPECTATIONS")}
        with open(paths["EXPECTATIONS"], "w") as file:
            file.write("\n".join(EXPECTATIONS) + "\n")
        print("%8s" % "records" + "".join("%16s" % name for name in QUESTIONS))
        for count in counts:
            numbers = random.Random(1)
            records = [record(numbers) for _ in range(count)]
            # The old one lacks one of them, and has another somewhere else.
            fewer = records[1 : count // 2] + records[count // 2 + 1 :] + records[:1]
            for name, its in (("OLD", fewer), ("NEW", records)):
                with open(paths[name], "w") as file:
                    file.write(with_records(lines, its))
            times = [
                milliseconds([orba] + [paths.get(word, word) for word in words])
                for words in QUESTIONS.values()
            ]
            print("%8d" % count + "".join("%16.0f" % each for each in times), flush=True)


main()
