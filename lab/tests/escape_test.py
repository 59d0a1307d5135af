"""Nobody in the lab reaches the machine that it is on."""

import contextlib
import os
import pty
import re
import shlex
import signal
import subprocess
import tempfile

from lab import EXAMPLES, ORBA, STATE, LabTest, example, process_of, run, shell
from packets import waits

# Stays behind in the lab, and reads what is typed on the terminal that it was started
# from: by way of the session's terminal, or of what it was given for its standard three.
THIEF = """
import os, signal
for number in (signal.SIGHUP, signal.SIGTTIN, signal.SIGTTOU): signal.signal(number, signal.SIG_IGN)
if os.fork(): os._exit(0)
for way in ("/dev/tty", 0, 1, 2):
    if os.fork(): continue
    if way == "/dev/tty":
        os.setpgid(0, 0)
        way = os.open(way, os.O_RDWR)
        os.tcsetpgrp(way, os.getpgrp())
    else:
        os.setsid()
    if os.isatty(way) and (line := os.read(way, 99)):
        with open("/tmp/stolen", "ab") as file: file.write(line)
    break
"""

# Stays behind too, and makes a file in whatever folder another process has open as its seventh.
PLANTER = """
import contextlib, os
while True:
    for process in os.listdir("/proc"):
        with contextlib.suppress(OSError):
            os.close(os.open(f"/proc/{process}/fd/7/planted", os.O_CREAT | os.O_WRONLY))
"""


class Terminal:
    """A terminal, and a shell on it that runs a command."""

    def __init__(self, command):
        self.process, self.end = pty.fork()
        if self.process == 0:
            os.execvp("sh", ["sh", "-c", command])

    def type(self, text):
        os.write(self.end, text.encode())

    def shown(self, until="\0"):
        """What it shows, to a line that begins so, the command's end or a long silence."""
        text = ""
        with contextlib.suppress(OSError):  # the command's end
            while f"\n{until}" not in text and waits(self.end, 5):
                text += os.read(self.end, 4096).decode(errors="replace")
        return text

    def __del__(self):
        os.kill(self.process, signal.SIGKILL)
        os.waitpid(self.process, 0)
        os.close(self.end)


class KeptIn(LabTest):
    """The lab's root against the machine's files, settings, memory and names."""

    def attempt(self, command):
        """The exit code of what the router's root tries."""
        return run(ORBA, "lab", "shell", "router", "sh", "-c", command).returncode

    def test_what_is_typed_on_its_makers_terminal(self):
        shell("router", f"printf %s {shlex.quote(THIEF)} >/tmp/thief")
        in_lab = f"{ORBA} lab shell router python3 /tmp/thief"
        ways = (in_lab, f"{in_lab} </dev/null", f"{in_lab} </dev/null 2>&1 | cat",
                f"{in_lab} </dev/null >/dev/null", f"{ORBA} apply doSystemBackGround 'sleep 9 & python3 /tmp/thief'")
        terminals = {way: Terminal(f"{way}; sleep 1; echo; echo ready; read -r line; echo got $line")
                     for way in ways}
        for way, terminal in terminals.items():
            terminal.shown("ready")
            terminal.type("secret\n")
            self.assertIn("got secret", terminal.shown(), way)
        self.assertNotEqual(self.attempt("test -s /tmp/stolen"), 0)
        # What a command leaves behind on purpose stays, its terminal gone.
        self.assertEqual(self.attempt("pgrep -f 'sleep [9]'"), 0)

    def test_a_terminal_of_its_own_is_one(self):
        """Whoever is kept from the maker's terminal has another."""
        command = "stty size; read -r line; tty -s && echo told $line; read -r never; exit 3"
        terminal = Terminal(f"stty rows 7 cols 90; {ORBA} lab shell router sh -c '{command}'; echo ended $?; stty -a")
        terminal.shown("7 90")
        terminal.type("something\n")
        terminal.shown("told something")
        terminal.type("\x03")
        self.assertRegex(terminal.shown(), r"ended 130(.|\n)* icanon")
        # A shell gives it back without a word.
        terminal = Terminal(f"{ORBA} lab shell; echo ended $?")
        terminal.type("exit\n")
        self.assertRegex(terminal.shown("ended"), r"^(exit\s+|router# )+ended 0\s+$")

    def test_keys(self):
        session = run("keyctl", "session", "-", "sh", "-c",
                      "keyctl add user orba-lab secret @s && keyctl search @s user orba-lab && "
                      f"{ORBA} lab shell router keyctl search @s user orba-lab")
        self.assertEqual(len(re.findall(r"^\d+$", session.stdout, re.MULTILINE)), 2, session)
        self.assertNotEqual(session.returncode, 0)

    def test_a_number_that_came_to_be_a_strangers(self):
        ready = "mount -t tmpfs run /run && mkdir -p /run/lab/tools && echo && exec sleep infinity"
        spaces = ("unshare", "--user", "--map-root-user", "--mount", "--net", "--ipc", "--uts")
        stranger = subprocess.Popen((*spaces, "sh", "-c", ready), stdout=subprocess.PIPE)
        self.addCleanup(stranger.communicate)
        self.addCleanup(stranger.kill)
        stranger.stdout.readline()
        with tempfile.TemporaryDirectory() as folder:
            run("cp", "-r", STATE, f"{folder}/lab")
            for name in ("router", "holder"):
                run("sed", "-i", f"s/^{process_of(name)}/{stranger.pid}/", f"{folder}/lab/{name}.pid")
            own = os.environ | {"ORBA_LAB_STATE": f"{folder}/lab"}
            for words in (("lab", "shell", "router", "true"), ("apply", "getNums", "a", ";")):
                self.assertIn("no lab is up", run(ORBA, *words, env=own).stderr, words)
            run(ORBA, "lab", "down", env=own)
            self.assertIsNone(stranger.poll())

    def test_lab_of_a_user(self):
        """Made with a user's search path; what it signals is its own."""
        with tempfile.TemporaryDirectory() as folder:
            os.chmod(folder, 0o777)
            as_user = ("setpriv", "--reuid", "65532", "--regid", "65532", "--clear-groups")
            if self.users_own():
                as_user = ()
            own = os.environ | {"ORBA_LAB_STATE": f"{folder}/lab", "PATH": "/usr/bin:/bin"}
            if run(*as_user, "test", "-r", ORBA).returncode != 0:
                self.skipTest("the build is in a folder that users cannot read")
            made = run(*as_user, ORBA, "lab", "up", "--config", f"{EXAMPLES}/{self.EXAMPLE}.conf", env=own)
            if made.returncode == 77:
                self.skipTest(made.stderr)  # namespaces are not for users here
            self.assertEqual(made.returncode, 0, made.stderr)
            signalled = run(*as_user, "setsid", "sh", "-c",
                            f"{ORBA} lab shell router sh -c 'kill -TERM 0'; echo went on", env=own)
            # Who has entered still has its maker's folder open.
            os.mkdir(f"{folder}/mine")
            os.chmod(f"{folder}/mine", 0o777)
            run(*as_user, ORBA, "lab", "shell", "router", "sh", "-c",
                'setsid python3 -c "$0" </dev/null >/dev/null 2>&1 &', PLANTER, env=own)
            applied = run(*as_user, "sh", "-c", f"{ORBA} apply firewall_init 7<{folder}/mine", env=own)
            planted = os.listdir(f"{folder}/mine")
            run(*as_user, ORBA, "lab", "down", env=own)
        self.assertEqual(signalled.stdout, "went on\n", signalled)
        self.assertIn("163 commands", applied.stdout, applied)
        self.assertEqual(planted, [])

    def users_own(self):
        """Whether the lab's root is its maker, as which these tests run then."""
        with open("/proc/self/uid_map", encoding="ascii") as file:
            return file.read().split()[2] == "1"

    def test_nobody_on_the_machine(self):
        process = process_of("router")
        for kind in ("mnt", "pid", "net", "ipc", "uts"):
            theirs, mine = (os.readlink(f"/proc/{p}/ns/{kind}") for p in (process, "self"))
            self.assertNotEqual(theirs, mine, kind)
        if not self.users_own():
            with open(f"/proc/{process}/status", encoding="ascii") as file:
                ids = re.findall(r"^[UG]id:\s+(\d+)", file.read(), re.MULTILINE)
            self.assertNotIn("0", ids)

    def test_files(self):
        with tempfile.TemporaryDirectory() as folder:
            os.chmod(folder, 0o777)
            open(f"{folder}/open", "w", encoding="ascii").close()
            os.chmod(f"{folder}/open", 0o666)
            for way in (folder, f"/proc/1/cwd/../{folder}"):
                self.assertNotEqual(self.attempt(f"echo in >>{way}/open"), 0)
            self.assertEqual(os.stat(f"{folder}/open").st_size, 0)
        for path in ("/x", "/usr/x", "/usr/bin/x", "/bin/sh", "/usr/sbin/ip", "/usr/lib/x"):
            self.assertNotEqual(self.attempt(f": >>{path}"), 0, path)
        # Nor does its root undo that the programs are there to be read.
        for undo in ("mount -o remount,bind,rw /usr", "unshare --mount mount -o remount,bind,rw /usr",
                     "mkdir /tmp/usr && mount --bind /usr /tmp/usr && mount -o remount,bind,rw /tmp/usr"):
            self.assertNotEqual(self.attempt(undo), 0, undo)
        # What it may write is its own.
        for path in ("/etc/x", "/tmp/x", "/var/x", "/run/x", "x"):
            shell("router", f"echo in >{path}")
            self.assertFalse(os.path.exists(os.path.abspath(path)), path)

    def test_terminal_and_open_files(self):
        typed = ("import ctypes, os; terminal = os.open('/dev/tty', os.O_RDWR)\n"
                 "typed = lambda ask: ctypes.CDLL(None).ioctl(terminal, ctypes.c_ulong(ask), b'x') == 0\n"
                 "os._exit(3 + any(map(typed, (0x5412, 0x541c, 0x100005412))))")
        shown = Terminal(f"{ORBA} lab shell router python3 -c {shlex.quote(typed)}; echo ended $?").shown()
        self.assertEqual(shown, "ended 3\r\n")
        told = run(ORBA, "lab", "shell", "router", "sh", "-c", "cat /proc/*/environ", env=os.environ | {"TOKEN": "mine"})
        self.assertNotIn("TOKEN", told.stdout)
        with open("/etc/passwd", "rb") as file:
            words = (ORBA, "lab", "shell", "router", "test", "-e", f"/proc/self/fd/{file.fileno()}")
            self.assertEqual(run(*words, pass_fds=[file.fileno()]).returncode, 1)

    def test_names_on_the_makers_terminal(self):
        with tempfile.TemporaryDirectory() as folder:
            with open(f"{folder}/customer.conf", "w", encoding="utf-8") as file:
                file.write(example(self.EXAMPLE, vlanEnabled=1, wan1Vid="\x1b[2J\x9b"))
            own = os.environ | {"ORBA_LAB_STATE": f"{folder}/lab"}
            maker = Terminal(f"ORBA_LAB_STATE={folder}/lab {ORBA} lab up --config {folder}/customer.conf;"
                             "echo; echo ready; sleep 9")
            told = maker.shown("ready")
            # It outlives that terminal, and has none.
            terminal = run(ORBA, "lab", "shell", "router", "cut", "-d", " ", "-f", "7", "/proc/1/stat", env=own)
            run(ORBA, "lab", "down", env=own)
        self.assertIn("eth2.^[[2J", told)
        self.assertNotRegex(told, "[\x1b\x9b]")
        self.assertEqual(terminal.stdout, "0\n", terminal)

    def test_settings_of_the_kernel(self):
        for path in ("/proc/sys/kernel/core_pattern", "/proc/sys/vm/swappiness",
                     "/proc/sys/fs/pipe-max-size", "/sys/kernel/mm/ksm/run",
                     "/sys/class/net/br0/mtu", "/proc/sysrq-trigger"):
            self.assertNotEqual(
                self.attempt(f"sh -c ': >>{path}' || {{ mount -o remount,rw /proc/sys; : >>{path}; }}"), 0, path)
        shell("router", "echo 1 >/proc/sys/net/ipv4/ip_forward")

    def test_shared_memory_and_names(self):
        made = run("ipcmk", "--shmem", "4096").stdout.split()[-1]
        try:
            self.assertNotEqual(self.attempt(f"ipcrm --shmem-id {made}"), 0)
            self.assertEqual(run("ipcs", "--shmems", "--id", made).returncode, 0)
        finally:
            run("ipcrm", "--shmem-id", made)
        # A login published in the lab is nothing to the machine's sessions.
        logins = lambda: re.findall(r"^0x000004d2 .*", run("ipcs", "--shmems").stdout, re.MULTILINE)
        before = logins()
        self.apply("init_SharedMemory")
        self.assertEqual(logins(), before)
        name = os.uname().nodename
        shell("router", "hostname elsewhere")
        self.assertEqual(os.uname().nodename, name)

    def test_a_command_that_writes_where_it_stands(self):
        # "wan.sh >null"
        self.apply("ethernetPortEventHandler", "1", config=example(self.EXAMPLE, WirelessOPMode=0))
        shell("router", "test -e /root/null")
        for path in ("/null", "null"):
            self.assertFalse(os.path.exists(path), path)
