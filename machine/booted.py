#!/usr/bin/env python3
"""The booted router and the world around it, for `orba lab ... --machine`; machine.py has the machines.

  booted.py up [CONFIG]       booted.py down        booted.py shell [HOST [COMMAND...]]
  booted.py apply [--json] [--config CONFIG] ENTRY [WORD...]      booted.py test [NAME...]

Ends with 2 when there is no lab, with 77 where the machine has not what it takes.
"""
import json
import os
import shlex
import shutil
import subprocess
import sys
import tempfile
import time

from machine import Machine, Silent

HERE = os.path.dirname(os.path.realpath(__file__))
HOSTS = ("router", "lan", "internet", "wan2", "wan3")
PACKAGES = {"qemu-system-mipsel": "qemu-system-mips", "mke2fs": "e2fsprogs"}
FOUND, NO_LAB, NOT_HERE = 1, 2, 77


class Refused(Exception):
    def __init__(self, code, why):
        super().__init__(why)
        self.code = code


def state_folder():
    if "ORBA_LAB_STATE" in os.environ:
        return os.environ["ORBA_LAB_STATE"]
    if os.geteuid() == 0:
        return "/run/orba-machine"
    return os.path.join(os.environ.get("XDG_RUNTIME_DIR", "/tmp"), f"orba-machine-{os.geteuid()}")


def image_folder():
    """Where ./dev machine has made kernel, disk and initramfs."""
    return os.environ.get("ORBA_MACHINE", os.path.join(HERE, "..", "build", "machine"))


def owned(state):
    if os.path.lexists(state) and (os.path.islink(state) or os.lstat(state).st_uid != os.geteuid()):
        raise Refused(FOUND, f"{state} is not yours")
    return state


class Booted:
    def __init__(self):
        self.state = owned(state_folder())
        self.folder = image_folder()
        self.router = Machine(self.state, "router")
        self.world = Machine(self.state, "world")

    def path(self, name):
        return os.path.join(self.state, name)

    # ---- up and down ----

    def needs(self):
        os.environ["PATH"] += ":/usr/sbin:/sbin"
        lacking = [package for program, package in PACKAGES.items() if not shutil.which(program)]
        if lacking:
            raise Refused(NOT_HERE, f"not installed: {' '.join(lacking)}")
        for file in ("kernel", "base.ext4", "initramfs", "booted"):
            if not os.path.exists(os.path.join(self.folder, file)):
                raise Refused(NOT_HERE, f"there is no {file} in {self.folder}; ./dev machine makes it")

    def up(self, config):
        self.needs()
        self.down()
        os.makedirs(self.state, mode=0o700)
        self.world.start(self.folder, ("world.wire", "router.wire"))
        self.start_router(config)
        self.world.begin("world")
        self.wait()

    def start(self, config):
        """As up, but a world that is there stays, and so does a router of these settings."""
        if self.world.process() is None:
            return self.up(config)
        if self.router.process() is None or self.config() != config:
            self.router.end()
            self.world.run("pppoe_provider")
            self.start_router(config)
        self.wait()

    def config(self):
        with open(self.path("config"), encoding="utf-8", errors="surrogateescape") as file:
            return file.read()

    def start_router(self, config):
        """From an empty store, which gets these as the settings of its image."""
        with open(self.path("config"), "w", encoding="utf-8", errors="surrogateescape") as file:
            file.write(config)
        subprocess.run(["mke2fs", "-q", "-t", "ext4", "-F", self.path("store.ext4"), "16M"],
                       check=True, stdout=subprocess.DEVNULL)
        self.boot_router(config)

    def boot_router(self, config="", role="router"):
        self.router.start(self.folder, ("router.wire", "world.wire"), "store.ext4")
        self.router.begin(role, config)

    def wait(self, seconds=600):
        for machine in (self.world, self.router):
            machine.run("until [ -e /run/up ]; do usleep 50000; done", seconds=seconds)

    def down(self):
        for machine in (self.router, self.world):
            machine.end()
        shutil.rmtree(self.state, ignore_errors=True)

    def must_be_up(self):
        if self.router.process() is None or self.world.process() is None:
            raise Refused(NO_LAB, "no lab is up; 'orba lab up --machine' makes one")

    # ---- what is run there ----

    def place(self, host, command):
        """The machine of a host, and the command as it has to be put there."""
        if host not in HOSTS:
            raise Refused(NO_LAB, f"there is no host '{host}'; {', '.join(HOSTS[:-1])} and {HOSTS[-1]} are")
        if host == "router":
            return self.router, command
        return self.world, f"exec ip netns exec {host} sh -c {shlex.quote(command)}"

    def run(self, host, command, given=b"", seconds=300):
        machine, command = self.place(host, command)
        return machine.run(command, given, seconds)

    def shell(self, host, words):
        command = shlex.join(words) if words else f"PS1='{host}# ' exec sh -i"
        machine, command = self.place(host, command)
        if os.isatty(0) or (not words and os.isatty(1)):
            with machine.channel() as channel:
                return channel.terminal(command)
        with machine.channel() as channel:
            given = sys.stdin.buffer.read()
            code, output, errors = channel.run(command if words else "exec sh -s", given)
        sys.stdout.buffer.write(output)
        sys.stderr.buffer.write(errors)
        return code

    def apply(self, calls, config=None):
        """Has the router's settings replaced and entry points called in one process; what each
        answered, and what all have printed."""
        if config is not None:
            self.checked("cat >/run/settings && orba_call --settings /run/settings", config.encode())
        words = " -- ".join(shlex.join(call) for call in calls)
        code, printed, errors = self.router.run(f"orba_call --answer /run/answer {words}", seconds=600)
        if code == 2:
            raise Refused(NO_LAB, errors.removeprefix("orba_call: ").strip())
        if code:
            raise Refused(FOUND, f"the call ended with {code}: {errors.strip()}")
        return json.loads(self.checked("cat /run/answer")), printed

    def checked(self, command, given=b""):
        code, output, errors = self.router.run(command, given)
        if code:
            raise Refused(FOUND, (errors or output).strip())
        return output


def without_comments(text):
    return "\n".join(line for line in text.splitlines() if line and not line.startswith("#")) + "\n"


def told(text):
    """A terminal is to obey nothing in it."""
    return "".join(c if c.isprintable() or c in "\n\t" else repr(c)[1:-1] for c in text)


def up(words):
    config = words[0] if words else os.path.join(HERE, "../examples/gateway.conf")
    with open(config, encoding="utf-8", errors="surrogateescape") as file:
        text = without_comments(file.read())
    lab = Booted()
    before = time.monotonic()
    try:
        lab.up(text)
    except Silent as error:
        lab.down()
        raise Refused(FOUND, f"the lab did not come up: {error}") from None
    names = lab.checked("cat /run/names").splitlines()
    print(f"router: {names[0]} 192.168.1.1, {names[1]} 198.51.100.2, up after "
          f"{time.monotonic() - before:.0f} s; hosts: lan 192.168.1.10, internet 198.51.100.1")
    return 0


def down(_):
    Booted().down()
    return 0


def shell(words):
    lab = Booted()
    lab.must_be_up()
    return lab.shell(words[0] if words else "router", words[1:])


def apply(words):
    as_json, config = False, None
    while words and words[0].startswith("--"):
        option = words.pop(0)
        if option == "--json":
            as_json = True
        elif option == "--config":
            with open(words.pop(0), encoding="utf-8", errors="surrogateescape") as file:
                config = without_comments(file.read())
    lab = Booted()
    lab.must_be_up()
    answers, printed = lab.apply([words], config)
    answer = answers[0]
    if as_json:
        print(json.dumps({"entry": words[0], "arguments": words[1:], **answer, "printed": printed}, indent=2))
        return 0
    returned = f", returns {answer['returned']}" if answer["returned"] else ""
    print(told(printed) + f"{words[0]}: called on the machine{told(returned)}")
    for output in answer["outputs"]:
        print(told(output))
    return 0


def test(words):
    """The tests of the lab in namespaces that a booted router can answer, and its own."""
    folders = [os.path.join(HERE, *folder) for folder in (("..", "lab", "tests"), (), ("..", "tests", "machine"))]
    environment = os.environ | {
        "ORBA_LAB": "machine", "ORBA_LAB_TESTS": "packet_test route_test machine_test",
        "PYTHONPATH": ":".join(folders), "EXAMPLES": os.path.join(HERE, "..", "examples"),
        "ORBA": os.environ.get("ORBA", "orba")}
    # The emulators outlive who starts them.
    python = [sys.executable, "-B", "-W", "ignore::ResourceWarning"]
    names = python + [os.path.join(HERE, "..", "lab", "names.py")]
    tests = [word for word in words if not word.startswith("--")]
    with tempfile.TemporaryDirectory() as folder:
        environment["ORBA_LAB_STATE"] = os.environ["ORBA_LAB_STATE"] = os.path.join(folder, "lab")
        if "--list" in words:
            options = [word for word in words if word != "--list"]
            return subprocess.run(names + options, env=environment, check=False).returncode
        if subprocess.run(names + tests, env=environment, stdout=subprocess.DEVNULL, check=False).returncode:
            return NO_LAB
        lab = Booted()
        try:
            lab.needs()
        except Refused as error:
            if os.environ.get("CI"):
                raise Refused(FOUND, str(error)) from None
            raise
        try:
            tests = tests or environment["ORBA_LAB_TESTS"].split()
            return subprocess.run(python + ["-m", "unittest", "-v", *tests], env=environment, check=False).returncode
        finally:
            lab.down()


def main():
    commands = {"up": up, "down": down, "shell": shell, "apply": apply, "test": test}
    if len(sys.argv) < 2 or sys.argv[1] not in commands:
        sys.exit(__doc__)
    try:
        sys.exit(commands[sys.argv[1]](sys.argv[2:]))
    except Refused as error:
        print(f"orba lab: {told(str(error))}", file=sys.stderr)
        sys.exit(error.code)
    except Silent as error:
        print(f"orba lab: {error}", file=sys.stderr)
        sys.exit(FOUND)


if __name__ == "__main__":
    main()
