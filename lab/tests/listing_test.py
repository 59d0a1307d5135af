"""The kernel's chains are those that a plan foresees."""

import os
import select
import signal

from lab import ORBA, STATE, LabTest, example, process_of, run, shell
from listing import chains, normal

PROGRAMS = ("iptables", "ebtables")
FILLED_BY_NAT_SH = "LAN_NAT_CHAIN"


def listings():
    return {program: shell("router", f"{program}-save | grep -v '^#' | sed 's/ *\\[.*\\]$//'")
            for program in PROGRAMS}


class Listings(LabTest):
    def assertForeseen(self, config, *entries):
        """Applies the entry points to a new lab; its chains are the plan's of the last."""
        self.maxDiff = None
        applied = [self.orba("apply", entry, config=config) for entry in entries]
        plan = self.orba("plan", entries[-1], "--lab", config=config)
        self.assertEqual([e["text"] for e in plan["events"] if e["kind"] in ("command", "read")],
                         applied[-1]["lines"])
        self.assertEqual(applied[-1]["foreseen"],
                         len([e for e in plan["events"] if e["kind"] == "command"]))
        self.assertEqual(applied[-1]["failed"], 0)

        foreseen = self.orba("plan", entries[-1], "--lab", "--tables", config=config)
        not_run = 0
        for program, saved in listings().items():
            kernel = chains(saved)
            for table in foreseen[program]:
                for name, chain in foreseen[program][table].items():
                    rules = [r for r in chain["rules"] if "--content" not in r]
                    not_run += len(chain["rules"]) - len(rules)
                    policy, found = kernel.get(table, {}).get(name, ("ACCEPT", []))
                    where = f"{program} {table} {name}"
                    if name != FILLED_BY_NAT_SH:
                        self.assertEqual([normal(r) for r in found], [normal(r) for r in rules], where)
                    of_ebtables = "ACCEPT" if program == "ebtables" else ""
                    self.assertEqual(policy, chain["policy"] or of_ebtables, where)
                self.assertFalse([name for name, (_, rules) in kernel.get(table, {}).items()
                                  if rules and name not in foreseen[program][table]], table)
        self.assertEqual(not_run, applied[-1]["not_run"])

    def fresh(self, name):
        type(self).EXAMPLE = name
        self.setUpClass()
        self.needs(*self.lacks - {"the broute table"})

    def test_every_example_as_foreseen(self):
        for name in ("gateway", "pppoe-gateway", "minimal", "bridge", "repeater"):
            with self.subTest(name):
                self.fresh(name)
                self.assertForeseen(example(name), "firewall_init")
                once = listings()
                self.apply("firewall_init", config=example(name))
                self.assertEqual(listings(), once)

    def test_address_ranges_hosts_and_urls(self):
        self.fresh("gateway")
        rule = "any/0,,1000,2000,10.0.0.0/8,,53,0,2,1,,{},{},{},{}"
        macs = ("00:0C:43:00:00:00", "00:0C:44:FF:FF:FF", "02:00:00:00:00:01", "02:00:00:00:00:09")
        self.assertForeseen(
            example("gateway", firewallAction="ACCEPT", SPIFWEnabled="0", DMZEnable="1",
                    IPPortFilterRules=";".join((rule.format(*macs), rule.format("", "", macs[2], ""))),
                    websFilterProxy="0", websFilterJava="0", websFilterActivex="0",
                    dhcpEnabled="2", icmpMode="3", httpMode="1"),
            "firewall_init")

    def test_taken_down(self):
        self.fresh("gateway")
        self.apply("firewall_init")
        # What the firewall fills is emptied; its last chain keeps its rules on purpose.
        shell("router", "iptables -A synflood_input_filter -j RETURN; iptables -A FORWARD_UPNP -j RETURN")
        self.apply("firewall_fini")
        kernel = {program: chains(saved) for program, saved in listings().items()}
        filled = {name for table in kernel["iptables"].values()
                  for name, (_, rules) in table.items() if rules}
        self.assertEqual(filled - {FILLED_BY_NAT_SH}, {"synflood_input_filter", "FORWARD_UPNP", "PREROUTING"}
                         - ({"PREROUTING"} if not kernel["iptables"]["nat"]["PREROUTING"][1] else set()))
        self.assertLessEqual({"DMZ", "web_filter", "macipport_filter"}, set(kernel["iptables"]["filter"]))
        self.assertFalse({"port_forward", "DMZ"} & set(kernel["iptables"]["nat"]))
        self.assertEqual({name: kernel["iptables"]["filter"][name][0]
                          for name in ("INPUT", "FORWARD", "OUTPUT")},
                         {"INPUT": "ACCEPT", "FORWARD": "ACCEPT", "OUTPUT": "ACCEPT"})
        self.assertEqual(kernel["ebtables"]["nat"]["MAC_Filter"][1], [])
        self.assertEqual(kernel["ebtables"]["nat"]["PREROUTING"][1], ["-j MAC_Filter"])
        # And built again from there.
        self.apply("firewall_init")
        self.assertEqual(chains(listings()["iptables"])["filter"]["synflood_input_filter"][1],
                         ["-j RETURN"])


class Failures(LabTest):
    def test_a_failed_command_is_told(self):
        done = run(ORBA, "apply", "doSystem",
                   "iptables -A NoSuch -j ACCEPT 1>/dev/null 2>&1; ls /no/such")
        self.assertEqual(done.returncode, 1)
        self.assertRegex(done.stdout, "failed with [1-9]: iptables -A NoSuch -j ACCEPT\n    ip")
        self.assertIn("failed with 2: ls /no/such\n    ls: cannot access '/no/such'", done.stdout)

    def test_a_reader_that_goes_away_ends_no_lab(self):
        self.assertEqual(run("bash", "-c", f"{{ {ORBA} show schedule --lab | true; }} 2>&1").stdout, "")

    def test_only_what_is_missing_may_fail(self):
        kept = self.orba("apply", "doSystem",
                         "iptables -N INPUT; iptables -F NoSuch; iptables -D INPUT -j NoSuch")
        self.assertEqual((kept["exit"], kept["harmless"], kept["failed"]), (0, 3, 0))
        wrong = self.orba("apply", "doSystem", "iptables -N; iptables -F NoSuch --nonsense")
        self.assertEqual((wrong["exit"], wrong["harmless"], wrong["failed"]), (1, 0, 2))


class Life(LabTest):
    def test_down_leaves_nothing(self):
        router = process_of("router")
        run(ORBA, "lab", "down")
        self.assertFalse(os.path.exists(STATE))
        self.assertNotIn("router.sh", run("cat", f"/proc/{router}/cmdline").stdout)
        done = run(ORBA, "apply", "firewall_init")
        self.assertEqual((done.returncode, done.stdout), (2, ""))
        self.assertIn("no lab is up", done.stderr)

    def test_a_killed_lab_is_cleaned_up(self):
        self.setUpClass()
        router = process_of("router")
        ends = os.pidfd_open(router)
        os.kill(router, signal.SIGKILL)
        select.select([ends], [], [])
        os.close(ends)
        self.assertIn("no lab is up", run(ORBA, "lab", "shell", "router", "true").stderr)
        self.setUpClass()
        self.firewall()
