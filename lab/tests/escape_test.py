"""Nobody in the lab reaches the machine that it is on."""

import os
import re
import tempfile

from lab import ORBA, STATE, LabTest, example, run, shell


class KeptIn(LabTest):
    """The lab's root against the machine's files, settings, memory and names."""

    def attempt(self, command):
        """The exit code of what the router's root tries."""
        return run(ORBA, "lab", "shell", "router", "sh", "-c", command).returncode

    def test_nobody_on_the_machine(self):
        with open(f"{STATE}/router.pid", encoding="ascii") as file:
            process = file.read().strip()
        for kind in ("mnt", "pid", "net", "ipc", "uts"):
            theirs, mine = (os.readlink(f"/proc/{p}/ns/{kind}") for p in (process, "self"))
            self.assertNotEqual(theirs, mine, kind)
        with open("/proc/self/uid_map", encoding="ascii") as file:
            users_own = file.read().split()[2] == "1"  # these tests run as the lab's root then
        if not users_own:
            with open(f"/proc/{process}/status", encoding="ascii") as file:
                ids = re.findall(r"^[UG]id:\s+(\d+)", file.read(), re.MULTILINE)
            self.assertNotIn("0", ids)

    def test_files(self):
        with tempfile.TemporaryDirectory() as folder:
            os.chmod(folder, 0o777)
            open(f"{folder}/open", "w", encoding="ascii").close()
            os.chmod(f"{folder}/open", 0o666)
            self.assertNotEqual(self.attempt(f"echo in >>{folder}/open"), 0)
            self.assertNotEqual(self.attempt(f"echo in >/proc/1/cwd/../{folder}/open"), 0)
            self.assertEqual(os.stat(f"{folder}/open").st_size, 0)
        for path in ("/x", "/usr/x", "/usr/bin/x", "/bin/sh", "/usr/sbin/ip", "/usr/lib/x"):
            self.assertNotEqual(self.attempt(f": >>{path}"), 0, path)
        # What it may write is its own.
        for path in ("/etc/x", "/tmp/x", "/var/x", "/run/x", "x"):
            shell("router", f"echo in >{path}")
            self.assertFalse(os.path.exists(os.path.abspath(path)), path)

    def test_terminal_and_open_files(self):
        typing = ("import fcntl, os, pty; pid, end = pty.fork()\n"
                  "if pid: os._exit(os.waitpid(pid, 0)[1] >> 8)\n"
                  "os.execv(os.environ['ORBA'], ['orba', 'lab', 'shell', 'router', 'python3', '-c',"
                  " 'import ctypes, os; terminal = os.open(\"/dev/tty\", os.O_RDWR)\\n'"
                  " 'typed = lambda ask: ctypes.CDLL(None).ioctl(terminal, ctypes.c_ulong(ask), b\"x\") == 0\\n'"
                  " 'os._exit(any(map(typed, (0x5412, 0x541c, 0x100005412))))'])")
        self.assertEqual(run("python3", "-c", typing).returncode, 0)
        with open("/etc/passwd", "rb") as file:
            words = (ORBA, "lab", "shell", "router", "test", "-e", f"/proc/self/fd/{file.fileno()}")
            self.assertEqual(run(*words, pass_fds=[file.fileno()]).returncode, 1)

    def test_names_on_the_makers_terminal(self):
        with tempfile.TemporaryDirectory() as folder:
            with open(f"{folder}/customer.conf", "w", encoding="utf-8") as file:
                file.write(example(self.EXAMPLE, vlanEnabled=1, wan1Vid="\x1b[2J\x9b"))
            own = os.environ | {"ORBA_LAB_STATE": f"{folder}/lab"}
            told = run(ORBA, "lab", "up", "--config", f"{folder}/customer.conf", env=own)
            run(ORBA, "lab", "down", env=own)
        self.assertIn("eth2.^[[2J", told.stdout)
        self.assertNotRegex(told.stdout + told.stderr, "[\x1b\x9b]")

    def test_settings_of_the_kernel(self):
        for path in ("/proc/sys/kernel/core_pattern", "/proc/sys/vm/swappiness",
                     "/proc/sys/fs/pipe-max-size", "/sys/kernel/mm/ksm/run",
                     "/sys/class/net/br0/mtu", "/proc/sysrq-trigger"):
            self.assertNotEqual(self.attempt(f": >>{path}"), 0, path)
            self.assertNotEqual(self.attempt(f"mount -o remount,rw /proc/sys; : >>{path}"), 0, path)
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
