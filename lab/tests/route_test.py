"""Routes, addresses and counters of a real kernel."""

import json
import socket

from lab import FAR, INTERNET, LAN, LabTest, Sniffer, lan_mac, ping, reach_far, shell, udp

SERVER = "203.0.113.77"  # somewhere behind the Internet host


def to_server(packet):
    return packet[16:20] == socket.inet_aton(SERVER)


class Routes(LabTest):
    EXAMPLE = "pppoe-gateway"

    def test_policy_routes(self):
        self.needs("the bridge mark target", "routing by mark")
        shell("router", "echo 10.20.0.1:eth2.20 >/var/wan2.info; echo 198.51.100.1:ppp0 >/var/wan1.info")
        self.firewall()
        self.apply("executePolicyRoute")
        self.apply("executePolicyRoute")  # changes nothing
        self.assertEqual(
            [line.split(":", 1)[1].split() for line in shell("router", "ip rule").splitlines()
             if "pf_" in line],
            [f"from all fwmark {mark}/0xe0000000 lookup pf_{name}".split() for mark, name in
             (("0x40000000", "settop"), ("0x60000000", "phone"), ("0x80000000", "mail"))])
        self.assertEqual(shell("router", "grep pf_ /etc/iproute2/rt_tables"),
                         "202 pf_settop\n203 pf_phone\n204 pf_mail\n")
        for name, route in (("settop", "default via 10.20.0.1 dev eth2.20"),
                            ("phone", "default via 10.30.0.1 dev eth2.30"),
                            ("mail", "default via 198.51.100.1 dev ppp0")):
            self.assertEqual(shell("router", f"ip route show table pf_{name}").strip(), route)

        # By address, by MAC address, and what no rule matches.
        for source, mac, interface in (("192.168.1.30", "00:0C:43:28:60:2A", "eth2.20"),
                                       (LAN, "00:0C:43:28:60:2C", "eth2.30"),
                                       (LAN, "00:0C:43:28:60:2A", "ppp0")):
            lan_mac(mac)
            reach_far()
            with Sniffer(*FAR[interface]) as sniffer:
                udp("lan", SERVER, 53, source=source)
                self.assertIsNotNone(sniffer.find(to_server), (source, mac))

    def test_static_routes(self):
        shell("router", "echo 10.20.0.1:eth2.20 >/var/wan2.info")
        self.apply("RoutingInit")
        self.apply("RoutingInit")  # changes nothing
        self.apply("executeStaticRoute")
        routes = shell("router", "ip route")
        for route in ("192.168.5.0/24 via 192.168.1.254 dev br0", "203.0.113.9 dev ppp0",
                      "10.20.0.0/16 via 10.20.0.1 dev eth2.20"):
            self.assertEqual(routes.count(route), 1, route)
        rows = {tuple(row.split(",")[:4]): row.split(",")[8:]
                for row in self.output("getRoutingTable").strip('"').split(";")}
        self.assertEqual(rows["br0", "192.168.5.0", "192.168.1.254", "255.255.255.0"],
                         ["0", "LAN", "0", ""])
        self.assertEqual(rows["ppp0", "203.0.113.9", "0.0.0.0", "255.255.255.255"],
                         ["1", "WAN", "0", ""])
        self.assertEqual(rows["ppp0", "0.0.0.0", INTERNET, "0.0.0.0"], ["-1", "WAN", "0", " "])
        # A route that the kernel lost is shown as configured, and comes back.
        shell("router", "ip route del 192.168.5.0/24")
        lost = '"%s"' % self.output("getRoutingTable").strip('"')
        self.assertIn(";br0,192.168.5.0,192.168.1.254,255.255.255.0,0,0,0,0,0,LAN,1,", lost)
        self.apply("RoutingInit")
        self.assertEqual(shell("router", "ip route").count("192.168.5.0/24"), 1)


class Kernel(LabTest):
    def test_addresses(self):
        links = json.loads(shell("router", "ip -j address"))
        for link in links:
            name = link["ifname"]
            if name not in ("br0", "eth2.2"):
                continue
            address = next(a for a in link["addr_info"] if a["family"] == "inet")
            self.assertEqual(self.output("getIfIp", name), address["local"])
            self.assertEqual(self.output("getIfNetmask", name), "255.255.255.0")
            self.assertEqual(self.output("getIfMac", name), link["address"].upper())
        self.assertEqual(self.apply("getIfIp", "nosuch0")["returned"], "-1")
        self.assertEqual(self.output("getDefaultWanIp"), "198.51.100.2")

    def test_gateways_and_arp(self):
        self.assertEqual(self.output("getGateway", "br0"), INTERNET)
        self.assertEqual(self.output("getWanGateway"), INTERNET)
        shell("router", "echo 198.51.100.254:eth2.2 >/var/wan1.info")
        self.assertEqual(self.output("getGateway", "eth2.2"), "198.51.100.254")
        self.assertEqual(self.output("arplookup", "192.168.1.77"), "00:00:00:00:00:00")
        lan_mac("00:0C:43:28:60:2B")
        ping("lan", "192.168.1.1")  # answered or not: the router has learned who asks
        self.assertEqual(self.output("arplookup", LAN), "00:0c:43:28:60:2b")

    def test_counters(self):
        ping("internet", "198.51.100.2")
        statistics = "/sys/class/net/eth2.2/statistics"
        for getter, file in (("getWANTxPacketASP", "tx_packets"), ("getWANRxPacketASP", "rx_packets"),
                             ("getWANTxByteASP", "tx_bytes"), ("getWANRxByteASP", "rx_bytes")):
            before = int(shell("router", f"cat {statistics}/{file}"))
            counted = int(self.output(getter, "1"))
            after = int(shell("router", f"cat {statistics}/{file}"))
            self.assertTrue(0 < before <= counted <= after, (getter, before, counted, after))
