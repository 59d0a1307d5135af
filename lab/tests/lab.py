"""A lab of its own for the tests, and packets between its hosts."""

import atexit
import json
import os
import subprocess
import sys
import tempfile
import unittest

# The same questions are put to the lab in namespaces and to the router that is booted.
BOOTED = os.environ.get("ORBA_LAB") == "machine"
if BOOTED:
    import questions
    from questions import Sniffer, ping, send_as, send_flags, shell, tcp, udp
else:
    from packets import Sniffer, ping, send_as, send_flags, tcp, udp
from packets import maximum_segment

ORBA = os.environ["ORBA"]
EXAMPLES = os.environ["EXAMPLES"]
STATE = os.environ["ORBA_LAB_STATE"]
ROUTER = "198.51.100.2"  # from the Internet
ROUTER_LAN = "192.168.1.1"
LAN = "192.168.1.10"
INTERNET = "198.51.100.1"
TRUSTED = "198.51.100.10"  # another address of the Internet host

# Where is seen what the router sends out of an interface.
FAR = {"ppp0": ("internet", "ppp0" if BOOTED else "eth0")}
for number, name in ((2, "eth2.20"), (3, "eth2.30")):
    FAR[name] = (f"wan{number}", "eth0") if BOOTED else ("router", f"far-{name}")

# What up.sh says of something that kernel or tools lack.
MISSING = "not to be had here: "


verdicts = 0


def judging(question):
    """The question, whose answers are counted: the tests compare each."""
    def asked(*arguments, **named):
        global verdicts
        verdicts += 1
        return question(*arguments, **named)
    return asked


ping, send_as, send_flags, tcp, udp = (judging(each) for each in (ping, send_as, send_flags, tcp, udp))
Sniffer.find = judging(Sniffer.find)
atexit.register(lambda: verdicts and print(f"{verdicts} verdicts by packets", file=sys.stderr))


def example(name, **changes):
    """The settings of an example, some of them changed, as a configuration."""
    lines = []
    with open(f"{EXAMPLES}/{name}.conf", encoding="utf-8") as file:
        for line in file.read().split("\n[2]")[0].splitlines():
            if line.split("=")[0] not in changes:
                lines.append(line)
    lines += [f"{key}={value}" for key, value in changes.items()]
    return "\n".join(lines) + "\n"


def run(*words, **more):
    return subprocess.run(words, capture_output=True, text=True, check=False, **more)


def process_of(host):
    """The number of the process that holds a host's namespaces."""
    with open(f"{STATE}/{host}.pid", encoding="ascii") as file:
        return int(file.read().split()[0])


def lan_mac(mac):
    """Gives the LAN host another MAC address, and lets the router forget the old one."""
    shell("lan", f"ip link set eth0 address {mac}; ip neigh flush all")
    shell("router", "ip neigh flush all")


def reach_far():
    """Tells the router of who is there behind WAN 2 and 3, where nobody answers."""
    if not BOOTED:
        shell("router", "for n in 20 30; do ip neigh replace 10.$n.0.1 lladdr 02:00:00:00:00:99 dev eth2.$n; done")


if not BOOTED:
    def shell(host, command):
        """What a command on a host prints; it must succeed."""
        done = run(ORBA, "lab", "shell", host, "sh", "-c", command)
        if done.returncode != 0:
            raise AssertionError(f"{host}: {command}: {done.stderr or done.stdout}")
        return done.stdout


# ---- the lab ----


class LabTest(unittest.TestCase):
    """A class of tests has a lab for one configuration, and may apply others
    that name the same interfaces."""

    EXAMPLE = "gateway"

    @classmethod
    def setUpClass(cls):
        # A bridge's port cannot be a host's way to the provider and the router's at once.
        missing = (questions.up(example(cls.EXAMPLE, pppoeREnabled=0)) if BOOTED else
                   cls.up(example(cls.EXAMPLE)))
        shell("lan", "for n in 11 12 20 30 40 50; do ip address replace 192.168.1.$n/24 dev eth0; done")
        shell("internet", f"ip address replace {TRUSTED}/24 dev eth0")
        cls.lacks = {line.removeprefix(MISSING) for line in missing if line.startswith(MISSING)}

    @staticmethod
    def up(config):
        with tempfile.NamedTemporaryFile("w", suffix=".conf") as file:
            file.write(config)
            file.flush()
            done = run(ORBA, "lab", "up", "--config", file.name)
        if done.returncode != 0:
            raise AssertionError(done.stderr)
        return done.stdout.splitlines()

    def needs(self, *features):
        for feature in features:
            if feature in self.lacks:
                self.skipTest(MISSING + feature)

    def orba(self, *words, config=None):
        """The tool's answer, and its exit code as "exit"."""
        with tempfile.NamedTemporaryFile("w", suffix=".conf") as file:
            file.write(config if config is not None else example(self.EXAMPLE))
            file.flush()
            done = run(ORBA, *words, "--config", file.name, "--json")
        self.assertTrue(done.stdout, done.stderr)
        return {"exit": done.returncode} | json.loads(done.stdout)

    def apply(self, *words, config=None):
        """Applies an entry point; no command may fail that is not meant to."""
        if BOOTED:  # where nobody sees how its commands end
            return questions.apply(words, config if config is not None else example(self.EXAMPLE))
        answer = self.orba("apply", *words, config=config)
        faults = [c for c in answer["commands"] if c["status"] not in (0, 125) and "harmless" not in c]
        self.assertEqual(faults, [])
        self.assertEqual(answer["exit"], 0)
        return answer

    def counted(self, chain, part):
        """Packets that met the rules of a chain with this text."""
        rules = shell("router", "iptables-save -c -t filter")
        return sum(int(line[1:].split(":")[0]) for line in rules.splitlines()
                   if f"-A {chain} " in line and part in line)

    def firewall(self, **changes):
        return self.apply("firewall_init", config=example(self.EXAMPLE, **changes))

    def output(self, getter, *words, config=None):
        return self.apply(getter, *words, config=config)["outputs"][0]
