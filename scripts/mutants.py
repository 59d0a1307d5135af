#!/usr/bin/env python3
"""Changes one thing at a time and asks whether a test notices.

  scripts/mutants.py [N] [SEED [PATH...]]     N changes (400), chosen by SEED (1)

A change is a number, a comparison, a condition, a letter of a text, a call left
out or an answer, in src/ and platform/ or in the files and folders named. The
same N and SEED make the same changes of the same sources. Each is made in a copy of the tree, beside a copy
of build/release whose files are links: only what depends on the change is
built anew, by the commands that ninja would run, and the test programs run
until one of them fails. What none of them noticed is tried once more under
AddressSanitizer and UBSan where build/sanitize has been built.

A change that does not compile is replaced by the next. Ends with 1 when less
than 97 % were noticed.
"""
import collections
import concurrent.futures
import difflib
import functools
import os
import random
import re
import shlex
import shutil
import signal
import subprocess
import sys
import threading
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
WORK = os.path.join(ROOT, "build/mutants")
WANTED = 0.97
# A test program that takes this many times as long as on the sources as they are hangs,
# and so does one that takes this many seconds more.
PATIENCE = 8
LONGEST_WAIT = 30

Mutant = collections.namedtuple("Mutant", "kind path begin end text")
Program = collections.namedtuple("Program", "name target arguments seconds")


# ---- what can be changed ----

TOKEN = re.compile(
    r"""(?P<blank>\s+|//[^\n]*|/\*.*?\*/|^[ \t]*\#(?:\\\n|[^\n])*)
      |(?P<text>"(?:\\.|[^"\\])*")|(?P<letter>'(?:\\.|[^'\\])*')
      |(?P<number>\b(?:0[xX][0-9a-fA-F']+|\d[\d']*)[uUlL]*)
      |(?P<word>[A-Za-z_]\w*)
      |(?P<sign><<=|>>=|->|::|\+\+|--|&&|\|\||[-+*/%&|^=!<>]=|<<|>>|.)""",
    re.VERBOSE | re.DOTALL | re.MULTILINE)
COMPARISONS = {"==": "!=", "!=": "==", "<": "<=", "<=": "<", ">": ">=", ">=": ">"}
SWAPPED = {"&&": "||", "||": "&&", "+": "-", "-": "+", "+=": "-=", "-=": "+=", "++": "--", "--": "++"}
# What a call as a statement of its own does not begin with.
NO_CALL = {"return", "if", "for", "while", "switch", "sizeof", "static_assert", "else", "do", "case",
           "alignas", "decltype"}


def closing(tokens, i):
    """The index of the bracket that closes the one at `i`."""
    depth = 0
    for j in range(i, len(tokens)):
        if tokens[j][1] in "([{":
            depth += 1
        elif tokens[j][1] in ")]}":
            depth -= 1
            if depth == 0:
                return j
    return len(tokens) - 1


def isParameter(tokens, name):
    """Whether the word at `name` is declared as a parameter, whose bound says nothing to the compiler."""
    depth = 0
    for j in range(name, -1, -1):
        depth += {")": 1, "}": 1, "(": -1, "{": -1}.get(tokens[j][1], 0)
        if depth < 0:
            return tokens[j][1] == "(" and tokens[name - 1][0] == "word"
    return False


def isCapacity(tokens, i):
    """Whether the number says how much a buffer holds: Text<64> or, declared, char line[64]."""
    before = [t[1] for t in tokens[max(0, i - 3):i]]
    return before[-2:] == ["Text", "<"] or (
        len(before) == 3 and before[2] == "[" and re.fullmatch(r"char|u?int\d+_t", before[0]) is not None)


def otherNumber(text, rng, is_capacity):
    digits = text.rstrip("uUlL")
    value = int(digits.replace("'", ""), 8 if re.fullmatch(r"0[0-7]+", digits) else 0)
    # One more or less would hardly show; half of it must be too small for something.
    other = max(1, value // 2) if is_capacity else value + 1 if value == 0 else value + rng.choice((-1, 1))
    if other == value:
        other += 1
    return (hex(other) if digits[:2] in ("0x", "0X") else str(other)) + text[len(digits):]


def otherLetter(text, rng):
    """`text` with one of its letters or digits changed; None without any."""
    places = [m.start() for m in re.finditer(r"(?<![\\%])[A-Za-z0-9]", text)
              if not re.search(r"(?:%[-0-9.*lhz]*|\\x?[0-9a-fA-F]*)$", text[:m.start()])]
    if not places:
        return None
    at = rng.choice(places)
    c = text[at]
    last = {"z": "a", "Z": "A", "9": "0"}
    return text[:at] + last.get(c, chr(ord(c) + 1)) + text[at + 1:]


def mutantsOf(path, rng):
    source = open(os.path.join(ROOT, path), encoding="utf-8").read()
    tokens = [(m.lastgroup, m.group(), m.start(), m.end()) for m in TOKEN.finditer(source)
              if m.lastgroup != "blank"]
    left_out = set()
    for i, (_, text, _, _) in enumerate(tokens):
        if text in ("static_assert", "visibility") and i + 1 < len(tokens):
            left_out.update(range(i, closing(tokens, i + 1) + 1))
        if text == "extern":  # extern "C"
            left_out.add(i + 1)

    def spaced(i):
        return source[tokens[i][2] - 1] in " \n" and source[tokens[i][3]] in " \n"

    for i, (group, text, begin, end) in enumerate(tokens):
        if i in left_out:
            continue

        def change(kind, new, begin=begin, end=end):
            return Mutant(kind, path, begin, end, new)

        after = tokens[i + 1][1] if i + 1 < len(tokens) else ""
        before = tokens[i - 1][1] if i > 0 else ""
        if group == "number" and not (before == "[" and isParameter(tokens, i - 2)):
            yield change("number", otherNumber(text, rng, isCapacity(tokens, i)))
        elif group == "text" and before != "sizeof":
            other = otherLetter(text, rng)
            if other:
                yield change("letter", other)
        elif group == "letter":
            other = otherLetter(text, rng) or ("'!'" if text != "'!'" else "'?'")
            yield change("letter", other)
        elif text in ("true", "false"):
            yield change("answer" if before == "return" else "condition",
                         "false" if text == "true" else "true")
        elif group == "sign" and text in COMPARISONS and spaced(i) and before != "operator":
            yield change("comparison", COMPARISONS[text])
        elif group == "sign" and text in ("&&", "||", "+", "-", "+=", "-=") and spaced(i):
            yield change("condition" if text in "&&||" else "number", SWAPPED[text])
        elif text in ("++", "--"):
            yield change("number", SWAPPED[text])
        elif text in ("if", "while") and after == "(":
            last = closing(tokens, i + 1)
            opened, closed = tokens[i + 1][3], tokens[last][2]
            if ";" not in source[opened:closed] and not any(
                    t[1] == "=" for t in tokens[i + 1:last]):
                yield change("condition", "!(" + source[opened:closed] + ")", opened, closed)
        elif text == "!" and before != ")":  # (void)!write(...) discards the answer
            yield change("condition", "")
        elif text == "return" and after != ";":
            last = i
            while last < len(tokens) and tokens[last][1] != ";":
                last = closing(tokens, last) + 1 if tokens[last][1] in "([{" else last + 1
            value = source[end:tokens[last][2]].strip()
            if value not in ("0", "nullptr", "{}", "false", "true", '""') and not value.isdigit():
                yield change("answer", " {}", end, tokens[last][2])
        elif group == "word" and before in (";", "{", "}", ")", "else") and text not in NO_CALL:
            j = i
            while tokens[j + 1][1] in ("::", ".", "->") and tokens[j + 2][0] == "word":
                j += 2
            if tokens[j + 1][1] == "(":
                last = closing(tokens, j + 1)
                while tokens[last + 1][1] == "." and tokens[last + 3][1] == "(":
                    last = closing(tokens, last + 3)
                if tokens[last + 1][1] == ";" and (before != ")" or source[begin - 1] in " \n"):
                    yield change("call", "", begin, tokens[last][3])


def chosen(seed, paths):
    """All changes in the order of trying: every kind in turn, by chance within it."""
    rng = random.Random(seed)
    kinds = collections.defaultdict(list)
    for path in tracked(*paths):
        # The store's own programs are started from where they were built.
        if path.endswith((".cpp", ".h")) and not path.startswith("platform/nvram/programs/"):
            for mutant in mutantsOf(path, rng):
                kinds[mutant.kind].append(mutant)
    for mutants in kinds.values():
        rng.shuffle(mutants)
    order = sorted(kinds)
    rng.shuffle(order)
    while any(kinds.values()):
        for kind in order:
            if kinds[kind]:
                yield kinds[kind].pop()


def tracked(*folders):
    files = subprocess.run(["git", "ls-files", "-co", "--exclude-standard", "--", *folders], cwd=ROOT,
                           check=True, capture_output=True, text=True).stdout.split("\n")
    return sorted(f for f in files if f and os.path.exists(os.path.join(ROOT, f)))


# ---- building what a change reaches ----

class Build:
    """The commands of a build that has been made, in build/PRESET."""

    def __init__(self, preset):
        self.preset = preset
        self.folder = os.path.join(ROOT, "build", preset)
        self.dependants = collections.defaultdict(set)
        target = None
        for line in self.ninja("deps").split("\n"):
            if line and not line.startswith(" "):
                target = line.split(": #deps")[0]
            elif line.strip():
                path = os.path.normpath(os.path.join(self.folder, line.strip()))
                if path.startswith(ROOT + "/") and not path.startswith(self.folder):
                    self.dependants[os.path.relpath(path, ROOT)].add(target)

    def ninja(self, tool, *arguments):
        return subprocess.run(["ninja", "-C", self.folder, "--quiet", "-t", tool, *arguments],
                              check=True, capture_output=True, text=True).stdout

    @functools.lru_cache(maxsize=None)
    def commands(self, target):
        """What makes `target`, in order: (command, inputs, outputs)."""
        return [(line, *self.filesOf(line)) for line in self.ninja("commands", target).split("\n") if line]

    def filesOf(self, command):
        words = [w[len(self.folder) + 1:] if w.startswith(self.folder + "/") else w
                 for w in shlex.split(command)]
        if "-o" in words:
            outputs = {words[words.index("-o") + 1]}
        elif "cmake_symlink_library" in words:
            at = words.index("cmake_symlink_library")
            outputs = set(words[at + 2:at + 4])
        elif any("objcopy" in w for w in words):
            outputs = {words[-1]}
        else:
            outputs = {w for w in words if w.endswith(".a")}
        return set(words) - outputs, outputs

    def reaches(self, path, target):
        changed = set(self.dependants[path])
        for _, inputs, outputs in self.commands(target):
            if outputs & changed or inputs & changed:
                changed |= outputs
        return bool(changed & self.commands(target)[-1][2]) if self.commands(target) else False


class DoesNotCompile(Exception):
    pass


class Interrupted(Exception):
    pass


class Slot:
    """One copy of the tree and of its builds, in which one change is tried at a time."""

    def __init__(self, number, builds):
        self.folder = os.path.join(WORK, str(number))
        self.process = None
        self.interrupted = False
        shutil.rmtree(self.folder, ignore_errors=True)
        for path in tracked():
            copy = os.path.join(self.folder, path)
            os.makedirs(os.path.dirname(copy), exist_ok=True)
            shutil.copy2(os.path.join(ROOT, path), copy)
        for build in builds:
            os.makedirs(os.path.join(self.folder, "build"), exist_ok=True)
            subprocess.run(["cp", "-rs", build.folder, os.path.join(self.folder, "build")], check=True)

    def apply(self, mutant):
        self.mutant = mutant
        self.built = set()
        self.write(mutated(mutant))

    def restore(self):
        for build, output in self.built:
            link = os.path.join(self.folder, "build", build.preset, output)
            if os.path.lexists(link):
                os.remove(link)
            os.symlink(os.path.join(build.folder, output), link)
        self.write(sourceOf(self.mutant.path))

    def write(self, source):
        with open(os.path.join(self.folder, self.mutant.path), "w", encoding="utf-8") as file:
            file.write(source)

    def make(self, build, target):
        """Makes `target` of the changed sources."""
        changed = set(build.dependants[self.mutant.path])
        folder = os.path.join(self.folder, "build", build.preset)
        for command, inputs, outputs in build.commands(target):
            if not (outputs & changed or inputs & changed):
                continue
            changed |= outputs
            if {(build, output) for output in outputs} <= self.built:
                continue
            for output in outputs:
                path = os.path.join(folder, output)
                if os.path.lexists(path):
                    os.remove(path)
                self.built.add((build, output))
            command = command.replace(ROOT, self.folder)
            if " -c " in command:
                command = command.replace(" -O3 ", " -O1 ").replace(" -Werror ", " -w ")
            if self.status(["sh", "-c", command], folder) != 0:
                raise DoesNotCompile()

    def run(self, build, program):
        """How the program ended: its status, or None when it had to be stopped."""
        folder = os.path.join(self.folder, "build", build.preset)
        arguments = [a.format(build=folder, tree=self.folder) for a in program.arguments]
        limit = program.seconds + min(program.seconds * (PATIENCE - 1) + 5, LONGEST_WAIT)
        return self.status(arguments, os.path.join(folder, "tests"), limit,
                           LD_LIBRARY_PATH=os.path.join(folder, "platform/nvram"))

    def status(self, arguments, folder, limit=None, **variables):
        self.process = subprocess.Popen(arguments, cwd=folder, start_new_session=True,
                                        stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                        stderr=subprocess.DEVNULL, env={**os.environ, **variables})
        try:
            status = None if self.interrupted else self.process.wait(limit)
        except subprocess.TimeoutExpired:
            status = None
        finally:
            self.stop()
            self.process.wait()
        if self.interrupted:
            raise Interrupted()
        return status

    def stop(self):
        """Ends what runs, with all that it started."""
        try:
            os.killpg(self.process.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass

    def interrupt(self):
        self.interrupted = True
        if self.process and self.process.poll() is None:
            self.stop()


@functools.lru_cache(maxsize=None)
def sourceOf(path):
    return open(os.path.join(ROOT, path), encoding="utf-8").read()


def mutated(mutant):
    source = sourceOf(mutant.path)
    return source[:mutant.begin] + mutant.text + source[mutant.end:]


# ---- the tests ----

FOLDERS = ["core", "net", "firewall", "wireless", "session", "status", "switch", "qos", "mgmt", "crypto"]
# What takes seconds comes after all that does not. Left out are crowds: the writers, and the
# program that allocates all the time.
SLOW = {"nvram": "Threads.*:Reader.*:PowerCut.*", "fuzz": "Hostile.*",
        "kernel": "*ALockThatIsNeverLetGo*:Timer.*:Monitors.*:Pauses.*"}
LEFT_OUT = ":TwoWriters.*:Allocations.AProgram*"


def programs():
    def unit(name, tests):
        program = name + "_tests"
        return Program(name if tests.startswith("-") else name + " (slow)", "tests/" + program,
                       ("{build}/tests/" + program, "--gtest_brief=1", "--gtest_fail_fast",
                        "--gtest_filter=" + tests), 0)

    def replay(name):
        return Program("fuzz/" + name, "fuzz/fuzz_corpus",
                       ("{build}/fuzz/fuzz_corpus", "replay", "{tree}/fuzz/corpus/%s.txt" % name), 0)

    orba = "{build}/tools/orba/orba"
    return ([unit(name, "-" + SLOW.get(name, "") + LEFT_OUT)
             for name in FOLDERS + ["nvram", "tool", "fuzz", "faults", "kernel"]] +
            [unit(name, tests) for name, tests in SLOW.items()] +
            [replay(name) for name in FOLDERS + ["settings_file"]] +
            [Program("transcripts", "tools/orba/orba",
                     ("{tree}/tests/tool/transcripts.sh", orba, "{tree}/examples",
                      "{tree}/tests/tool/transcripts"), 0),
             Program("reference", "tools/reference/orba_reference",
                     ("{build}/tools/reference/orba_reference", "{tree}"), 0)])


def inOrder(known, path):
    """The test programs, those that should notice first."""
    home = path.split("/")[1]
    return sorted(known, key=lambda p: (p.name != home, p.name != "fuzz/" + home, p.seconds))


Verdict = collections.namedtuple("Verdict", "mutant noticed_by stopped")


def tried(slot, mutant, suites):
    """Which program noticed the change; None when it does not compile."""
    slot.apply(mutant)
    try:
        for build, known in suites:
            for program in inOrder(known, mutant.path):
                if not build.reaches(mutant.path, program.target):
                    continue
                slot.make(build, program.target)
                status = slot.run(build, program)
                if status != 0:
                    return Verdict(mutant, f"{build.preset} {program.name}", status is None)
        return Verdict(mutant, None, False)
    except DoesNotCompile:
        return None
    finally:
        slot.restore()


def timed(slot, build, known):
    """The programs that pass on the sources as they are, with the time they take."""
    result = []
    for program in known:
        if not os.path.exists(os.path.join(build.folder, program.target)):
            continue
        begin = time.monotonic()
        status = slot.run(build, program._replace(seconds=60))
        if status != 0:
            sys.exit(f"{build.preset} {program.name} fails without any change")
        result.append(program._replace(seconds=time.monotonic() - begin))
    return result


def described(mutant):
    before, after = sourceOf(mutant.path).split("\n"), mutated(mutant).split("\n")
    line = sourceOf(mutant.path).count("\n", 0, mutant.begin) + 1
    changes = [d for d in difflib.ndiff(before, after) if d[:2] in ("- ", "+ ")]
    return f"{mutant.path}:{line} ({mutant.kind})\n  " + "\n  ".join(changes)


def main():
    wanted = int(sys.argv[1]) if len(sys.argv) > 1 else 400
    seed = sys.argv[2] if len(sys.argv) > 2 else "1"
    paths = sys.argv[3:] or ["src", "platform"]
    builds = [Build(preset) for preset in ("release", "sanitize")
              if os.path.exists(os.path.join(ROOT, "build", preset, "tests/core_tests"))]
    jobs = os.cpu_count() or 1
    slots = [Slot(number, builds) for number in range(jobs)]
    suites = []
    for build in builds:
        known = programs()
        if build.preset == "sanitize":  # what is slow there says little more
            known = [p for p in known if p.name not in ("fuzz", "faults", "transcripts", "reference")
                     and "slow" not in p.name]
        suites.append((build, timed(slots[0], build, known)))
        print(f"{build.preset}: {sum(p.seconds for p in suites[-1][1]):.0f} s: " +
              ", ".join(f"{p.name} {p.seconds:.1f}" for p in suites[-1][1]), flush=True)

    order = chosen(seed, paths)
    lock = threading.Lock()
    verdicts = {}
    begin = time.monotonic()
    state = {"next": 0, "rejected": 0}

    def work(slot):
        while True:
            with lock:
                if len(verdicts) >= wanted:
                    return
                mutant = next(order, None)
                number = state["next"]
                state["next"] += 1
            if mutant is None:
                return
            try:
                verdict = tried(slot, mutant, suites)
            except Interrupted:
                return
            with lock:
                if verdict is None:
                    state["rejected"] += 1
                    continue
                verdicts[number] = verdict
                missed = sum(v.noticed_by is None for v in verdicts.values())
                seconds = time.monotonic() - begin
                left = seconds / len(verdicts) * max(0, wanted - len(verdicts))
                print(f"\r{len(verdicts)} of {wanted}, {missed} unnoticed, {state['rejected']} not compiled, "
                      f"{seconds / len(verdicts):.1f} s each, {left / 60:.0f} min left ",
                      end="\n" if verdict.noticed_by is None else "", flush=True)
                if verdict.noticed_by is None:
                    print(described(mutant), flush=True)

    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        futures = [pool.submit(work, slot) for slot in slots]
        try:
            for future in futures:
                future.result()
        finally:  # what failed or was interrupted is not waited for
            for slot in slots:
                slot.interrupt()
    judged = [verdicts[number] for number in sorted(verdicts)][:wanted]
    survivors = [v.mutant for v in judged if v.noticed_by is None]
    by_program = collections.Counter(v.noticed_by.split("/")[0] for v in judged if v.noticed_by)
    print("\n\nnoticed by: " + ", ".join(f"{name} {count}" for name, count in by_program.most_common()))
    for mutant in survivors:
        print("unnoticed: " + described(mutant))
    caught = len(judged) - len(survivors)
    print(f"caught {caught} of {len(judged)} ({100 * caught / max(1, len(judged)):.1f} %), "
          f"{sum(v.stopped for v in judged)} by their time limit; {state['rejected']} did not compile; seed {seed}")
    sys.exit(0 if judged and caught >= WANTED * len(judged) else 1)


if __name__ == "__main__":
    try:
        main()
    except KeyboardInterrupt:
        sys.exit(130)
    finally:
        shutil.rmtree(WORK, ignore_errors=True)
