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


def seconds(*words):
    start = time.monotonic()
    done = run(*words)
    taken = time.monotonic() - start
    if words[0] == "apply" and done.returncode != 0:
        sys.exit(f"orba {' '.join(words)}: {done.stdout}{done.stderr}")
    return taken


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
            spent = seconds(*words)
            if turn > 0:  # the first one warms up
                taken[way].append(spent)
finally:
    run("lab", "down")
    os.rmdir(state)

median = {way: statistics.median(spent) for way, spent in taken.items()}
print(f"{len(lines)} lines, {rounds} rounds in turns, medians")
for way, spent in median.items():
    print(f"  {way:24} {spent * 1000:9.1f} ms   {spent / median['script']:.3f} of the script")
same = median["script, a shell a line"]
print(f"apply / script with a shell a line: {median['apply'] / same:.3f}")
if "ORBA_BENCH_NS" in os.environ:
    library = float(os.environ["ORBA_BENCH_NS"]) * len(lines) / 1e9
    print(f"the library's own {library * 1000:.3f} ms are {100 * library / median['apply']:.3f} % of apply")
