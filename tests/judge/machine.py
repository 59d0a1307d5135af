#!/usr/bin/env python3
"""machine.py JUDGE PLAYER [OPTION...]: has packets_judge hold the model against the
kernel of a booted machine, which packets_player runs on. The options are the judge's; without them
20 configurations and 500 packets to each.

The machine is one of ./dev machine's image, with nothing but the judge's own on it. Ends with 77 where
it cannot be made, which CI=true does not allow.
"""
import gzip
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

ROLE = "for module in tun bridge ppp_generic pppoe; do modprobe $module; done\n"


def initramfs(folder, state):
    """The image's with the judge's files behind it."""
    own = os.path.join(state, "own")
    os.makedirs(os.path.join(own, "etc/role"))
    with open(os.path.join(own, "etc/role/judge"), "w", encoding="ascii") as role:
        role.write(ROLE)
    shutil.move(os.path.join(state, "judge"), own)
    shutil.copytree(os.path.join(ROOT, "lab", "tools"), os.path.join(own, "judge/tools"))
    names = subprocess.run(["find", "."], cwd=own, check=True, capture_output=True).stdout
    packed = subprocess.run(["cpio", "-o", "-H", "newc", "--quiet", "-R", "0:0"], cwd=own, input=names,
                            check=True, capture_output=True).stdout
    path = os.path.join(state, "initramfs")
    with open(path, "wb") as file, open(os.path.join(folder, "initramfs"), "rb") as image:
        shutil.copyfileobj(image, file)
        file.write(gzip.compress(packed, 1))
    return path


def play(machine, plans, answers):
    for seed in sorted(os.listdir(plans), key=int):
        code, output, errors = machine.run(f"/judge/player /judge/plans/{seed}")
        if code:
            print(f"seed {seed}: {errors.strip()}")
            continue
        with open(os.path.join(answers, seed), "w", encoding="ascii") as file:
            file.write(output)


def judge(program, player, options, state):
    plans, answers = os.path.join(state, "judge/plans"), os.path.join(state, "answers")
    for folder in plans, answers:
        os.makedirs(folder)
    subprocess.run([program, "--plan", plans, *options], check=True)
    shutil.copy(player, os.path.join(state, "judge/player"))
    machine = Machine(state, "judge")
    begin = time.monotonic()
    try:
        folder = booted.image_folder()
        machine.start(folder, [("judge.wire", "nobody.wire")], initramfs=initramfs(folder, state))
        machine.run("until [ -e /run/up ]; do usleep 50000; done", seconds=300)
        up = time.monotonic()
        play(machine, os.path.join(state, "own/judge/plans"), answers)
        print(f"up after {up - begin:.0f} s, played in {time.monotonic() - up:.0f} s")
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
