#!/usr/bin/env python3
"""Every command that the documents show is run as it stands there, or is listed here with what
keeps it from it; below it stands what it prints.

  documents.py ORBA PROGRAMS SOURCE
"""
import glob
import os
import re
import shutil
import subprocess
import sys
import tempfile

orba, programs, source = (os.path.abspath(word) for word in sys.argv[1:])
INSTALLED = "/usr/share/orba_util/examples"
# What is not run here, and why: what begins so, or is so as a whole.
NOT_RUN = {
    r"\./dev (run|test|package|machine)\b": "builds the whole; tests run inside of it, and `./dev bare` tries it",
    r"cmake --preset firmware |cmake --build --preset firmware |cmake --install build/firmware ":
        "takes a firmware's toolchain; the test library/firmware has one",
    r"apt install ": "changes this machine; tests/package/install.sh does it on a bare one",
    r"(build/release/tools/orba/)?orba (lab|apply) .*--machine": "takes an emulated router; the test machine boots one",
    r"orba rehearse (BEFORE |merge \./|\./)": "takes an older orba, and hosts; ./dev soak rehearses with them",
    r"orba serve ": "goes on until it is interrupted; the test serve starts it",
}
# What takes a lab, and is passed over where none can be made.
IN_LAB = r"orba (lab|apply) |orba plan firewall_init --lab "
# Where a document's commands are called; in a new folder of its own otherwise.
IN_EXAMPLES = ["man/orba.1"]
FINDS = {"check", "diff", "ports", "expect", "rehearse"}  # which say by 1 that there is something

wrong, ran, left_out, labs = [], 0, set(), True


def blocks(text, is_page):
    """The lines of each literal block, as a reader sees them."""
    pattern = r"^\.Bd [^\n]*\n(.*?)^\.Ed" if is_page else r"^```[a-z]*\n(.*?)^```"
    for block in re.findall(pattern, text, re.S | re.M):
        if is_page:
            block = re.sub(r"^\\&", "", block, flags=re.M).replace("\\e", "\\")
        yield block.splitlines()


def commands(lines):
    """(command, the lines below it, what is typed into it) of a block; of one without any prompt what begins like one."""
    found = []
    prompted = any(line.startswith("$ ") for line in lines)
    for line in lines:
        if prompted and re.match(r"\w+# ", line):
            found[-1][2].append(line.split("# ", 1)[1])  # typed into the command before
        elif line.startswith("$ ") or (prompted and line.startswith("# apt ")):
            found.append((line[2:], [], []))
        elif not prompted and re.match(r"(orba|cmake|\./dev|nvram_\w+) ", line):
            found.append((line, [], []))
        elif found:
            found[-1][1].append(line)
    return found


def is_printed(shown, said):
    """Whether the lines stand in what was said, from its beginning; '...' stands for some."""
    at, free = 0, False
    for line in [line for line in shown if line.strip()]:
        if line == "...":
            free = True
            continue
        while at < len(said) and (said[at] != line if free else not said[at].strip()):
            at += 1
        if at == len(said) or said[at] != line:
            return line
        at, free = at + 1, False
    return None


def run(name, command, shown, typed, folder, before):
    global ran, labs
    given = command.replace(INSTALLED, "examples")
    if re.search(r"&( +#|$)", given):
        given = f"exec >/dev/null 2>&1; {given}"  # which nobody waits for
    called = subprocess.run(["bash", "-c", f"{before}\n{given}"], cwd=folder, text=True, timeout=60, errors="replace",
                            input="\n".join(typed), stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    if called.returncode == 77:
        labs = False
        return
    ran += 1
    subcommand = given.split()[1] if given.startswith("orba ") else ""
    if called.returncode not in ({0, 1} if subcommand in FINDS else {0}):
        wrong.append(f"{name}: {command}\n  ends with {called.returncode}: {called.stdout[:300]}")
    missing = is_printed(shown, [line.rstrip() for line in called.stdout.splitlines()])
    if missing is not None:
        wrong.append(f"{name}: {command}\n  does not print there: {missing}")


def play(name, shown_commands):
    """One document's commands, one behind the other as a reader would type them."""
    with tempfile.TemporaryDirectory() as folder:
        shutil.copytree(f"{source}/examples", f"{folder}/examples")
        shutil.copy(f"{source}/examples/gateway.conf", f"{folder}/other.conf")
        inside = f"{folder}/examples" if name in IN_EXAMPLES else folder
        before = f"export ORBA_LAB_STATE={folder}/lab"
        for command, shown, typed in shown_commands:
            reasons = [reason for reason in NOT_RUN if re.match(reason, command)]
            left_out.update(reasons)
            if command.startswith("export "):
                before += "\n" + command
            elif not reasons and (labs or not re.match(IN_LAB, command)):
                run(name, command, [line.rstrip() for line in shown], typed, inside, before)


def names_of(text):
    """What the documents call in passing: `orba WORD` and `./dev WORD`."""
    return set(re.findall(r"`(orba|\./dev) ([a-z]\w*)", text))


os.environ["PATH"] = ":".join([os.path.dirname(orba), programs, os.environ["PATH"]])
os.environ.pop("ORBA_NVRAM_DIR", None)
os.chdir(source)
documents = subprocess.run(["git", "ls-files", "*.md"], capture_output=True, text=True).stdout.split()
documents = documents or glob.glob("*.md") + glob.glob("docs/*.md") + glob.glob("lab/*.md")
known = {("orba", word) for word in re.findall(r"^  (\w+) ", subprocess.run([orba, "--help"], capture_output=True,
                                                                           text=True).stdout, re.M)}
with open("dev") as dev:
    known |= {("./dev", word) for words in re.findall(r"^ *([a-z| ]+)\)", dev.read(), re.M) for word in words.split("|")}
for name in documents + sorted(glob.glob("man/*.[0-9]")):
    with open(name) as document:
        text = document.read()
    play(name, [each for block in blocks(text, name.startswith("man/")) for each in commands(block)])
    for program, word in sorted(names_of(text) - known):
        wrong.append(f"{name}: there is no `{program} {word}`")
for name in sorted(glob.glob("examples/*.*")):
    with open(name) as example:
        play(name, [(re.split("   +", line)[0], [], []) for line in re.findall(r"^#   (orba .*)", example.read(), re.M)])
wrong += [f"nothing is left out for: {reason}" for reason in NOT_RUN.keys() - left_out]
print(f"{ran} commands as shown" + ("" if labs else "; those of labs were not run, since none can be made here"))
sys.exit("\n".join(wrong) or 0)
