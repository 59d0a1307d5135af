"""What a booted router shows and the lab in namespaces cannot: its start, its links, its disk."""

import os
import random

from lab import INTERNET, LAN, ROUTER, ROUTER_LAN, LabTest, example, ping, shell, tcp, udp
from booted import without_comments
from questions import booted


def rules():
    """All chains, without their counters."""
    return shell("router", "iptables-save | grep -v '^#' | sed 's/ *\\[.*\\]$//';"
                           " for table in filter nat broute; do ebtables -t $table -L; done")


def settings_in(text):
    return dict(line.split("=", 1) for line in without_comments(text).splitlines() if "=" in line)


class Start(LabTest):
    @classmethod
    def setUpClass(cls):
        booted.router.end()  # what other tests have made of it
        super().setUpClass()

    def test_the_router_has_started_itself(self):
        calls = shell("router", "cut -d ' ' -f 1 /run/lab/calls").split()
        order = ["internet.sh", "mcl.sh", "dropbear.sh", "ntp.sh", "super_dmz", "nat.sh"]
        self.assertEqual([name for name in dict.fromkeys(calls) if name in order], order)
        self.assertEqual(shell("router", "cat /var/wan1.info"), f"{INTERNET}:eth2.2\n")
        self.assertEqual(shell("router", "grep -c RadioOff /etc/admin"), "4\n")
        self.assertIn("10.20.0.0/16 via 198.51.100.1 dev eth2.2", shell("router", "ip route"))
        self.assertTrue(ping("lan", INTERNET))
        self.assertEqual(tcp("lan", INTERNET, 8443, listener=("internet", INTERNET)), ROUTER)
        self.assertEqual(tcp("internet", ROUTER, 443, listener=("lan", LAN)), INTERNET)
        self.assertEqual(udp("internet", ROUTER, 51820, ("lan", "192.168.1.11")), INTERNET)
        for port in (22, 80, 8443):
            self.assertEqual(tcp("internet", ROUTER, port), "dropped", port)
        self.assertEqual(tcp("lan", ROUTER_LAN, 80, source="192.168.1.40"), "refused")

    def test_a_rebuild_makes_the_same_firewall(self):
        before = rules()
        self.firewall()
        self.maxDiff = None
        self.assertEqual(rules().splitlines(), before.splitlines())

    def pass_through(self, **settings):
        """Whether a host of the LAN gets a session of its own with the provider of WAN 2."""
        self.apply("orba_pppoeRelay", config=example("gateway", wanConnectionMode2="PPPOE", wan2Vid=10, **settings))
        shell("lan", "pppd plugin rp-pppoe.so eth0 unit 7 noauth noipdefault nodefaultroute lcp-echo-interval 0")
        found = shell("lan", "for n in 1 2 3 4 5 6 7 8; do ip -o -4 address show dev ppp7 2>/dev/null | grep peer && break; sleep 1; done;"
                             " for n in 1 2 3 4 5 6 7 8; do killall -q pppd || break; sleep 1; done; killall -q -9 pppd; sleep 1")
        return f"peer {INTERNET}/32" in found

    def test_pppoe_passes_through(self):
        shell("router", "ip link add link eth2 name eth2.10 type vlan id 10; ip link set eth2.10 up")
        self.assertFalse(self.pass_through(wan2Enable=0, pppoeREnabled=2))
        self.assertTrue(self.pass_through(wan2Enable=1, pppoeREnabled=2))
        # The provider's server is not one of these.
        self.apply("MACFilterRun", config=example("gateway", MacFilterAction="ACCEPT", MACFilterRules="00:0C:43:28:60:2B"))
        self.assertFalse(self.pass_through(wan2Enable=1, pppoeREnabled=2))
        self.firewall()
        # Without a number nobody knows which device to take out of the bridge.
        self.assertTrue(self.pass_through(wan2Enable=1, pppoeREnabled=0))
        self.assertFalse(self.pass_through(wan2Enable=0, pppoeREnabled=2))

    def test_the_link_goes_and_comes(self):
        def link(up):
            booted.router.emulator("set_link", name="n0", up=up)
            shell("router", f"until [ $(cat /sys/class/net/eth2/carrier) = {int(up)} ]; do usleep 50000; done")
            return self.apply("getWANLinkStatus")["returned"], ping("lan", INTERNET)

        self.assertEqual(link(False), ("0", False))
        self.assertEqual(link(True), ("1", True))


class Pppoe(LabTest):
    EXAMPLE = "pppoe-gateway"

    def test_wan_1_is_a_session(self):
        self.assertIn(f"inet {ROUTER} peer {INTERNET}/32", shell("router", "ip address show ppp0"))
        self.assertEqual(shell("router", "cat /var/wan1.info /var/wan2.info"), "198.51.100.1:ppp0\n10.20.0.1:eth2.20\n")
        self.assertTrue(ping("lan", INTERNET))
        self.assertEqual(tcp("lan", INTERNET, 443, listener=("internet", INTERNET)), ROUTER)

    def test_pass_through_silences_it(self):
        shell("router", "ebtables -t nat -F MAC_Filter; ebtables -t nat -P MAC_Filter RETURN")
        for on in (1, 0):
            self.apply("orba_pppoeRelay", config=example(self.EXAMPLE, pppoeREnabled=1, wan1Enable=on))
            self.assertEqual(ping("lan", INTERNET), not on)


class Device(LabTest):
    def test_what_the_kernel_tells(self):
        seconds = int(float(shell("router", "cat /proc/uptime").split()[0]))
        days, hours, minutes = (int(word.split()[0]) for word in self.output("getSysUptime").split(":"))
        self.assertLessEqual(abs(days * 1440 + hours * 60 + minutes - seconds // 60), 1)
        memory = {line.split(":")[0]: int(line.split()[1])
                  for line in shell("router", "cat /proc/meminfo").splitlines()}
        used = 100 * (memory["MemTotal"] - memory["MemFree"]) // memory["MemTotal"]
        self.assertLessEqual(abs(int(self.output("getMemUsgInfo")) - used), 3)
        self.assertTrue(0 <= int(self.output("getCpuLoad")) <= 100)
        mac = shell("router", "cat /sys/class/net/br0/address").strip().upper()
        self.assertEqual(self.output("getLanMac"), mac)

    def test_eight_processes_share_a_login(self):
        shell("router", "orba_call init_SharedMemory;"
                        " for n in 1 2 3 4 5 6 7 8; do (for m in 1 2 3; do orba_call writeSessionFile $n;"
                        " done >/run/login$n) & done; wait")
        self.assertEqual(shell("router", "cat /run/login*"), "0\n" * 24)
        # The last one's record is whole, and its file is there.
        self.assertEqual(shell("router", "orba_call sync_globalVar_and_sharedMem 0 -- getLoginUser"), "0\n1\n\n")

    def test_the_wps_timer_outlasts_slow_scripts(self):
        # A tick comes every 100 ms; each runs a shell, which takes longer than that here.
        shell("router", "rm -f /tmp/wpsStatus*; echo 3 >/run/lab/wps_status; echo 1 >/tmp/wpsStatus;"
                        " (orba_call --stay 60 WPSAPStart >/run/wps 2>&1; echo ended >>/run/wps) &"
                        " until [ \"$(cat /tmp/wpsStatus24 2>/dev/null)\" = 3 ]; do usleep 100000; done; sleep 2;"
                        " echo 2 >/run/lab/wps_status;"
                        " until [ \"$(cat /tmp/wpsStatus24)\" = 999 ]; do usleep 100000; done; killall orba_call; sleep 1")
        self.assertEqual(shell("router", "cat /tmp/wpsStatus"), "2\n")
        self.assertIn("Start to monitor", shell("router", "cat /run/wps"))

    def test_the_radio_goes_off_by_the_timetable(self):
        shell("router", "date -s '2026-11-22 23:29:55' >/dev/null; orba_call wlan_schedule_init >/dev/null")
        self.assertEqual(shell("router", "nvram_get RadioOff"), "0\n")
        shell("router", "n=0; until [ \"$(nvram_get RadioOff)\" = 1 ] || [ $n = 80 ]; do sleep 1; n=$((n + 1)); done; sleep 1")
        self.assertEqual(shell("router", "nvram_get RadioOff; tail -n 1 /run/lab/calls"), "1\nwlan.sh \n")


class Power(LabTest):
    def test_a_cut_leaves_old_or_new(self):
        dice = random.Random(7)
        configs = {marker: example("minimal", DMZEnable=dmz, DMZAddress="192.168.1.50", DMZAvoidTCPPort80=0,
                                   **{f"Marker{n or ''}": marker for n in range(100)})
                   for marker, dmz in (("one", 0), ("two", 1))}
        for marker, config in configs.items():
            booted.checked(f"cat >/var/lib/orba/{marker} && sync", config.encode())
        firewalls = {}
        for _ in range(50 if "ORBA_SOAK" in os.environ else 5):
            booted.router.run("(while :; do for each in one two; do orba_call --settings /var/lib/orba/$each; done; done)"
                              " >/dev/null 2>&1 & sleep %.3f" % dice.uniform(0.5, 3))
            booted.router.end()
            booted.boot_router(role="store")  # as far as this is about
            booted.wait()
            booted.apply([["firewall_init"]])
            store = settings_in(shell("router", "nvram_show"))
            marker = store.get("Marker")
            self.assertIn(marker, configs)
            self.assertEqual(store, settings_in(configs[marker]))
            made = rules()
            self.assertEqual(" 192.168.1.50" in made, marker == "two", marker)
            self.assertEqual(firewalls.setdefault(marker, made), made)
