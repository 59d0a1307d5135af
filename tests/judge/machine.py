#!/usr/bin/env python3
"""machine.py JUDGE PLAYER [OPTION...]: has packets_judge hold the model against the
kernel of a booted machine, which packets_player runs on. The options are the judge's; without them
20 configurations and 500 packets to each.

The machine is one of ./dev machine's image, with nothing but the judge's own on it. Ends with 77 where
it cannot be made, which CI=true does not allow.
"""
import os
import shutil
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.realpath(__file__))
ROOT = os.path.join(HERE, "..", "..")
sys.path.insert(0, os.path.join(ROOT, "machine"))

import booted  # noqa: E402
from machine import Machine, Silent  # noqa: E402

DISK = "16M"  # what a machine's second disk has


def disk(state):
    """The judge's files, as the machine's second disk."""
    shutil.copytree(os.path.join(ROOT, "lab", "tools"), os.path.join(state, "judge/tools"))
    subprocess.run(["mke2fs", "-q", "-t", "ext4", "-O", "^has_journal", "-m", "0", "-N", "1024", "-d",
                    os.path.join(state, "judge"), os.path.join(state, "judge.ext4"), DISK], check=True)
    return "judge.ext4"


def play(machine, plans, answers):
    for seed in sorted(os.listdir(plans), key=int):
        code, output, errors = machine.run(f"/judge/player /judge/plans/{seed}")
        if code:
            print(f"seed {seed}: {errors.strip()}")
            continue
        with open(os.path.join(answers, seed), "w", encoding="ascii") as file:
            file.write(output)


def processor_time(process):
    with open(f"/proc/{process}/stat", encoding="ascii") as file:
        return sum(int(word) for word in file.read().rpartition(")")[2].split()[11:13]) / os.sysconf("SC_CLK_TCK")


def judge(program, player, options, state):
    plans, answers = os.path.join(state, "judge/plans"), os.path.join(state, "answers")
    for folder in plans, answers:
        os.makedirs(folder)
    subprocess.run([program, "--plan", plans, *options], check=True)
    shutil.copy(player, os.path.join(state, "judge/player"))
    machine = Machine(state, "judge")
    begin = time.monotonic()
    try:
        machine.start(booted.image_folder(), ("judge.wire", "nobody.wire"), disk(state))
        machine.run("mkdir /judge; blockdev --flushbufs /dev/vdb; mount -t ext4 -o ro /dev/vdb /judge;"
                    " modprobe -a tun bridge ppp_generic pppoe")
        up = time.monotonic()
        play(machine, plans, answers)
        print(f"up after {up - begin:.0f} s, played in {time.monotonic() - up:.0f} s,"
              f" {processor_time(machine.process()):.0f} s of processor time")
    finally:
        machine.end()
    return subprocess.run([program, "--played", answers, *options], check=False).returncode


def main():
    program, player, *options = sys.argv[1:]
    options = ["--configurations", "20", "--packets", "500", *options]
    try:
        booted.Booted().needs()
        if not os.path.exists(player):
            raise booted.Refused(booted.NOT_HERE, f"there is no {player}; ./dev machine makes it")
    except booted.Refused as error:
        print(f"machine.py: {error}", file=sys.stderr)
        sys.exit(1 if os.environ.get("CI") else booted.NOT_HERE)
    with tempfile.TemporaryDirectory() as state:
        try:
            sys.exit(judge(program, player, options, state))
        except (Silent, ConnectionError) as error:
            sys.exit(f"machine.py: {error}")


main()
