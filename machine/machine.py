"""Two machines of the router's processor in an emulator: the router, and the world around it.

    with World(folder) as world:
        code, output = world.router.run("ip address")
"""
import base64
import os
import select
import socket
import subprocess
import time


class Machine:
    """One emulated machine, and the channel on which commands are run in it."""

    def __init__(self, folder, role, wires, disk=None, memory=256):
        self.folder = folder
        self.role = role
        self.log = os.path.join(folder, f"{role}.log")
        self.path = os.path.join(folder, f"{role}.control")
        if os.path.exists(self.path):
            os.remove(self.path)
        command = ["qemu-system-mipsel", "-M", "malta", "-cpu", "24Kf", "-m", str(memory),
                   "-nographic", "-vga", "none", "-no-reboot", "-monitor", "none",
                   "-kernel", os.path.join(folder, "kernel"),
                   "-initrd", os.path.join(folder, "initramfs"),
                   "-append", f"console=ttyS0 quiet role={role}",
                   "-serial", f"file:{self.log}",
                   "-serial", f"unix:{self.path},server=on,wait=off"]
        for number, (own, other) in enumerate(wires):
            mac = "02:00:00:00:%02x:%02x" % (1 if role == "router" else 2, number)
            command += ["-netdev", f"dgram,id=n{number},local.type=unix,local.path={own},"
                                   f"remote.type=unix,remote.path={other}",
                        "-device", f"e1000,netdev=n{number},romfile=,mac={mac}"]
        if disk:
            command += ["-drive", f"if=none,id=d0,format=raw,file={disk}",
                        "-device", "virtio-blk-pci,drive=d0"]
        self.process = subprocess.Popen(command, stdin=subprocess.DEVNULL,
                                        stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
        self.pending = b""
        self.socket = self._connected()  # at once: what is said to nobody is lost

    def _connected(self):
        until = time.monotonic() + 10
        while True:
            made = socket.socket(socket.AF_UNIX)
            try:
                made.connect(self.path)
                return made
            except OSError:
                made.close()
                if self.process.poll() is not None:
                    raise ConnectionError(self.process.stderr.read().decode()) from None
                if time.monotonic() > until:
                    self.process.kill()
                    raise
                time.sleep(0.02)

    def _line(self, until):
        while b"\n" not in self.pending:
            left = until - time.monotonic()
            if left <= 0 or not select.select([self.socket], [], [], left)[0]:
                raise TimeoutError(f"{self.role} does not answer")
            some = self.socket.recv(65536)
            if not some:
                raise ConnectionError(f"{self.role} has ended")
            self.pending += some
        line, self.pending = self.pending.split(b"\n", 1)
        return line.strip().decode()

    def wait(self, seconds=60):
        """Until it has started."""
        until = time.monotonic() + seconds
        while self._line(until) != "= ready":
            pass

    def run(self, command, seconds=60):
        """The exit code of a shell's command, and what it printed."""
        self.socket.sendall(base64.b64encode(command.encode()) + b"\n")
        until = time.monotonic() + seconds
        output = b""
        while True:
            line = self._line(until)
            if line.startswith("= "):
                return int(line[2:]), output.decode(errors="replace")
            output += base64.b64decode(line)

    def end(self):
        self.process.kill()
        self.process.wait()
        self.socket.close()
