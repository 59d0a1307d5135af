#!/usr/bin/env python3
"""A fleet of routers as their owners may have set them up, the same for the same seed.

  fleet.py COUNT FOLDER|FILE.tar|FILE.tar.zst [--seed N] [--first N]

Homes, offices, lines with PPPoE, repeaters and bridges, made of the configurations in examples/:
lists of 0 to 200 records, forms of older firmware, empty and odd values.
"""
import argparse
import io
import os
import random
import subprocess
import tarfile

EXAMPLES = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "examples")
KINDS = {"home": ("gateway", 50), "office": ("gateway", 12), "pppoe": ("pppoe-gateway", 20),
         "repeater": ("repeater", 10), "bridge": ("bridge", 8)}


def example(name):
    """The settings of an example by space and key, in their order."""
    settings, space = {}, "1"
    for line in open(os.path.join(EXAMPLES, name + ".conf")):
        line = line.rstrip("\n")
        if line.startswith("["):
            space = line[1]
        elif line and not line.startswith("#"):
            key, value = line.split("=", 1)
            settings[space, key] = value
    return settings


BASES = {base: example(base) for base, _ in KINDS.values()}


class Router:
    def __init__(self, dice):
        self.dice = dice
        kind = dice.choices(list(KINDS), [weight for _, weight in KINDS.values()])[0]
        self.kind = kind
        self.settings = dict(BASES[KINDS[kind][0]])
        self.net = f"192.168.{dice.choice([0, 1, 1, 1, 2, 8, 178])}"
        self.own()
        if kind not in ("repeater", "bridge"):
            self.firewall()
        self.aged()

    def put(self, key, value, space="1"):
        self.settings[space, key] = str(value)

    def sometimes(self, share):
        return self.dice.random() < share

    def host(self):
        return f"{self.net}.{self.dice.randrange(2, 255)}"

    def mac(self):
        return ":".join(f"{self.dice.randrange(256):02X}" for _ in range(6))

    def count(self, most):
        """Mostly few records, and now and then very many."""
        return min(most, self.dice.choice([0, 0, 1, 1, 2, 3, 4, 6, 10, self.dice.randrange(201)]))

    def records(self, key, most, make):
        self.put(key, ";".join(make() for _ in range(self.count(most))))

    def own(self):
        dice = self.dice
        self.put("HostName", dice.choice(["router", "home", "gw", "fritz", "my-router", "", "Büro"]) + str(dice.randrange(100)))
        self.put("SSID1", dice.choice(["Home", "Café", "linksys", "FBI van", "it's mine", "$(reboot)", "a;b"]) + str(dice.randrange(1000)))
        self.put("Channel", dice.choice([0, 1, 6, 11, 13]))
        self.put("CountryRegion", dice.choice([0, 1, 5]))
        self.put("WscModeOption", dice.choice([0, 7]))
        self.put("wlanScheduleEnab", int(self.sometimes(.1)))

    def firewall(self):
        dice = self.dice
        for key, on in (("SPIFWEnabled", .8), ("BlockPortScan", .5), ("BlockSynFlood", .5), ("BlockLAND", .3),
                        ("BlockPingofDeath", .4), ("WANPingFilter", .6), ("LANPingFilter", .1), ("RemoteManagement", .15),
                        ("SIPALGEnable", .2), ("websFilterProxy", .05), ("websFilterJava", .03), ("natEnabled", .97),
                        ("pppoeREnabled", .1)):
            self.put(key, int(self.sometimes(on)))
        for service in ("http", "ftp", "telnet", "snmp", "icmp", "ssh", "tftp"):
            self.put(service + "Mode", dice.choices([0, 1, 2, 3], [10, 3, 60, 27])[0])
        self.put("RMWWWServerPort", dice.choice([80, 80, 8080, 8443, 81]))
        self.put("DMZEnable", int(self.sometimes(.08)))
        self.put("DMZAddress", self.host() if self.sometimes(.9) else "")
        self.put("DMZAvoidTCPPort80", int(self.sometimes(.3)))
        self.put("PortForwardEnable", int(self.sometimes(.5)))
        most = 200 if self.kind == "office" else 40
        self.records("PortForwardRules", most, self.forward)
        self.put("IPPortFilterType", dice.choice(["LAN_TO_WAN", "LAN_TO_WAN", "WAN_TO_LAN", "WAN_TO_WAN"]))
        self.put("DefaultFirewallPolicy", int(self.sometimes(.5)))
        self.put("firewallAction", dice.choice(["ACCEPT", "DROP"]))
        self.records("IPPortFilterRules", most, self.filter)
        self.put("MacFilterAction", dice.choice(["ACCEPT", "DROP", "DROP", "DROP"]))
        self.records("MACFilterRules", 32, self.mac)
        self.put("aclMode", int(self.sometimes(.1)))
        self.records("aclRules", 8, lambda: self.host() if self.sometimes(.7) else f"{self.net}.10-{self.net}.20")
        self.put("websHostFiltersEnable", int(self.sometimes(.1)))
        self.records("websHostFilters", 20, lambda: dice.choice(["ads", "games", "casino", "video"]) + f"{dice.randrange(50)}.example")
        self.records("RoutingRules", 6, lambda: f"10.{dice.randrange(256)}.0.0,255.255.0.0,{self.host()},LAN,br0,,")

    def forward(self):
        port = self.dice.choice([22, 80, 443, 3074, 25565, 51820, self.dice.randrange(1, 65536)])
        last = self.dice.choice([0, 0, 0, min(65535, port + 10)])
        return f"{self.host()},{port},{last},{self.dice.choice(['TCP', 'UDP', 'TCP&UDP'])}"

    def filter(self):
        port = self.dice.choice([0, 25, 53, 80, 443, self.dice.randrange(1, 65536)])
        source = self.dice.choice([self.host(), f"{self.net}.0/24", "any/0"])
        return f"{source},,0,0,any/0,,{port},0,{self.dice.randrange(1, 6)},{self.dice.randrange(2)},rule {self.dice.randrange(99)},,,,"

    def aged(self):
        """What field devices have: settings that older firmware left out, wrote otherwise or emptied."""
        dice = self.dice
        keys = list(self.settings)
        if self.sometimes(.2):
            for key in dice.sample(keys, dice.randrange(1, 8)):
                del self.settings[key]
        if self.sometimes(.1):
            for key in dice.sample(sorted(self.settings), dice.randrange(1, 4)):
                self.settings[key] = ""
        if self.sometimes(.05) and ("1", "PortForwardRules") in self.settings:
            self.settings["1", "PortForwardRules"] = ";".join(f"{self.host()},{dice.randrange(1, 9999)},0,{dice.choice([1, 2, 3])}"
                                                              for _ in range(dice.randrange(4)))
        if self.sometimes(.03):
            key = dice.choice(sorted(self.settings))
            self.settings[key] = dice.choice(["-1", " ", "0x1", "'; reboot;'", "true", "99999999999", ";;", ",,,", "\\xff\\xfe", "<b>"])

    def text(self):
        lines, space = [], ""
        for (its_space, key), value in sorted(self.settings.items()):
            if its_space != space:
                space = its_space
                lines.append(f"[{space}]")
            lines.append(f"{key}={value}")
        return "\n".join(lines) + "\n"


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("count", type=int)
    parser.add_argument("where")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--first", type=int, default=0)
    wanted = parser.parse_args()
    packer = archive = None
    if wanted.where.endswith(".tar.zst"):
        packer = subprocess.Popen(["zstd", "-q", "-f", "-o", wanted.where], stdin=subprocess.PIPE)
        archive = tarfile.open(fileobj=packer.stdin, mode="w|")
    elif wanted.where.endswith(".tar"):
        archive = tarfile.open(wanted.where, "w")
    else:
        os.makedirs(wanted.where, exist_ok=True)
    for number in range(wanted.first, wanted.first + wanted.count):
        router = Router(random.Random(f"{wanted.seed}/{number}"))
        name, content = f"{router.kind}-{number:06}.conf", router.text().encode()
        if archive is None:
            with open(os.path.join(wanted.where, name), "wb") as file:
                file.write(content)
        else:
            member = tarfile.TarInfo(name)
            member.size = len(content)
            archive.addfile(member, io.BytesIO(content))
    if archive is not None:
        archive.close()
    if packer is not None:
        packer.stdin.close()
        if packer.wait() != 0:
            raise SystemExit("zstd failed")


main()
