#!/usr/bin/env python3
"""What the tool answers to whoever types something, in words and by its exit code.

  command_line.py ORBA EXAMPLES
"""
import contextlib
import glob
import json
import os
import random
import re
import signal
import subprocess
import sys
import tempfile

orba, examples = sys.argv[1:]
DONE, FOUND, USAGE, CONFIG, OUTPUT = range(5)
NO_LAB = 77
wrong = []


def answers(words, code, shown="", told="", given=b"", into=subprocess.PIPE):
    """The exit code, and what standard output and standard error are to match from their beginnings."""
    run = subprocess.run([orba, *words.split()], input=given, stdout=into, stderr=subprocess.PIPE, timeout=60)
    texts = [(text or b"").decode(errors="backslashreplace") for text in (run.stdout, run.stderr)]
    if run.returncode != code or not all(re.match(f"(?s:{w})", t) for w, t in zip((shown, told), texts)):
        wrong.append(f"orba {words}: {run.returncode}, {[text[:300] for text in texts]}")


def file(name, content):
    with open(name, "wb") as made:
        made.write(content)


def odd_bytes(length, never=b"\0"):
    return bytes(dice.choice([b for b in range(1, 256) if b not in never]) for _ in range(length))


def settings_in(text):
    """What the lines of a configuration say, read without the tool."""
    read, space = {}, None
    for line in text.split(b"\n"):
        if re.fullmatch(rb"\[\d\]", line):
            space = line[1:2]
        elif line and not line.startswith(b"#"):
            plain = re.sub(rb"\\(x..|.)", lambda m: bytes.fromhex(m[1][1:].decode()) if m[1][:1] == b"x" else
                           {b"n": b"\n", b"r": b"\r", b"t": b"\t", b"\\": b"\\"}[m[1]], line)
            key = re.sub(rb"\\x3d", b"", line).split(b"=")[0]
            length = len(re.sub(rb"\\(x..|.)", b".", key))
            read[space, plain[:length]] = plain[length + 1:]
    return read


dice = random.Random(1)
with tempfile.TemporaryDirectory() as folder, contextlib.chdir(folder):
    # A line that is no setting, one that the store takes in spite of a byte-order mark, and no file.
    file("bad.conf", b"\xef\xbb\xbfHostName\nModelName=x\nModelName=\xc4\n")
    bad = r'orba: bad.conf:1: "HostName" has no .=.\n(orba: )?bad.conf:3: "ModelName" sets the key of line 2 again\n'
    hint = "orba: --lenient goes on without those lines\n$"
    answers("check -c bad.conf", CONFIG, "$", bad + hint)
    for words in ("show getModelName -c bad.conf", "plan getModelName -c bad.conf", "check -c bad.conf",
                  "diff bad.conf bad.conf getModelName", "trace lan 192.168.1.10 1.1.1.1 tcp/25 -c bad.conf"):
        answers(f"{words} --lenient", DONE, ".", f"({bad})+$")
    answers("show getModelName -c -", DONE, "x\n$", given=b"\xef\xbb\xbfModelName=x")
    answers("diff - - getModelName", DONE, "getModelName: no difference", given=b"ModelName=x")
    file("a.conf", b"ModelName=x\nnobody=1\n")
    file("b.conf", b"ModelName=x\nnobody=2\n")
    answers("diff a.conf b.conf", FOUND, '--- a.conf\n.*~ nobody: "1", now "2"\n\nevery entry point: no difference\n\nthe same traffic\n$')
    answers("diff a.conf b.conf --json", FOUND, r'{\s*"settings": \[\s*{\s*"space": 1,\s*"key": "nobody",.*"effects": \[\],\s*"traffic": {')
    answers("check -c - --json", FOUND, r'\[\s*{\s*"key": "OperationMode",\s*"space": 1,\s*"value": "4"', given=b"OperationMode=4")
    answers("check -c -", DONE, "standard input: nothing found", given=b"StaticRoutingRules=0,off,10.8.0.0,255.255.0.0,,2")
    for name in ("a.conf", "b.conf"):
        os.remove(name)
    answers("check -c -", CONFIG, "$", "orba: standard input:1: ", given=b"x")
    answers("check -c /dev/null", CONFIG, "$", "orba: /dev/null: holds no settings\n$")
    answers("check -c .", CONFIG, "$", "orba: .: is a folder; a file of KEY=VALUE lines is wanted\n$")
    answers("serve -c nosuch", CONFIG, "$", "orba: nosuch: No such file or directory\n$")
    answers("lab up -c bad.conf", CONFIG, "$", bad + hint)  # and not a copy of it
    answers("lab up -c nosuch", CONFIG, "$", "orba: nosuch: No such file or directory\n$")

    # Every form of the same settings, with whatever bytes.
    settings = {(space, b"k%d" % i + odd_bytes(3, b"\0=\n")): odd_bytes(i % 20) for i in range(200) for space in (b"1", b"2")}
    file("odd.conf", b"".join(b"[%s]\n%s=%s\n" % (space, *(b"".join(b"\\x%02x" % c for c in text) for text in (key, value)))
                              for (space, key), value in settings.items()))
    assert settings_in(open("odd.conf", "rb").read()) == settings
    answers("import odd.conf store", DONE, "space 1: 200 settings\nspace 2: 200 settings\n$", "$")
    answers("import odd.conf store", USAGE, "$", "orba: store: has a space 1 already; --replace ")
    answers("import odd.conf store --replace --space 2", DONE, "space 1", "$")
    answers("export store/ new.conf", DONE, "$", "$")
    answers("check -c store", CONFIG, "$", "orba: store: is a settings store; 'orba export' ")
    if settings_in(open("new.conf", "rb").read()) != settings:
        wrong.append("what went through a store is not what it was")
    # A line holds neither a line end nor, where it would be a terminal's, what stands before it.
    no_line = {key for key, value in settings.items() if b"\n" in value or value.endswith(b"\r")
               or key[1].endswith((b" ", b"\t"))}
    for space in (b"1", b"2"):
        answers(f"export store --plain -s {space.decode()} plain.txt", FOUND, "$", f"(orba: space {space.decode()}: \"k[^\n]*\n)+$")
        wanted = {key: value for key, value in settings.items() if key not in no_line and key[0] == space}
        if set(open("plain.txt", "rb").read()[:-1].split(b"\n")) != {b"%s=%s" % (k, v) for (_, k), v in wanted.items()}:
            wrong.append("plain lines are not the settings")
        answers(f"import --plain plain.txt again{space.decode()} -s {space.decode()}", DONE, f"space {space.decode()}: {len(wanted)} ")
        answers(f"export again{space.decode()} again.conf", DONE)
        if settings_in(open("again.conf", "rb").read()) != wanted:
            wrong.append("plain lines came back as something else")
    if len(glob.glob("*")) != 8:
        wrong.append(f"files stayed behind: {glob.glob('*')}")
    # A dump from a terminal, and what is no setting in it; a store that was given a whole configuration.
    answers("import --plain -", FOUND, r"\[1\]\nA=b\\\\x\n$",
            'orba: standard input:3: "size: 9" has no .=.\norba: standard input:4: "A" sets the key of line 2 again\n$',
            given=b"# nvram_show\r\nA=\r\nsize: 9\r\nA=b\\x\r\n")
    answers("import --plain --json -", FOUND, r'{\s*"spaces": {\s*"1": {\s*"A": "1"\s*}\s*},\s*"left_out": \[\s*{\s*"where"',
            given=b"A=1\nB")
    answers("import -", CONFIG, "$", "orba: standard input: holds no settings\nstandard input:1: ", given=b"\x7fELF")
    file("store/space1.conf", b"A=1\n[2]\nB=2\n")
    answers("export store --space 1", FOUND, r"\[1\]\nA=1\n$", 'orba: store/space1.conf:3: "B" belongs to another space\n')
    answers("export odd.conf --plain", FOUND, "k", ".*orba: left out is space 2: 200 settings; --space 2 exports it\n$")
    answers("export store nowhere/x", OUTPUT, "$", "orba: nowhere/x: No such file or directory\n")

    # Output that does not arrive, and a reader who goes away: a file is whole or not there, and
    # nothing of the run's own stays.
    gateway = f"-c {examples}/gateway.conf"
    for words in ("--help", "--version", "list", "explain", f"plan firewall_init {gateway}", f"show getLanIfName {gateway}",
                  f"show schedule {gateway}", f"check {gateway}", "psk home", f"export {examples}/gateway.conf",
                  f"diff {examples}/gateway.conf {examples}/bridge.conf", f"serve {gateway} -p 0",
                  f"trace lan 192.168.1.10 1.1.1.1 tcp/25 {gateway}"):
        with open("/dev/full", "wb") as full:
            answers(words, OUTPUT, "$", "orba: standard output: No space left on device\n$", b"12345678\n", full)
    answers(f"plan firewall_init {gateway} --picture /dev/full", OUTPUT, "$", "orba: /dev/full: No space left on device\n$")
    small = f"trap '' XFSZ; ulimit -f 8; {orba} plan firewall_init {gateway} --picture small.svg"
    cut = subprocess.run(["sh", "-c", small], capture_output=True)
    if (cut.returncode, cut.stderr, glob.glob("small*")) != (OUTPUT, b"orba: small.svg: File too large\n", []):
        wrong.append(f"a picture without room: {cut}, {glob.glob('small*')}")
    file("many.conf", b"MACFilterRules=" + b";".join([b"x"] * 3000))
    with subprocess.Popen([orba, "check", "-c", "many.conf"], stdout=subprocess.PIPE) as run:
        run.stdout.readline()
        opened = [os.readlink(fd) for fd in glob.glob(f"/proc/{run.pid}/fd/*")]
        run.stdout.close()
    if run.returncode != -signal.SIGPIPE or [path for path in opened if "/orba-device-" in path and os.path.exists(path)]:
        wrong.append(f"without a reader: {run.returncode}, {opened}")

    # Whoever types something else is told what to type.
    answers("check my.conf", CONFIG, "$", "orba: my.conf: No such file or directory\n$")
    for words, told in (
            ("", "one is missing of list, plan, .*\nUsage: orba .OPTIONS. SUBCOMMAND\n"),
            ("plam", "there is no 'orba plam'; did you mean plan"), ("lab tset", "there is no 'orba lab tset'; did you mean test"),
            ("xyz", "there is no 'orba xyz'; 'orba --help' shows what there is\n$"),
            ("plan", "plan: ENTRY is missing\nUsage: orba plan .OPTIONS. ENTRY .ARG....\n'orba plan --help' tells more\n$"),
            ("plan firewall_int", "there is no entry point 'firewall_int'; did you mean firewall_init, "),
            (f"plan firewall_init {examples}/gateway.conf", "usage: firewall_init .0 arguments, not 1.; settings are given as: -c /"),
            ("plan firewall_init --tables --raw", "plan: --raw and --tables do not go together: leave one of them out\n"),
            ("plan firewall_init --picture x --ticks 1", "plan: --(ticks and --picture|picture and --ticks) do not go together"),
            ("plan firewall_init --ticks -5", "plan: --ticks: Value -5 not in range 0 to 864000\n"),
            ("plan firewall_init --jsn", "plan: there is no option '--jsn'; did you mean --json.\n"),
            ("psk home net", "psk: 'net' is one word too many\n"), ("serve", "serve: -c FILE is missing\n"),
            ("lab up", "up: -c FILE is missing\n"), ("lab test nothere", "lab: there is no test 'nothere'; 'orba lab test --list' ")):
        answers(words, USAGE, "$", "orba:? " + told)
    lab = dict(os.environ, ORBA_LAB_STATE=f"{folder}/lab")
    up = subprocess.run([orba, "lab", "up", "--json", "-c", f"{examples}/minimal.conf"], env=lab, capture_output=True)
    subprocess.run([orba, "lab", "down"], env=lab)
    if up.returncode != NO_LAB and json.loads(up.stdout)["router"] != {"br0": "192.168.1.1", "eth2.2": "198.51.100.2"}:
        wrong.append(f"the lab is {up}")
    answers("lab test --list route_test", DONE, "route_test\\.", "$")
    answers("lab test --list --json route_test", DONE, r'\[\s*{\s*"name": "route_test\.', "$")
    answers("psk home --json", DONE, r'{\s*"ssid": "home",\s*"key": "bf7dc914', "$", b"12345678\n")
    for words in ("help plan", "plan --help"):
        answers(words, DONE, "Call an entry point .*Usage: orba plan .*Exit codes: 0 done, .* 77 no lab can be made here", "$")

sys.exit("\n".join(wrong) or 0)
