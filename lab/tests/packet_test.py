"""Packets go where the settings send them."""

from lab import (FAR, INTERNET, LAN, ROUTER, ROUTER_LAN, TRUSTED, LabTest, Sniffer, example,
                 lan_mac, maximum_segment, ping, send_as, send_flags, shell, tcp, udp)

# Every forwarded packet is dropped unless a rule accepts it; answers pass.
CLOSED = {"firewallAction": "ACCEPT", "DefaultFirewallPolicy": "1", "SPIFWEnabled": "1",
          "BlockPortScan": "0", "BlockPingofDeath": "0", "IPPortFilterRules": ""}
# Every forwarded packet passes unless a rule drops it.
OPEN = CLOSED | {"firewallAction": "DROP", "DefaultFirewallPolicy": "0"}
MAC = "00:0C:43:28:60:2B"
OTHER_MAC = "00:0C:43:30:00:7F"


class ToTheRouter(LabTest):
    def services(self, **changes):
        self.apply("iptablesMclRun", config=example(self.EXAMPLE, **changes))

    def test_ping(self):
        # The service's mode decides; its own setting counts where the trusted
        # list is on but not in force.
        for filtered, services in (
            (0, ((2, 2, True, True),)),
            (1, ((2, 2, False, True), (2, 0, True, True), (0, 0, False, True), (1, 0, True, False),
                 (3, 0, False, False))),
        ):
            self.firewall(**OPEN | {"WANPingFilter": filtered})
            for mode, acl, wan, lan in services:
                self.services(icmpMode=mode, aclMode=acl)
                seen = ping("internet", ROUTER), ping("lan", ROUTER_LAN)
                self.assertEqual(seen, (wan, lan), (filtered, mode, acl))

    def test_management_ports_by_mode(self):
        self.firewall(**OPEN)
        for mode, wan, lan in ((0, False, True), (1, True, False), (2, True, True), (3, False, False)):
            self.services(aclMode=0, sshMode=mode, snmpMode=mode)
            for host, target, passes in (("internet", ROUTER, wan), ("lan", ROUTER_LAN, lan)):
                self.assertEqual(tcp(host, target, 22), "refused" if passes else "dropped", (mode, host))
                self.assertEqual(udp(host, target, 161),
                                 "refused" if passes else "dropped", (mode, host))

    def test_management_ports_by_trusted_address(self):
        self.firewall(**OPEN | {"aclMode": 1, "httpMode": 2, "tftpMode": 2, "telnetMode": 0,
                                "aclRules": f"{TRUSTED};192.168.1.32-192.168.1.63"})
        self.assertEqual(tcp("internet", ROUTER, 80, source=TRUSTED), "refused")
        self.assertEqual(tcp("internet", ROUTER, 80), "dropped")
        self.assertEqual(tcp("lan", ROUTER_LAN, 80, source="192.168.1.40"), "refused")
        self.assertEqual(tcp("lan", ROUTER_LAN, 80), "dropped")
        # Telnet's mode comes before trust; TFTP is not on the list.
        self.assertEqual(tcp("internet", ROUTER, 23, source=TRUSTED), "dropped")
        self.assertEqual(udp("lan", ROUTER_LAN, 69), "refused")

    def test_what_else_comes_from_the_internet(self):
        self.firewall(**CLOSED | {"aclMode": 0})
        self.assertEqual(tcp("internet", ROUTER, 4444), "dropped")
        self.assertEqual(tcp("internet", ROUTER, 7547), "refused")  # TR-069 is always open
        self.assertEqual(tcp("lan", ROUTER_LAN, 4444), "refused")

    def test_dhcp_relay(self):
        for relays, seen in ((1, "dropped"), (2, "refused")):
            self.firewall(**CLOSED | {"dhcpEnabled": relays})
            self.assertEqual(udp("internet", ROUTER, 67, source_port=67), seen, relays)
            self.assertEqual(udp("internet", ROUTER, 67), "dropped")

    def test_the_example_is_a_home_on_the_internet(self):
        self.firewall()
        shell("internet", f"ip route replace 192.168.1.0/24 via {ROUTER}")
        internet = ("internet", INTERNET)
        self.assertEqual(tcp("lan", INTERNET, 443, listener=internet), ROUTER)
        self.assertEqual(udp("lan", INTERNET, 53, internet), ROUTER)
        self.assertEqual(tcp("lan", ROUTER_LAN, 80, source="192.168.1.40"), "refused")
        for host in ("lan", "router"):
            self.assertTrue(ping(host, INTERNET), host)
        self.assertEqual(tcp("internet", ROUTER, 443, listener=("lan", LAN)), INTERNET)
        for target in (ROUTER, LAN):
            for port in (22, 80, 8080):
                self.assertEqual(tcp("internet", target, port), "dropped", (target, port))
            self.assertFalse(ping("internet", target), target)

    def test_scan_flags(self):
        self.needs("the packet filter")
        scans = (("FIN", "URG", "PSH"), ("SYN", "RST", "ACK", "FIN", "URG"), (), ("SYN", "RST"),
                 ("SYN", "FIN"))
        answered = [scan for scan in scans if "RST" not in scan]
        self.firewall(**OPEN | {"BlockPortScan": 0})
        for scan in answered:
            self.assertTrue(send_flags("lan", LAN, ROUTER_LAN, scan), scan)
        self.firewall(**OPEN | {"BlockPortScan": 1})
        for chain, target in (("malicious_input_filter", ROUTER_LAN), ("malicious_filter", INTERNET)):
            for number, scan in enumerate(scans):
                self.assertFalse(send_flags("lan", LAN, target, scan), (chain, scan))
                self.assertEqual(self.counted(chain, "-j DROP"), number + 1, (chain, scan))

    def test_land(self):
        # A kernel of today lets nobody use its own addresses, unless it is told to: then the rule counts.
        shell("router", "for n in all eth2.2; do cd /proc/sys/net/ipv4/conf/$n && echo 1 >accept_local"
                        " && echo 0 >rp_filter; done")
        for blocks in (0, 1):
            self.firewall(**OPEN | {"BlockLAND": blocks})
            shell("router", f"iptables -A malicious_input_filter -s {ROUTER} -j RETURN")
            send_as(ROUTER, "internet", ROUTER)
            # What passes is answered, to the router itself.
            self.assertEqual([self.counted("malicious_input_filter", f"-s {ROUTER}/32 -{rest}") > 0
                              for rest in ("d", "j RETURN")], [blocks, not blocks])

    def test_syn_cookies(self):
        setting = "/proc/sys/net/ipv4/tcp_syncookies"
        shell("router", f"echo 0 >{setting}")
        self.firewall(BlockSynFlood=1)
        self.assertEqual(shell("router", f"cat {setting}"), "1\n")
        self.apply("iptablesMaliciousFilterFlush")
        self.assertEqual(shell("router", f"cat {setting}"), "0\n")


class Forwarded(LabTest):
    def forwards(self, *rules, **more):
        return self.firewall(**CLOSED | {"PortForwardRules": ";".join(rules)} | more)

    def test_forwarded_ports(self):
        self.forwards("192.168.1.10,443,0,TCP", "192.168.1.11,5000,5005,TCP&UDP",
                      "192.168.1.12,600,0,UDP")
        for port, number, protocol in ((443, 10, tcp), (5000, 11, tcp), (5005, 11, tcp),
                                       (5003, 11, udp), (600, 12, udp)):
            host = ("lan", f"192.168.1.{number}")
            self.assertEqual(protocol("internet", ROUTER, port, listener=host), INTERNET, port)
        self.assertEqual(tcp("internet", ROUTER, 5006, listener=("lan", "192.168.1.11")), "dropped")
        self.assertEqual(tcp("internet", ROUTER, 600, listener=("lan", "192.168.1.12")), "dropped")
        self.assertEqual(udp("internet", ROUTER, 443, ("lan", LAN)), "dropped")

    def test_dmz_host(self):
        host = ("lan", "192.168.1.50")
        self.forwards("192.168.1.10,443,0,TCP", DMZEnable=1, DMZAddress=host[1],
                      DMZAvoidTCPPort80=1, RMWWWServerPort=8080)
        self.assertEqual(tcp("internet", ROUTER, 7777, listener=host), INTERNET)
        self.assertEqual(udp("internet", ROUTER, 7777, host), INTERNET)
        # The port that is to be avoided goes there as well; forwarded ports go
        # where they are forwarded to, and TR-069 stays with the router.
        self.assertEqual(tcp("internet", ROUTER, 8080, listener=host), INTERNET)
        self.assertEqual(tcp("internet", ROUTER, 443, listener=("lan", LAN)), INTERNET)
        self.assertEqual(tcp("internet", ROUTER, 7547, listener=host), "refused")
        # The device's program is told what is not the host's, and sends it the rest; no rule does.
        self.forwards("192.168.1.10,443,0,TCP", "192.168.1.10,500,600,3", DMZEnable=2, DMZAddress=host[1],
                      DMZAvoidTCPPort80=1)
        self.assertEqual(shell("router", "grep super_dmz /run/lab/calls | tail -n 1"),
                         "super_dmz -t 80 -t 500:600 -u 500:600\n")
        self.assertEqual(tcp("internet", ROUTER, 7777, listener=host), "dropped")
        self.assertEqual(tcp("internet", ROUTER, 599, listener=("lan", LAN)), INTERNET)

    RULES = ("192.168.1.20,,0,0,any/0,,25,0,1,1,mail,,,,",
             "192.168.1.0/24,,0,0,198.51.100.0,24,137,139,2,1,shares,,,,")

    def reached(self, source, port, protocol=tcp):
        seen = protocol("lan", INTERNET, port, source=source, listener=("internet", INTERNET))
        self.assertIn(seen, (ROUTER, "dropped"))  # translated, whoever sent it
        return seen == ROUTER

    def test_filter_rules(self):
        matched = ((("192.168.1.20", 25), True), ((LAN, 25), False), (("192.168.1.20", 26), False),
                   ((LAN, 137, udp), True), ((LAN, 139, udp), True), ((LAN, 140, udp), False),
                   ((LAN, 138), False))
        for settings, passes in ((OPEN, False), (CLOSED, True)):
            self.firewall(**settings | {"IPPortFilterRules": ";".join(self.RULES)})
            for packet, matches in matched:
                self.assertEqual(self.reached(*packet), matches == passes, (passes, packet))

    def test_filter_rules_by_mac_address(self):
        self.needs("MAC address ranges (the bpf match)")
        rules = (f"any/0,,0,0,any/0,,0,0,5,1,one,{MAC},,,",
                 "any/0,,0,0,any/0,,80,0,1,1,some,00:0C:43:30:00:00,00:0C:43:30:00:FF,,")
        matched = ((MAC, True), ("00:0C:43:28:60:2C", False), ("00:0C:43:2F:FF:FF", False),
                   ("00:0C:43:30:00:00", True), ("00:0C:43:30:00:FF", True),
                   ("00:0C:43:30:01:00", False))
        for settings, passes in ((OPEN, False), (CLOSED, True)):
            self.firewall(**settings | {"IPPortFilterRules": ";".join(rules)})
            for mac, matches in matched:
                lan_mac(mac)
                self.assertEqual(self.reached(LAN, 80), matches == passes, (mac, passes))

    def test_mac_filter_on_the_bridge(self):
        for action, listed in (("DROP", False), ("ACCEPT", True)):
            self.firewall(**OPEN | {"MacFilterAction": action, "aclMode": 0, "icmpMode": 2,
                                    "MACFilterRules": f"{MAC};00:0C:43:00:00:01"})
            for mac, passes in ((MAC, listed), (OTHER_MAC, not listed)):
                lan_mac(mac)
                self.assertEqual(ping("lan", ROUTER_LAN), passes, (action, mac))
                self.assertEqual(ping("lan", INTERNET), passes, (action, mac))

    def test_ping_of_death(self):
        self.firewall(**OPEN | {"BlockPingofDeath": 0})
        self.assertTrue(ping("lan", INTERNET, size=1600))
        self.firewall(**OPEN | {"BlockPingofDeath": 1})
        self.assertFalse(ping("lan", INTERNET, size=1600))
        self.assertTrue(ping("lan", INTERNET))
        # Five at once, then one a second.
        self.assertFalse(all([ping("lan", INTERNET) for _ in range(8)]))

    def test_web_filters(self):
        self.needs("the string match", "the REJECT target")
        self.firewall(**OPEN | {
            "websFilterProxy": 0, "websFilterJava": 0, "websFilterActivex": 0,
            "websHostFiltersEnable": 1, "websHostFilters": "casino.example.com",
            "websFilterTrustIP": "192.168.1.2", "websURLFilters": "http://ads.example.com/banner"})
        for words, seen in ((b"GET / HTTP/1.1\r\nHost: www.example.com\r\n\r\n", ROUTER),
                            (b"GET / HTTP/1.1\r\nHost: casino.example.com\r\n\r\n", "dropped"),
                            (b"GET http://ads.example.com/banner HTTP/1.1\r\n\r\n", "dropped")):
            self.assertEqual(tcp("lan", INTERNET, 80, listener=("internet", INTERNET), words=words), seen)

    def setUp(self):
        lan_mac(MAC)


class OverPpp(LabTest):
    EXAMPLE = "pppoe-gateway"

    def test_segment_sizes_are_clamped(self):
        self.needs("the TCPMSS target", "the tcpmss match")
        syn = lambda packet: packet[9] == 6 and packet[33] & 0x3F == 0x02
        syn_ack = lambda packet: packet[9] == 6 and packet[33] & 0x3F == 0x12
        for manual, announced, answered in ((0, 1452, 1452), (1, 1452, 1440)):
            self.firewall(wan_MTU_manaul=manual, wan_MTU=1480)
            with Sniffer(*FAR["ppp0"]) as internet, Sniffer("lan", "eth0") as lan:
                self.assertEqual(tcp("lan", INTERNET, 443, listener=("internet", INTERNET)), ROUTER)
                # The way out is clamped to what fits ppp0, whatever was set by hand.
                self.assertEqual(maximum_segment(internet.find(syn)), announced)
                self.assertEqual(maximum_segment(lan.find(syn_ack)), answered)
        shell("router", "iptables -F FORWARD; iptables -P FORWARD ACCEPT")
        with Sniffer(*FAR["ppp0"]) as internet:
            tcp("lan", INTERNET, 443, listener=("internet", INTERNET))
            self.assertEqual(maximum_segment(internet.find(syn)), 1460)
