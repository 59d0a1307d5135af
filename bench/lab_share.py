#!/usr/bin/env python3
"""How much of a firewall rebuild in the lab is the library's.

  lab_share.py ORBA CONFIG [ROUNDS]

Makes a lab of its own and has the same firewall built again and again, in turns:
by `orba apply`, by a script of the very lines, and by a script that starts a
shell for each line, as system() must. The library's own time is what it takes
where commands cost nothing, as library_bench says: pass it in nanoseconds for
each command as ORBA_BENCH_NS to have its share said too.
"""
import os
import shlex
import statistics
import subprocess
import sys
import tempfile
import time

orba, config = os.path.abspath(sys.argv[1]), os.path.abspath(sys.argv[2])
rounds = int(sys.argv[3]) if len(sys.argv) > 3 else 15
state = tempfile.mkdtemp()
os.environ["ORBA_LAB_STATE"] = state + "/lab"


def run(*words):
    return subprocess.run([orba, *words], capture_output=True, text=True)


def spent(*words):
    """Seconds of wall clock and of processors, those of all its commands too."""
    start = time.monotonic()
    with tempfile.TemporaryFile() as output:
        process = subprocess.Popen([orba, *words], stdout=output, stderr=output)
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        taken = time.monotonic() - start
        if words[0] == "apply" and process.returncode != 0:
            output.seek(0)
            sys.exit(f"orba {' '.join(words)}: {output.read().decode()}")
    return taken, usage.ru_utime + usage.ru_stime


up = run("lab", "up", "--config", config)
if up.returncode != 0:
    print(up.stdout + up.stderr, end="")
    os.rmdir(state)
    sys.exit(77)
try:
    lines = run("plan", "firewall_init", "--raw", "--lab", "--config", config).stdout.splitlines()
    plain = "\n".join(lines)
    shelled = "\n".join("sh -c " + shlex.quote(line) for line in lines)
    ways = {
        "apply": ["apply", "firewall_init"],
        "script": ["lab", "shell", "router", "sh", "-c", plain],
        "script, a shell a line": ["lab", "shell", "router", "sh", "-c", shelled],
        "apply of nothing": ["apply", "getOnePortOnly"],
        "script of nothing": ["lab", "shell", "router", "sh", "-c", ":"],
    }
    taken = {way: [] for way in ways}
    for turn in range(rounds + 1):
        for way, words in ways.items():
            both = spent(*words)
            if turn > 0:  # the first one warms up
                taken[way].append(both)
finally:
    run("lab", "down")
    os.rmdir(state)

wall, processor = ({way: statistics.median(both[i] for both in all) for way, all in taken.items()}
                   for i in (0, 1))
print(f"{len(lines)} lines, {rounds} rounds in turns, medians")
print(f"{'':26}{'wall':>10} {'/ script':>9} {'processor':>12} {'/ script':>9}")
for way in ways:
    print(f"  {way:24}{wall[way] * 1000:7.0f} ms {wall[way] / wall['script']:9.3f} "
          f"{processor[way] * 1000:9.0f} ms {processor[way] / processor['script']:9.3f}")
same = "script, a shell a line"
print(f"apply / {same}: wall {wall['apply'] / wall[same]:.3f}, "
      f"processor {processor['apply'] / processor[same]:.3f}")
if "ORBA_BENCH_NS" in os.environ:
    library = float(os.environ["ORBA_BENCH_NS"]) * len(lines) / 1e9
    print(f"the library's own {library * 1000:.3f} ms are "
          f"{100 * library / wall['apply']:.4f} % of apply's")
