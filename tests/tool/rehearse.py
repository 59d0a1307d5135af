#!/usr/bin/env python3
"""A change rehearsed on a small fleet: batches, groups, and reports that are the same to the byte.

  rehearse.py ORBA SOURCES
"""
import contextlib
import glob
import io
import json
import os
import re
import signal
import subprocess
import sys
import tarfile
import tempfile

orba, sources = sys.argv[1:]
wrong = []


def check(good, what):
    if not good:
        wrong.append(what)


def run(*words, given=None, code=None):
    ended = subprocess.run([orba, *words], input=given, capture_output=True, timeout=300)
    if code is not None and ended.returncode != code:
        wrong.append(f"orba {words}: {ended.returncode}, {ended.stdout[-300:]}, {ended.stderr[-300:]}")
    return ended


def batch(*requests, program=(orba,)):
    lines = "".join((each if isinstance(each, str) else json.dumps(each)) + "\n" for each in requests)
    ended = subprocess.run([*program, "plan", "--batch", "--jobs", "2"], input=lines.encode(), capture_output=True, timeout=60)
    return [json.loads(line) for line in ended.stdout.splitlines()]


def reports(folder):
    """All that a rehearsal leaves, but for what it goes on from."""
    names = [name for name in glob.glob(folder + "/*") if os.path.isfile(name) and not name.endswith("state.json")]
    return {os.path.basename(name): open(name, "rb").read() for name in names}


def program(name, text):
    with open(name, "w") as file:
        file.write(text)
    os.chmod(name, 0o755)
    return "./" + name


def config_of(settings):
    return "\n".join(settings) + "\n"


with tempfile.TemporaryDirectory() as folder, contextlib.chdir(folder):
    # The protocol: one line in, one out, whatever stands on it.
    answers = batch({"id": "a", "config": "SPIFWEnabled=1\nno setting\n", "entries": ["firewall_init", ["getIfIp", "br0"], "nothere"]},
                    "{", "[]", {"id": [1], "settings": {"1": {"HostName": "x"}, "2": {}}, "digests": True},
                    {"id": 2, "settings": {"0": {}}}, {"id": 3, "config": "", "entries": [["getIfIp"]]},
                    '{"id":' + "[" * 50000 + "]" * 50000 + "}", {"id": 4, "entries": {}}, {"id": 5, "ticks": 0.5, "entries": []})
    check([each["id"] for each in answers] == ["a", None, None, [1], 2, 3, None, 4, 5], f"ids: {[each['id'] for each in answers]}")
    first = answers[0]["runs"]
    with open("spi.conf", "w") as file:
        file.write("SPIFWEnabled=1\n")
    plan = json.loads(run("plan", "firewall_init", "--json", "-c", "spi.conf", code=0).stdout)
    check({key: first[0][key] for key in plan} == plan, "a batch and plan --json differ")
    check(re.fullmatch("[0-9a-f]{16}", first[0]["digest"]) and first[1]["outputs"] == ["192.168.1.1"] and "error" in first[2], f"{first[1:]}")
    check(all("error" in answers[i] for i in (1, 2, 4, 6, 7, 8)) and "error" in answers[5]["runs"][0], "no error for a bad request")
    check(len(answers[3]["runs"]) > 100 and all(set(each) == {"entry", "digest"} for each in answers[3]["runs"]), "digests alone")

    # One process, several, other orders, shards, an interruption, a killed worker: the same report.
    subprocess.run([sources + "/bench/fleet.py", "90", "fleet"], check=True)
    paths = sorted(glob.glob("fleet/*"))

    # Each as if nothing had been before it: in the crowd, alone, and of one each call alone.
    asked = [{"id": path, "config": open(path, encoding="latin-1").read(), "digests": True} for path in paths[:40]]
    alone = [batch(each)[0] for each in asked]
    check(batch(*asked, *reversed(asked)) == alone + alone[::-1], "what was before a configuration changes its answers")
    runs = alone[0]["runs"]
    check([batch(asked[0] | {"entries": [each["entry"]]})[0]["runs"][0] for each in runs] == runs, "a call changes the next one's answer")
    limited = "sh", "-c", 'ulimit -n 64; exec "$0" "$@"', orba
    kept_open = batch({"id": 0, "entries": ["switch_init"] * 100}, program=limited)[0]["runs"]
    check(kept_open == kept_open[:1] * 100, "what a call leaves open is in the way of others")
    names = "ecidpopmgdpamnao", r"ec&~\x0bU\x18\xfcgd\xb3G\xd2\x88\xb9\xe0"  # one std::hash
    alike = batch(*({"id": 0, "config": "HostName=" + name, "entries": ["getHostName"], "digests": True} for name in names))
    check(alike[0] != alike[1], "values are taken for each other")
    change = ("--set", "SPIFWEnabled=1", "--default", "BlockLAND=1")
    text = run("rehearse", "this", "this", "fleet", *change, "--out", "one", "--jobs", "1", code=1).stdout.decode()
    wanted = reports("one")
    check(text.encode() == wanted["report.txt"], "what is printed is not the report")
    run("rehearse", "this", "this", "-", *change, "--out", "three", "--jobs", "3", given="\n".join(reversed(paths)).encode(), code=1)
    check(reports("three") == wanted, "another order, another report")
    for shard in ("1/3", "2/3", "3/3"):
        run("rehearse", "this", "this", "fleet", *change, "--out", "shard" + shard[0], "--shard", shard, code=0)
    run("rehearse", "merge", "this", "this", "shard3", "shard1", "shard2", *change, "--out", "merged", code=1)
    check(reports("merged") == wanted, "shards that are merged say something else")
    for shards in (("shard1", "shard3"), ("shard1", "shard2", "shard2", "shard3")):
        run("rehearse", "merge", "this", "this", *shards, *change, "--out", f"merged{len(shards)}", code=2)
    run("rehearse", "this", "this", "fleet", *change, "--out", "shard1", "--shard", "2/3", code=2)

    log = program("logged", f"#!/bin/sh\n[ \"$2\" = --batch ] || exec {orba} \"$@\"\ntee -a $PWD/log | {orba} \"$@\"\n")
    words = [orba, "rehearse", log, "this", "-", *change, "--out", "cut", "--jobs", "1"]
    with subprocess.Popen(words, stdin=subprocess.PIPE, stdout=subprocess.PIPE) as cut:
        cut.stdin.write("\n".join(paths[:70]).encode() + b"\n")
        cut.stdin.flush()
        while not os.path.exists("cut/state.json"):
            assert cut.poll() is None
        check(b"another process" in run(*words[1:], given=b"").stderr, "two rehearse in one folder")
        cut.send_signal(signal.SIGKILL)
    done = json.load(open("cut/state.json"))["taken"]
    open("log", "w").close()
    run(*words[1:], given="\n".join(paths).encode(), code=1)
    whole = min(len(open(path).readlines()) for path in paths) - 2  # smaller ones are trials
    asked = sum('"digests":true' in line and line.count("\\n") >= whole for line in open("log"))
    cut_report, one_report = json.load(open("cut/report.json")), json.load(open("one/report.json"))
    check(done >= 32 and cut_report["groups"] == one_report["groups"], f"interrupted after {done}: another report")
    check(90 - done <= asked <= 90 - done + 2 * len(one_report["groups"]), f"{asked} requests for the last {90 - done} configurations")
    run("rehearse", "this", "this", "fleet", "--out", "one", code=2)  # another change
    run("rehearse", "this", "this", "fleet", paths[0], *change, "--out", "one", code=2)  # and one more
    with open(paths[0], "a") as file:
        file.write("# changed\n")
    run("rehearse", "this", "this", "fleet", *change, "--out", "one", code=2)
    with open(paths[0], "a") as file:
        file.truncate(file.tell() - len("# changed\n"))
    run("rehearse", log, "this", "-", *change, "--out", "cut2", given=b"", code=0)

    with subprocess.Popen([orba, "rehearse", "this", "this", "fleet", *change, "--out", "killed", "--jobs", "2"], stdout=subprocess.PIPE) as whole:
        children = []
        while not children and whole.poll() is None:
            children = open(f"/proc/{whole.pid}/task/{whole.pid}/children").read().split()
        if children:
            os.kill(int(children[-1]), signal.SIGKILL)
        whole.stdout.read()
    check(reports("killed") == wanted, "a killed worker changes the report")

    # Each group is shown by its smallest settings, and `orba plan` says the same.
    report = one_report
    check(report["configurations"] == 90 and len(report["groups"]) >= 2, f"{report['configurations']}, {len(report['groups'])} groups")
    for group in report["groups"]:
        listed = open(f"one/{group['list']}").read().splitlines()
        check(len(listed) == group["count"] and listed == sorted(listed) and group["example"] in listed, f"list of group {group['number']}")
        before = group["settings"]
        after = [each for each in before if not each.startswith("SPIFWEnabled=")] + ["SPIFWEnabled=1"]
        after += [] if any(each.startswith("BlockLAND=") for each in before) else ["BlockLAND=1"]
        made = [batch({"id": 0, "config": config_of(each), "entries": [group["witness"]["entry"]]})[0]["runs"][0]["events"] for each in (before, after)]
        commands = [[event["text"].removesuffix(" 1>/dev/null 2>&1") for event in events] for events in made]
        for line in group["witness"]["lines"]:
            there = line[2:] in commands[line[0] == "+"]
            check(there or ": " in line, f"group {group['number']} does not do: {line}")
        for i in range(len(before)):  # none can be left out
            rest = before[:i] + before[i + 1:]
            if not before[i].startswith("["):
                with open("rest.conf", "w") as file:
                    file.write(config_of(rest))
                again = json.loads(run("rehearse", "this", "this", "rest.conf", *change, "--out", f"rest{group['number']}-{i}", "--json").stdout or "{}")
                kinds = {kind for each in again.get("groups", []) for kind in each["kinds"]}
                check(not set(group["kinds"]) <= kinds, f"group {group['number']} does not need {before[i]}")

    # However short a record's port is, it is no reason for another group.
    for port in ("2", "2222"):
        with open(f"port{port}.conf", "w") as file:
            file.write(f"DefaultFirewallPolicy=1\nIPPortFilterRules=192.168.0.0/24,,0,0,any/0,,{port},0,2,0,rule,,,,\n")
    ports = json.loads(run("rehearse", "this", "this", "port2.conf", "port2222.conf", *change, "--json", "--out", "ports", code=1).stdout)
    check([each["count"] for each in ports["groups"]] == [2], f"{ports['groups']}")

    # A version from before the batches, and one that dies of a configuration.
    old = program("old", f"#!/bin/sh\n[ \"$2\" != --batch ] || exit 2\nexec {orba} \"$@\"\n")
    some = sorted({line for group in report["groups"] for line in open(f"one/{group['list']}").read().splitlines()})[:6]
    few = ["rehearse", "this", "", "-", *change, "--json", "--entry", "firewall_init",
           "--entry", "makeIPPortFilterRule '' '' '' '' any 0 0 0 any 0 80 0 1 0", "--out", ""]
    said = []
    for number, after in enumerate(("this", log, old)):
        few[2], few[-1] = after, f"few{number}"
        said.append(json.loads(run(*few, given="\n".join(some).encode(), code=1).stdout)["groups"])
    check(said[0] == said[1] == said[2] and len(said[0]) > 1, f"versions that are the same differ: {said}")
    dying = program("dying", f"""#!/usr/bin/env python3
import os, subprocess, sys
if sys.argv[2:] != ["--batch"]: os.execv("{orba}", ["{orba}", *sys.argv[1:]])
real = subprocess.Popen(["{orba}", "plan", "--batch"], stdin=subprocess.PIPE, stdout=subprocess.PIPE)
for line in sys.stdin.buffer:
    if b"HostName=gw" in line: os.abort()
    real.stdin.write(line); real.stdin.flush()
    sys.stdout.buffer.write(real.stdout.readline()); sys.stdout.buffer.flush()
""")
    died = json.loads(run("rehearse", "this", dying, *paths[:20], "--out", "died", "--json", code=1).stdout)
    hit = [path for path in paths[:20] if "HostName=gw" in open(path).read()]
    check(len(died["groups"]) == 1 and died["groups"][0]["count"] == len(hit) and len(died["groups"][0]["settings"]) <= 2
          and died["groups"][0]["kinds"] == ["+ dies: ends in the middle of a batch"], f"{died}")

    # What a version answers instead of what it was asked is a result too, and nothing for a terminal.
    for number, (answered, kind) in enumerate((('{"id":\\1,"runs":[]}', "~ a side does not answer"), ('{"id":0,"runs":[]}', "+ dies: answers something else than it was asked"),
                                               ('{"id":\\1,"error":"\\\\u001b[2J"}', "+ dies: answers by an error"), ("\x1b[2J", "+ dies: answers with what is no answer"),
                                               ("&", "~ the same lines in another order or form"))):
        odd = program(f"odd{number}", f"#!/bin/sh\n[ $2 = --batch ] || exec {orba} \"$@\"\n{orba} \"$@\" | sed -u -E '/hello/b;s/\"digest\":\"./&0/g;"
                                      f"s/^.\"id\":([0-9]+),.*/{answered}/'\n")
        ended = run("rehearse", "this", odd, paths[0], "--entry", "firewall_init", "--out", f"odd-{number}", "--json", code=1)
        check([each["kinds"] for each in json.loads(ended.stdout)["groups"]] == [[kind]] and b"\x1b" not in ended.stderr, f"{kind}: {ended}")
    with open("list.conf", "w") as file:
        file.write("HostName=a;;b\n")
    run("rehearse", "this", "this", "list.conf", "--replace-record", "HostName:c=", "--out", "list", code=0)
    run("rehearse", "this", "this", "list.conf", "--set", "0:HostName=x", "--out", "list0", code=2)

    # Configurations are data: no command, path or markup comes of them.
    os.mkdir("odd")
    for name, value in (("a\n\x1b[31m.conf", b"<script>alert(1)</script>"), ("$(touch made).conf", b"$(touch made);`touch made`"),
                        ("bytes.conf", bytes(range(128, 256)))):
        with open("odd/" + name, "wb") as file:
            file.write(b"HostName=" + value + b"\nnot a setting \x1b[2J\n")
    open("odd/empty.conf", "w").close()
    os.symlink("/etc/passwd", "odd/link.conf")
    with open("odd/large.conf", "wb") as file:
        file.truncate(2 << 20)
    run("rehearse", "this", "this", "odd", "--set", "ModelName=<b>&amp;\x1b[1m", "--out", "oddly", code=1)
    left = b"".join(reports("oddly").values())
    check(b"\x1b" not in left and b"<script" not in left and not os.path.exists("made"), "something came of a configuration")
    check(b"<b>" not in reports("oddly")["report.html"], "markup in the page")
    check(open("oddly/not-read.txt").read().count("\n") == 3 and json.load(open("oddly/report.json"))["damaged"] == 3, open("oddly/not-read.txt").read())
    run("rehearse", "this", "this", "odd/empty.conf", "odd/large.conf", "--out", "none", code=3)
    for name, member, told in (("link", dict(type=tarfile.SYMTYPE, linkname="/etc/passwd"), "is a link"), ("hard", dict(type=tarfile.LNKTYPE, linkname="x"), "is a link"),
                               ("../up", {}, "leads out of it"), ("/etc/x", {}, "leads out of it"), ("bomb", dict(size=1 << 40), "is larger than 1 MiB"),
                               ("device", dict(type=tarfile.BLKTYPE), "is no file"), ("folder", dict(type=tarfile.DIRTYPE, size=1 << 40), "is larger than 1 MiB")):
        info = tarfile.TarInfo(name)
        for key, value in member.items():
            setattr(info, key, value)
        with open("bad.tar", "wb") as file:
            file.write(info.tobuf() + bytes(1024))
        ended = run("rehearse", "this", "this", "bad.tar", "--out", f"bad-{told[:6]}-{name.count('/')}{len(name)}", code=3)
        check(told.encode() in ended.stderr, f"{name}: {ended.stderr}")
    for part in (("fleet.tar", *paths[:45]), ("rest.tar", *paths[45:])):
        subprocess.run(["tar", "cf", *part], check=True)
    subprocess.run("cat rest.tar >>fleet.tar", shell=True, check=True)
    packed = json.loads(run("rehearse", "this", "this", "fleet.tar", *change, "--out", "packed", "--json", code=1).stdout)
    check([(each["count"], each["kinds"], each["settings"]) for each in packed["groups"]] ==
          [(each["count"], each["kinds"], each["settings"]) for each in report["groups"]], "an archive is another fleet")
    run("rehearse", "this", "this", "nothere", "--out", "no", code=3)
    run("rehearse", "this", "nothere", "fleet", "--out", "no", code=2)

    # The document's examples print what it shows, "..." for some.
    os.symlink(sources + "/examples", "examples")
    for block in re.findall(r"```console\n\$ orba (.*?)\n(.*?)```", open(sources + "/docs/rehearsal.md").read(), re.S):
        said = subprocess.run(f"{orba} {block[0]}", shell=True, capture_output=True, text=True).stdout
        for line in block[1].splitlines():
            if line != "...":
                check(f"{line}\n" in said, f"docs/rehearsal.md: orba {block[0]} does not print: {line}")
                said = said.partition(f"{line}\n")[2]

sys.exit("\n".join(wrong) or 0)
