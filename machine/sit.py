#!/usr/bin/env python3
"""sit.py FOLDER: boots the two machines of FOLDER (packages.sh and image.sh make it) and reads
commands for them from standard input: "router COMMAND" or "world COMMAND", a line each."""
import sys

from machine import Machine


def main():
    if len(sys.argv) != 2 or sys.argv[1].startswith("-"):
        sys.exit(__doc__)
    folder = sys.argv[1]
    wires = [f"{folder}/router.wire", f"{folder}/world.wire"]
    machines = {"router": Machine(folder, "router", [wires]), "world": Machine(folder, "world", [wires[::-1]])}
    try:
        for each in machines.values():
            each.wait()
        print("router: br0 192.168.1.1; world: hosts lan 192.168.1.10 and isp 203.0.113.1", flush=True)
        for line in sys.stdin:
            name, _, command = line.strip().partition(" ")
            if name not in machines or not command:
                print('wanted: "router COMMAND" or "world COMMAND"', file=sys.stderr)
                continue
            code, output = machines[name].run(command)
            print(output, end="", flush=True)
            if code:
                print(f"exit code {code}", file=sys.stderr)
    finally:
        for each in machines.values():
            each.end()


if __name__ == "__main__":
    main()
