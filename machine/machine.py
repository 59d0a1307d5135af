#!/usr/bin/env python3
"""Machines of the router's processor in an emulator, and the channels on which they are spoken to.

    router = Machine(state, "router")
    router.start(folder, ("router.wire", "world.wire"), "store.ext4")
    code, output, errors = router.run("ip address")

  machine.py FOLDER    boots a machine from the folder's kernel, and keeps in FOLDER/booted what it has
                       become before it has a role: that is where each machine begins
"""
import base64
import contextlib
import fcntl
import json
import os
import re
import secrets
import select
import signal
import shlex
import socket
import subprocess
import sys
import tempfile
import termios
import time
import tty

MARK = "\x1d"  # begins the names of questions, and is else not met with
CHANNELS = 4  # on each of them one command at a time
AGENT = CHANNELS  # the port of the world's agent
CAUSE = 36 * 4  # where the debugger's registers have this one, and of its highest byte
COUNTER_STOPPED = 8


class Silent(Exception):
    """A machine that does not answer, or has ended."""


class Channel:
    """One port of a machine, which nobody else has while it is held."""

    def __init__(self, path, held, seconds=None):
        self.held = held
        self.until = None if seconds is None else time.monotonic() + seconds
        self.pending = b""
        self.socket = socket.socket(socket.AF_UNIX)
        try:
            self.socket.connect(path)
        except OSError as error:
            self.socket.close()
            raise Silent(f"no machine answers at {path}: {error.strerror}") from None

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.socket.close()
        self.held.close()

    def _more(self, others=()):
        """Reads what there is; returns those of `others` that have something too."""
        left = None if self.until is None else max(0, self.until - time.monotonic())
        ready = select.select([self.socket, *others], [], [], left)[0]
        if not ready:
            raise Silent("the machine does not answer")
        if self.socket in ready:
            some = self.socket.recv(65536)
            if not some:
                raise Silent("the machine has ended")
            self.pending += some
        return [other for other in ready if other is not self.socket]

    def line(self):
        while b"\n" not in self.pending:
            self._more()
        line, self.pending = self.pending.split(b"\n", 1)
        return line.strip().decode(errors="replace")

    def ask(self, kind, command, *words):
        """Sends a question; returns its name once the machine has begun with it. What stands before
        that was for somebody who has gone."""
        name = MARK + secrets.token_hex(8)
        text = " ".join([name, kind, base64.b64encode(command.encode()).decode(), *words])
        self.socket.sendall(text.encode() + b"\n")
        while self.line() != f"{name} begins":
            pass
        return name

    def run(self, command, given=b""):
        name = self.ask("run", command, base64.b64encode(given).decode() or "-")
        texts = [b"", b""]
        which = 0
        while True:
            line = self.line()
            if line == f"{name} errors":
                which = 1
            elif line.startswith(f"{name} ends "):
                return int(line.split()[2]), texts[0], texts[1]
            else:
                texts[which] += base64.b64decode(line)

    def terminal(self, command):
        """Carries between the user's terminal and the machine's until the command ends."""
        keys, shown = 0, 1
        size = os.get_terminal_size(shown) if os.isatty(shown) else os.terminal_size((80, 24))
        before = termios.tcgetattr(keys) if os.isatty(keys) else None
        end = self.ask("terminal", command, str(size.lines or 24), str(size.columns or 80)).encode() + b" ends "
        typing = [keys]
        try:
            if before:
                tty.setraw(keys)
            while not (end in self.pending and self.pending.endswith(b"\n")):
                # What may be the beginning of the end is not shown.
                clear, mark, rest = self.pending.partition(MARK.encode())
                os.write(shown, clear)
                self.pending = mark + rest
                if rest and not (mark + rest).startswith(end[: len(mark + rest)]):
                    os.write(shown, mark)
                    self.pending = rest
                    continue
                for _ in self._more(typing):
                    typed = os.read(keys, 4096)
                    if typed:
                        self.socket.sendall(typed)
                    else:
                        typing = []
        finally:
            if before:
                termios.tcsetattr(keys, termios.TCSADRAIN, before)
        said, code = self.pending.split(end)
        os.write(shown, said.rstrip(b"\r\n"))
        return int(code)


class Machine:
    """One emulated machine of a state folder, whichever process has started it."""

    def __init__(self, state, role):
        self.state = state
        self.role = role

    def path(self, what):
        return os.path.join(self.state, f"{self.role}.{what}")

    def start(self, folder, wire, disk=None, fresh=False):
        """Where the folder's machine has booted to; a fresh one from its kernel. The wire is its own end
        and the other's, the disk a file of the state folder."""
        command = ["qemu-system-mipsel", "-M", "malta", "-cpu", "24Kf", "-m", "256",
                   "-nographic", "-vga", "none", "-no-reboot", "-monitor", "none",
                   "-kernel", os.path.join(folder, "kernel"), "-initrd", os.path.join(folder, "initramfs"),
                   # A program is translated once when its addresses stay. The kernel's own tests of its
                   # ciphers would take half a second.
                   "-append", "console=ttyS0 quiet panic=-1 norandmaps cryptomgr.notests",
                   "-serial", f"file:{self.path('log')}",
                   "-qmp", f"unix:{self.path('qmp')},server=on,wait=off",
                   "-drive", "if=none,id=d0,format=raw,readonly=on,file=" + os.path.join(folder, "base.ext4"),
                   "-drive", "if=none,id=d1," + (f"format=raw,file={os.path.join(self.state, disk)}" if disk else
                                                 "driver=null-co,read-zeroes=on,size=16M"),
                   # Neighbours share an interrupt: neither port nor network with the other.
                   "-device", "virtio-blk-pci,drive=d0", "-device", "virtio-serial-pci",
                   "-device", "virtio-blk-pci,drive=d1"]
        for port in range(CHANNELS + 1):
            with contextlib.suppress(FileNotFoundError):
                os.remove(self.path(port))  # its being there again is how a start is known
            command += ["-chardev", f"socket,id=c{port},path={self.path(port)},server=on,wait=off",
                        "-device", f"virtconsole,chardev=c{port}"]
        own, other = (os.path.join(self.state, end) for end in wire)
        with contextlib.suppress(FileNotFoundError):
            os.remove(own)
        command += ["-netdev", f"dgram,id=n0,local.type=unix,local.path={own},remote.type=unix,remote.path={other}",
                    "-device", "virtio-net-pci,netdev=n0,romfile="]
        if not fresh:
            command += ["-incoming", f"exec:cat {shlex.quote(os.path.join(folder, 'booted'))}", "-S",
                        "-gdb", f"unix:{self.path('gdb')},server=on,wait=off"]
        with open(self.path("qemu"), "wb") as log:
            process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=log, stderr=log,
                                       start_new_session=True)
        with open(self.path("pid"), "w", encoding="ascii") as file:
            file.write(f"{process.pid} {started(process.pid)}\n")
        until = time.monotonic() + 60
        while not os.path.exists(self.path(CHANNELS)):
            if process.poll() is not None or time.monotonic() > until:
                with open(self.path("qemu"), encoding="utf-8", errors="replace") as log:
                    raise Silent(log.read().strip() or "the emulator does not start")
            time.sleep(0.02)
        if not fresh:
            self.go_on()

    def go_on(self):
        """Lets a machine go on where it was kept. QEMU forgets when its timer is due, and with that the
        machine would sleep for 17 s: its counter is stopped and started, by a debugger's means."""
        try:
            while self.emulator("query-status")["status"] != "paused":
                time.sleep(0.02)
        except (OSError, ValueError):
            with open(self.path("qemu"), encoding="utf-8", errors="replace") as log:
                raise Silent(f"the machine does not go on: {log.read().strip()}") from None
        with socket.socket(socket.AF_UNIX) as debugger:
            debugger.connect(self.path("gdb"))

            def ask(packet):
                debugger.sendall(b"$%s#%02x" % (packet, sum(packet) & 255))
                answer = b""
                while not (found := re.search(rb"\$([^T#]*)#..", answer)):  # T tells that the machine is stopped
                    answer += debugger.recv(4096)
                return found[1]

            registers = bytearray.fromhex(ask(b"g").decode())
            for stopped in (COUNTER_STOPPED, 0):
                registers[CAUSE + 3] = registers[CAUSE + 3] & ~COUNTER_STOPPED | stopped
                ask(b"G" + registers.hex().encode())
            ask(b"D")

    def begin(self, role, settings=""):
        """Gives the machine a role, the time and the settings of its image, and lets it begin."""
        self.run(f"cat >/etc/settings; date -s @{int(time.time())} >/dev/null;"
                 f" setsid /bin/sh /etc/role/begin {role} </dev/null >/dev/console 2>&1 &",
                 settings.encode(errors="surrogateescape"))

    def keep(self, path):
        """Writes what the machine is into a file, which ends it."""
        self.emulator("migrate-set-parameters", **{"max-bandwidth": 1 << 40})
        self.emulator("migrate", uri=f"exec:cat >{shlex.quote(path)}")
        while (status := self.emulator("query-migrate")["status"]) != "completed":
            if status in ("failed", "cancelled"):
                raise Silent(f"the machine cannot be kept: {status}")
            time.sleep(0.1)

    def process(self):
        """The emulator's number, None when it does not run."""
        try:
            with open(self.path("pid"), encoding="ascii") as file:
                number, start = file.read().split()
        except (FileNotFoundError, ValueError):
            return None
        return int(number) if started(number) == start else None

    def channel(self, port=None, seconds=None):
        """The port, or any that is free; waits for one when there is none."""
        if self.process() is None:
            raise Silent(f"the {self.role} does not run")
        ports = range(CHANNELS) if port is None else [port]
        for each in ports:
            held = open(self.path(f"{each}.lock"), "w", encoding="ascii")
            try:
                fcntl.flock(held, fcntl.LOCK_EX | (0 if each == ports[-1] else fcntl.LOCK_NB))
                return Channel(self.path(each), held, seconds)
            except BlockingIOError:
                held.close()
        raise Silent(f"the {self.role} has no port")

    def run(self, command, given=b"", seconds=300):
        """The exit code of a shell's command, what it printed and what it complained of."""
        with self.channel(seconds=seconds) as channel:
            code, output, errors = channel.run(command, given)
        return code, output.decode(errors="replace"), errors.decode(errors="replace")

    def emulator(self, command, **arguments):
        """Has the emulator do something, such as set_link."""
        with socket.socket(socket.AF_UNIX) as qmp:
            qmp.connect(self.path("qmp"))
            stream = qmp.makefile("rw", encoding="ascii")
            stream.readline()
            for each, words in (("qmp_capabilities", {}), (command, arguments)):
                stream.write(json.dumps({"execute": each, "arguments": words}) + "\n")
                stream.flush()
                while "return" not in (answer := json.loads(stream.readline())):
                    if "error" in answer:
                        raise ValueError(answer["error"]["desc"])
            return answer["return"]

    def end(self):
        """As when its plug is pulled."""
        process = self.process()
        if process is None:
            return
        os.kill(process, signal.SIGKILL)
        while self.process() is not None:
            time.sleep(0.01)


def started(process):
    """When a process did, in ticks since this machine did; "" when there is none, or it only waits to
    be asked for its end."""
    try:
        with open(f"/proc/{process}/stat", encoding="utf-8", errors="replace") as file:
            fields = file.read().rpartition(")")[2].split()
    except FileNotFoundError:
        return ""
    return "" if fields[0] == "Z" else fields[19]


def main():
    folder = os.path.realpath(sys.argv[1])
    with tempfile.TemporaryDirectory() as state:
        machine = Machine(state, "machine")
        machine.start(folder, ("machine.wire", "nobody"), fresh=True)
        try:
            machine.run("true", seconds=300)
            machine.keep(os.path.join(folder, "booted.new"))
        finally:
            machine.end()
    os.rename(os.path.join(folder, "booted.new"), os.path.join(folder, "booted"))


if __name__ == "__main__":
    main()
