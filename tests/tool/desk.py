#!/usr/bin/env python3
"""A customer's files on the desk of somebody who may do more than they.

  desk.py ORBA FOLDER_OF_NVRAM_PROGRAMS
"""
import contextlib
import json
import os
import pty
import re
import subprocess
import sys
import tempfile
import time

orba, programs = sys.argv[1:]
# A command of a terminal, one above ASCII, and one that turns the direction of writing.
HARM = "\x1b]0,mine\x07\x9b31m\u202e"


def on_a_terminal(*words, program=orba):
    """What is written to a terminal, which may not be told to do anything."""
    ours, its = pty.openpty()
    run = subprocess.Popen([program, *words], stdout=its, stderr=its)
    os.close(its)
    shown = b""
    with open(ours, "rb", buffering=0) as terminal, contextlib.suppress(OSError):  # EIO at its end
        while block := terminal.read(4096):
            shown += block
    run.wait()
    text = re.sub("\x1b\\[[0-9]*m", "", shown.decode().replace("\r\n", "\n"))  # but for colours of its own
    told = [c for c in text if c not in "\n\t" and (c < " " or "\x7f" <= c < "\xa0" or c in "\u202e\x9b")]
    assert not told, (words, text)
    return text


def answers_of(words, program=orba):
    return subprocess.run([program, *words], capture_output=True, text=True, timeout=20).stdout


def folder_of(run):
    """The folder of device files that a run's own process has made, and holds."""
    while True:
        with open(f"/proc/{run.pid}/task/{run.pid}/children", encoding="ascii") as children:
            opened = [f"/proc/{child}/fd" for child in children.read().split()]
        with contextlib.suppress(OSError):
            for path in (os.readlink(f"{fds}/{fd}") for fds in opened for fd in os.listdir(fds)):
                if "/orba-device-" in path:
                    return path
        assert run.poll() is None, "it ended before it had one"
        time.sleep(0.01)


with tempfile.TemporaryDirectory() as folder:
    config = f"{folder}/{HARM}.conf"
    with open(config, "w", encoding="utf-8") as file:
        file.write(f"ModelName={HARM}\nMacFilterAction=DROP\nMACFilterRules={HARM}\nHostName=x\n")
    plain = f"{folder}/{HARM}.plain"
    with open(plain, "w", encoding="ascii") as file:
        file.write("HostName=x\n")
    for words in (["show", "getModelName", "-c", config], ["plan", "getModelName", "-c", config],
                  ["plan", "MACFilterRun", "-c", config], ["plan", "MACFilterRun", "--raw", "-c", config],
                  ["plan", "firewall_init", "--tables", "-c", config], ["check", "-c", config],
                  ["check", "-c", plain], ["diff", plain, config], ["plan", "getModelName", "-d", config]):
        assert "\\x1b]0,mine\\x07" in on_a_terminal(*words), words
    assert HARM in answers_of(["show", "getModelName", "-c", config])  # for a program, as it is
    answers_of(["plan", "firewall_init", "-c", config, "--picture", f"{folder}/picture.svg"])
    with open(f"{folder}/picture.svg", encoding="utf-8") as file:
        assert "\\x1b]0,mine\\x07\\U0000009b31m\\U0000202e" in (drawn := file.read()) and "\u202e" not in drawn
    for words in (["plan", "MACFilterRun"], ["show", "getModelName"], ["check"]):
        words += ["--json", "-c", config]
        assert json.loads(on_a_terminal(*words)) == json.loads(answers_of(words)), words
        assert "\u202e" in answers_of(words), words

    os.environ["ORBA_NVRAM_DIR"] = f"{folder}/{HARM}"
    os.makedirs(f"{folder}/{HARM}/space3.conf")
    subprocess.run([f"{programs}/nvram_set", "HostName", HARM], check=True)
    for words in (["get", "HostName"], ["show"], ["get", HARM], ["set", f"#{HARM}", ""], ["show", HARM],
                  ["show", "-s3"]):
        program = f"{programs}/nvram_{words.pop(0)}"
        assert "\\U0000202e" in on_a_terminal(*words, program=program), words
    assert answers_of(["HostName"], f"{programs}/nvram_get") == f"{HARM}\n"

    # A folder of device files that leads to others' and waits for ever.
    device, secret = f"{folder}/device", f"{folder}/secret"
    os.makedirs(f"{device}/etc")
    os.makedirs(f"{device}/proc/net")
    with open(secret, "w", encoding="ascii") as file:
        file.write("MemTotal: 100 kB\nMemFree: 50 kB\n")
    for usual in (True, False):
        for name in ("proc/meminfo", "etc/TZ", "proc/net"):
            path = f"{device}/{name}"
            if os.path.isdir(path) and not os.path.islink(path):
                os.rmdir(path)
            elif os.path.lexists(path):
                os.unlink(path)
        if usual:
            os.symlink("meminfo.real", f"{device}/proc/meminfo")
            with open(f"{device}/proc/meminfo.real", "w", encoding="ascii") as file:
                file.write("MemTotal: 100 kB\nMemFree: 50 kB\n")
        else:
            os.symlink("../../secret", f"{device}/proc/meminfo")
            os.symlink(folder, f"{device}/proc/net")
            os.mkfifo(f"{device}/etc/TZ")
        shown = answers_of(["show", "getMemUsgInfo", "-r", device])
        assert ("50" in shown) == usual, (usual, shown)
    answers_of(["plan", "timezoneSyncWithKernel", "-r", device])  # which reads /etc/TZ

    # What a run that was killed has left goes with the next; one that runs keeps its own.
    os.mkfifo(f"{folder}/never")
    with contextlib.ExitStack() as stack:
        runs = [stack.enter_context(subprocess.Popen(
            [orba, "plan", "firewall_init", "-d", f"{folder}/never"], stdout=subprocess.DEVNULL)) for _ in range(2)]
        for run in runs:
            stack.callback(run.kill)
        gone, kept = map(folder_of, runs)
        runs[0].kill()
        runs[0].wait()
        for _ in range(100):  # its process may take a moment to end
            if os.path.exists(gone):
                answers_of(["plan", "firewall_init", "-c", config])
        assert os.path.exists(kept) and not os.path.exists(gone), (kept, gone)

    # What the tool says of words that are none of its own.
    for words in (["plan", HARM], ["explain", HARM], ["plan", "firewall_init", "-c", HARM], [HARM],
                  ["plan", "getNums", "-r", HARM], ["show", "schedule", "--at", HARM], ["lab", "shell", HARM],
                  ["serve", "-c", config, "--address", HARM, "-p", "0"]):
        on_a_terminal(*words)

    # What nobody foresaw is one line too, and a lab that is not there keeps its exit code
    # out of the process that a call is made in.
    os.environ |= {"ORBA_LAB_STATE": f"{folder}/none"}
    no_files = ["prlimit", "--fsize=0", orba, "plan", "setWscResult", "1"]
    for words, code in ((no_files, 3), ([orba, "diff", plain, plain, "--lab"], 2)):
        failed = subprocess.run(words, capture_output=True, text=True)
        assert re.fullmatch("orba: .*\n", failed.stderr) and failed.returncode == code, failed
