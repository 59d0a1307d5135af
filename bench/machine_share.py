#!/usr/bin/env python3
"""What a rebuild of the firewall takes on a booted router, and how much of it is the library's.

  machine_share.py ORBA CONFIG [ROUNDS]

Boots the router of ./dev machine's image, with fixed addresses and no world around it. The same firewall is built again and again, in turns: by the
library, by a script of the very lines in one shell, and by one that starts a shell for each, as system()
must. The machine's clock goes on by 2 ns for each instruction, as that of a processor of 500 MHz that
does one a cycle: how busy the desk is does not matter. Ends with 77 where the machine cannot be made.
"""
import os
import shlex
import shutil
import signal
import statistics
import subprocess
import sys
import tempfile

sys.path.insert(0, os.path.join(os.path.dirname(os.path.realpath(__file__)), "..", "machine"))

import booted  # noqa: E402

FIXED = "wanConnectionMode=STATIC\nwan_gateway=198.51.100.1\nwanConnectionMode2=STATIC\n"
TICKS = 100  # of /proc, a second
EMULATOR = "qemu-system-mipsel"

# The processor time of a process itself and of its commands, once it has had none for a second.
OWN = """orba_call --stay 600 %s >/dev/null 2>&1 & p=$!
quiet=0; while [ $quiet -lt 10 ]; do usleep 100000; quiet=$((quiet + 1))
  read -r children </proc/$p/task/$p/children; [ -z "$children" ] || quiet=0
done; cut -d ' ' -f 14-17 /proc/$p/stat; kill $p"""


def spent(lab, command):
    """Seconds of the clock and of the processor."""
    words = lab.checked(f"busybox time -p {command} 2>&1 >/dev/null | tail -n 3").split()
    real, user, system = (float(words[i]) for i in (1, 3, 5))
    return real, user + system


def own(lab, entry):
    fields = [int(word) for word in lab.checked(OWN % entry).split()]
    return sum(fields[:2]) / TICKS, sum(fields[2:]) / TICKS


def counting(folder):
    """Puts an emulator in front of the real one whose clock counts instructions."""
    path = os.path.join(folder, EMULATOR)
    with open(path, "w", encoding="utf-8") as script:
        script.write(f'#!/bin/sh\nexec {shutil.which(EMULATOR)} -icount shift=1,sleep=off -rtc clock=vm "$@"\n')
    os.chmod(path, 0o755)
    os.environ["PATH"] = folder + ":" + os.environ["PATH"]


def main():
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))  # so that the machine ends too
    orba, config, rounds = sys.argv[1], sys.argv[2], int(sys.argv[3]) if len(sys.argv) > 3 else 3
    with open(config, encoding="utf-8") as file:
        settings = booted.without_comments(file.read()) + FIXED
    ways = {"firewall_init": "orba_call firewall_init", "a shell for each line": "sh /run/shells",
            "one shell": "sh /run/lines"}
    taken = {way: [] for way in ways}
    with tempfile.TemporaryDirectory() as state:
        with open(os.path.join(state, "settings"), "w", encoding="utf-8") as file:
            file.write(settings)
        lines = subprocess.run([orba, "plan", "firewall_init", "--raw", "--config", file.name],
                               check=True, capture_output=True, text=True).stdout.splitlines()
        os.environ["ORBA_LAB_STATE"] = os.path.join(state, "lab")
        lab = booted.Booted()
        try:
            lab.needs()
            counting(state)
            os.makedirs(lab.state)
            subprocess.run(["mke2fs", "-q", "-t", "ext4", lab.path("store.ext4"), "16M"], check=True)
            lab.router.start(lab.folder, ("router.wire", "nobody.wire"), "store.ext4", fresh=True)
            lab.router.run("true", seconds=900)  # a long line is lost on a port that is not yet open
            lab.router.begin("router", settings)
            lab.router.run("until [ -e /run/up ]; do usleep 50000; done", seconds=900)
            lab.checked("cat >/run/lines", ("\n".join(lines) + "\n").encode())
            lab.checked("cat >/run/shells", "".join(f"sh -c {shlex.quote(line)}\n" for line in lines).encode())
            for _ in range(rounds):
                for way, command in ways.items():
                    taken[way].append(spent(lab, command))
            itself, commands = own(lab, "firewall_init")
            start, _ = own(lab, "getOnePortOnly")
        except booted.Refused as error:
            print(error)
            sys.exit(booted.NOT_HERE if error.code == booted.NOT_HERE else 1)
        finally:
            lab.down()
    print(f"{len(lines)} lines, {rounds} rounds in turns, medians")
    whole = [statistics.median(each[i] for each in taken["firewall_init"]) for i in (0, 1)]
    for way, all_of_it in taken.items():
        real, processor = (statistics.median(each[i] for each in all_of_it) for i in (0, 1))
        print(f"  {way:22} {real:6.2f} s, processor {processor:6.2f} s; firewall_init / it {whole[0] / real:.2f}, {whole[1] / processor:.2f}")
    print(f"the process that calls it: {itself - start:.2f} s of {itself + commands:.2f} s ({start:.2f} s to start it)")


main()
