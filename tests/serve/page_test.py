#!/usr/bin/python3
"""`orba serve` in a real browser.

page_test.py ORBA EXAMPLES SCREENSHOTS; exit code 77 when there is no Chromium,
which CI=true does not allow.
"""
import contextlib
import http.client
import json
import os
import pathlib
import resource
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time
import unittest
import urllib.parse

with contextlib.suppress(ImportError):
    import chromium

ORBA, EXAMPLES, SHOTS = sys.argv[1], pathlib.Path(sys.argv[2]), pathlib.Path(sys.argv[3])

MARKUP = '<img src=x onerror=hacked=1>'
SCRIPT = '</script><script>hacked=1</script>'
# What turns the direction of writing, and what is not seen; and how both are shown.
HIDDEN, SHOWN = "\u202e\x9b\U000e0041", "\\U0000202e\\U0000009b\\U000e0041"
# In place of the example's.
SETTINGS = {
    "ModelName": MARKUP,
    "HostName": SCRIPT + HIDDEN,
    "CountryRegion": "2",
    "Channel": "11",
    "AutoChannelSelect": "0",
    "RoutingRules": f"192.168.5.0,255.255.255.0,192.168.1.254,LAN,br0,,{MARKUP}",
    "websHostFilters": f"casino.example.com;{MARKUP}",
    "SSID2": "Caf\u00e9",
}
NETWORKS = f'''"{MARKUP}" 00:11:22:33:44:55 6 -55 WPA2-PSK AES
"</script><script>hacked=1//" 00:1A:2B:00:00:01 11 -72 open
"'}}];hacked=1;//" 00:1A:2B:00:00:02 1 -85 WEP
"caf\\xC3\\xA9" 00:1A:2B:00:00:03 1 -91 open
'''
MAIL = "ask?from=lan&source=192.168.1.20&destination=198.51.100.1&protocol=tcp/25"
VIEWS = ("overview", "network", "radio", "firewall", "settings", "changes", MAIL, "ask?ask=ports")


def configuration():
    lines = (EXAMPLES / "gateway.conf").read_text().splitlines()
    return "\n".join(f"{key}={SETTINGS[key]}" if (key := line.partition("=")[0]) in SETTINGS else line
                     for line in lines) + "\n"


class Server:
    """`orba serve` with these words, and what is asked of it with its cookie."""

    def __init__(self, *words, **how):
        self.orba = subprocess.Popen([ORBA, "serve", *words, "--port", "0"], stdout=subprocess.PIPE,
                                     text=True, **how)
        self.url = self.orba.stdout.readline().split()[0]
        address = urllib.parse.urlsplit(self.url)
        self.port, self.folder_path = address.port, address.path
        self.cookie = f"orba={address.query.removeprefix('token=')}"

    def ask(self, path, method="GET", body=None, headers={}):
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=60)
        connection.request(method, self.folder_path + path.removeprefix("/"), body,
                           {"Cookie": self.cookie} | headers)
        response = connection.getresponse()
        text = response.read().decode()
        connection.close()
        return response, text

    def wish(self, name, **wanted):
        response, text = self.ask(f"/api/{name}", "POST", json.dumps(wanted),
                                  {"Content-Type": "application/json"})
        return response.status, json.loads(text)

    def end(self, *signals):
        """Its exit code, and what it said on the way."""
        for number in signals:
            self.orba.send_signal(number)
        said = self.orba.communicate(timeout=10)
        return self.orba.returncode, said[0] + (said[1] or "")


class Served(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.config = pathlib.Path(cls.folder.name, "router.conf")
        cls.config.write_text(configuration())
        networks = pathlib.Path(cls.folder.name, "networks.txt")
        networks.write_text(NETWORKS)
        cls.server = Server("--config", cls.config, "--root", EXAMPLES / "device", "--device", networks)
        cls.url, cls.port, cls.folder_path, cls.cookie = (
            cls.server.url, cls.server.port, cls.server.folder_path, cls.server.cookie)
        cls.ask, cls.wish = cls.server.ask, cls.server.wish
        cls.browser = chromium.Chromium()
        cls.browser.resize(1280, 900)

    @classmethod
    def tearDownClass(cls):
        cls.browser.close()
        code, _ = cls.server.end(signal.SIGTERM)
        cls.folder.cleanup()
        assert code == 0, f"SIGTERM ends it with {code}"

    def setUp(self):
        self.wish("discard")

    def tearDown(self):
        self.assertEqual(self.browser.complaints(), [])

    def view(self, name):
        self.browser.go("about:blank")
        self.browser.go(f"{self.url}#{name}")
        self.browser.wait_for("document.body.dataset.ready === arguments[0]",
                              name.partition("?")[0].partition("/")[0])
        # Nothing that a setting or the air holds became an element, or ran.
        self.assertEqual(self.browser.run("""return [typeof hacked, document.scripts.length,
            document.querySelectorAll('img:not([src="icon.svg"])').length,
            /\\u202e/.test(document.body.textContent)]"""), ["undefined", 1, 0, False])

    def texts(self, selector):
        return self.browser.run(
            "return [...document.querySelectorAll(arguments[0])].map((at) => at.textContent)", selector)

    def rows(self, caption):
        return self.browser.run("""return [...document.querySelectorAll(
            `[aria-label="${arguments[0]}"] tbody tr`)].map((row) =>
            [...row.cells].map((cell) => cell.textContent.trim()))""", caption)

    def test_overview_moves(self):
        self.view("overview")
        self.assertEqual(self.texts("#model"), [MARKUP])
        self.assertEqual(self.texts("#host"), [f"{SCRIPT}{SHOWN}, on the desk"])
        self.assertEqual(self.texts(".ports b"), ["4", "3", "2", "1", "0"])
        before = {row[0]: int(row[4]) for row in self.rows("Counters")}
        self.assertLessEqual({"Internet 1", "Port 3", "Port 0", "ra0"}, before.keys())
        # A line is drawn from the second look on.
        self.browser.wait_for("[...document.querySelectorAll('.chart .line0')].every("
                              "(line) => /L/.test(line.getAttribute('d')))")
        after = {row[0]: int(row[4]) for row in self.rows("Counters")}
        for name in ("Internet 1", "Port 3", "Port 0", "ra0"):
            self.assertGreater(after[name], before[name], name)

    def test_network_shows_the_routes(self):
        self.view("network")
        rows = self.rows("Routing table")
        self.assertEqual([row[0] for row in rows], ["192.168.1.0", "203.0.113.0", "0.0.0.0", "192.168.5.0"])
        self.assertEqual(rows[3], ["192.168.5.0", "255.255.255.0", "192.168.1.254", "br0", "LAN", "0",
                                   "RoutingRules, record 1", "not installed", MARKUP])

    def test_getters_are_read_as_a_page_that_runs_them_would(self):
        """The device's own pages put options into a selector and run the survey's array."""
        self.wish("change", space=1, key="CountryRegionABand", value="7")
        self.wish("change", space=1, key="Channel", value="14")
        self.wish("change", space=1, key="CountryRegion", value="4")
        self.wish("keep")
        alone = json.loads(self.ask("/api/radio")[1])  # channel 14, written another way
        for key in ("Channel", "CountryRegion"):
            self.wish("change", space=1, key=key, value=SETTINGS[key])
        self.wish("keep")
        self.view("radio")
        radio = json.loads(self.ask("/api/radio")[1])
        options = [alone["answers"]["getWlan11gChannels"], *(
            radio["answers"][f"getWlan11{band}Channels"] for band in "agb")]
        survey = radio["survey"].removeprefix("Content-Type: text/html\n\n")
        read = self.browser.run("""return import("./getters.js").then((getters) => [
            arguments[0].map(getters.parseOptions), getters.parseSurvey(arguments[1])])""", options, survey)
        self.assertEqual([(one["value"], one["selected"]) for one in read[0][0]], [("14", True)])
        self.assertEqual([(one["value"], one["selected"]) for one in read[0][2]],
                         [("10", False), ("11", True)])
        self.assertEqual(len(read[0][1]), 24)
        found = [MARKUP, "</script><script>hacked=1//", "'}];hacked=1;//", "&nbsp"]
        self.assertEqual([one["ssid"] for one in read[1]], found)
        # The names of the device's own networks stand above them; what no router shows beside.
        self.assertEqual(self.texts(".ssid"), ["Home", "Caf\u00e9", "Home 5G", *found])
        self.assertEqual(self.texts(".real"), ["Caf\\xc3\\xa9", "caf\u00e9 caf\\xc3\\xa9"])
        self.assertEqual(self.texts("[data-getter=getWlan11gChannels] option"), ["Channel 10", "Channel 11"])

        self.browser.go("about:blank")
        run = self.browser.run("""const shown = (html) => {
              const page = document.createElement("div");
              page.innerHTML = html;
              return page;
            };
            return [arguments[0].map((text) => [...shown(`<select>${text}</select>`).firstChild].map(
                      ({value, text, defaultSelected}) => ({value, text, selected: defaultSelected}))),
                    eval(arguments[1]).map((network) => Object.fromEntries(Object.entries(network).map(
                      ([name, value]) => [name, shown(value).textContent])))]""", options, survey)
        self.assertEqual(read, run)

    def test_a_change_shows_its_commands_and_is_kept_in_memory_only(self):
        expected = self.ask("/api/settings.conf")[1]
        self.view("settings")
        field = "setting-1-DMZAddress"
        self.browser.run("""const field = document.getElementById(arguments[0]);
            field.value = "192.168.1.77"; field.dispatchEvent(new Event("change"))""", field)
        self.browser.wait_for("document.getElementById('pending-text').textContent === '1 change not kept yet: 0 commands would differ.'")
        self.wish("change", space=1, key="DMZEnable", value="1")
        self.view("changes")
        self.assertEqual([line for line in self.texts(".effect[data-entry=firewall_init] > .edits li")
                          if "192.168.1." in line and "DMZ" in line], [
            "+iptables -t filter -A DMZ -i eth2.2 -d 192.168.1.77 -j ACCEPT",
            "+iptables -t nat -A DMZ -i eth2.2 -p tcp --dport 7547 -j RETURN;"
            "iptables -t nat -A DMZ -i eth2.2 -p tcp --dport 161 -j RETURN;"
            "iptables -t nat -A DMZ -j DNAT -i eth2.2 --to 192.168.1.77;"
            "iptables -t nat -A DMZ -j DNAT -i eth2.2 -p tcp --dport ! 80 --to 192.168.1.77"])
        self.assertIn("since DMZAddress=192.168.1.77, was 192.168.1.50, and DMZEnable=1, was 0", self.texts(".traffic small"))
        self.screenshots("changes")
        self.browser.run("document.getElementById('keep').click()")
        self.browser.wait_for("document.getElementById('pending').hidden")
        self.assertRegex(self.texts("#unsaved")[0], "^[0-9]+ settings kept in memory only, not in router.conf$")
        self.write("#against", "file")
        self.browser.wait_for("document.querySelector('.changes [data-key=DMZEnable]')")

        status, answer = self.wish("change", space=2, key="a=b", value="")
        self.assertEqual((status, answer["error"]), (422, "this is no name for a setting"))
        for change in ({"space": 1, "key": "HostName", "value": None},
                       {"space": 1, "key": "New", "value": " one\ntwo "},
                       {"space": 2, "key": "SSID1", "value": "five"},
                       {"space": 3, "key": "Third", "value": "3"}):
            self.assertEqual(self.wish("change", **change)[0], 200)
        for key, value in {"DMZAddress": "192.168.1.77", "DMZEnable": "1"}.items():
            expected = expected.replace(f"\n{key}={self.value(expected, key)}\n", f"\n{key}={value}\n")
        space1, space2 = expected.replace(f"HostName={SETTINGS['HostName']}\n", "").split("\n[2]\n")
        before = self.value(space2, "SSID1")
        space1 = space1.rstrip("\n") + "\nNew= one\\ntwo\\x20\n"
        expected = f"{space1}\n[2]\n{space2}".replace(f"SSID1={before}\n", "SSID1=five\n") + "\n[3]\nThird=3\n"
        self.assertEqual(self.ask("/api/settings.conf")[1], expected)
        self.assertEqual(self.config.read_text(), configuration())

    def value(self, text, key):
        return next(line.partition("=")[2] for line in text.splitlines() if line.startswith(key + "="))

    def write(self, field, value):
        self.browser.run("""const field = document.querySelector(arguments[0]);
            field.value = arguments[1]; field.dispatchEvent(new Event("change"))""", field, value)

    def press(self, button):
        self.browser.run("document.querySelector(arguments[0]).click()", button)

    def becomes(self, key, value):
        """Waits until the page has sent a value, and shows it."""
        end = time.monotonic() + 30
        while (now := self.value(self.ask("/api/settings.conf")[1], key)) != value:
            self.assertLess(time.monotonic(), end, f"{key} is {now} and not {value}")
        self.browser.wait_for("""[...document.querySelectorAll(`[data-key=${arguments[0]}] tbody [data-place]`)].map(
            (row) => [...row.querySelectorAll("td input, td select")].map((field) => field.value).join()).join(";")
            .replace(/,+(;|$)/g, "$1") === arguments[1].replace(/,+(;|$)/g, "$1")""", key, value)

    def test_a_list_is_a_table_whatever_it_holds(self):
        kept = "192.168.1.10,443,0,TCP;192.168.1.11,51820,0,UDP;192.168.1.12,6881,6889,TCP&UDP"
        one, two, three = kept.split(";")
        self.view("settings")
        self.assertEqual(self.texts("[data-key=PortForwardRules] thead th")[:5],
                         ["record", "LAN address", "first port", "last port", "protocol"])
        self.assertEqual(len(self.texts("[data-key=RoutingRules] [data-place]")), 1)
        self.assertEqual(self.texts(".adder :user-invalid, .adder [aria-invalid]"), [])
        # A record of an empty list is one as soon as something is written into it.
        self.press("[data-key=SinglePortForwardRules] .add")
        self.assertEqual(json.loads(self.ask("/api/pending")[1])["changes"], 0)
        self.write("#setting-1-SinglePortForwardRules-1-2", "80")
        self.browser.wait_for("document.querySelector('[data-key=SinglePortForwardRules] .marks .kept')")
        self.assertRegex(self.value(self.ask("/api/settings.conf")[1], "SinglePortForwardRules"), "^,80,+$")
        # Moved by its number, removed, and refused what would make two of it.
        self.write("[data-key=PortForwardRules] [data-place='2'] .place", "1")
        self.becomes("PortForwardRules", f"{three};{one};{two}")
        self.press("[data-key=PortForwardRules] [data-place='1'] [aria-label^=Remove]")
        self.becomes("PortForwardRules", f"{three};{two}")
        field = "#setting-1-PortForwardRules-2-1"
        for refused in ("a;b", "a,b"):
            self.write(field, refused)
            self.assertEqual(len(self.texts(f"td:has({field}) .refused")), 1)
        self.assertEqual(self.value(self.ask("/api/settings.conf")[1], "PortForwardRules"), f"{three};{two}")
        # What is wrong is said at the field.
        self.write(field, "192.168.1.300")
        self.browser.wait_for(f"document.querySelector('td:has({field}[aria-invalid]) .finding')")
        self.assertEqual(self.texts(f"td:has({field}) .finding"), ["is not an IPv4 address, is passed over"])
        self.screenshots("lists")
        self.view("changes")
        self.assertEqual(self.texts("[data-key=PortForwardRules] .edits > li"), [
            "\u2212record 1: " + one, "~record 2: LAN address: 192.168.1.11 \u2192 192.168.1.300"])
        self.assertEqual(self.texts("[data-key=SinglePortForwardRules] .edits > li"), ["+record 1: ,80,,"])

    def test_two_windows_lose_nothing_of_one_another(self):
        self.view("settings")
        elsewhere = "192.168.1.10,443,0,TCP;192.168.1.11,51821,0,UDP"
        self.wish("change", space=1, key="PortForwardRules", value=elsewhere)
        self.write("#setting-1-PortForwardRules-1-2", "444")
        self.browser.wait_for("document.querySelector('#trouble:not([hidden])')")
        self.assertIn("PortForwardRules has been changed elsewhere", self.texts("#trouble")[0])
        self.assertEqual(self.value(self.ask("/api/settings.conf")[1], "PortForwardRules"), elsewhere)
        self.assertEqual([line for line in self.browser.complaints() if "elsewhere" not in line and "422" not in line], [])
        # What is shown now is what is changed now.
        self.browser.wait_for("document.querySelector('#setting-1-PortForwardRules-2-2')?.value === '51821'")
        self.write("#setting-1-PortForwardRules-1-2", "444")
        self.becomes("PortForwardRules", elsewhere.replace("443", "444"))

    def test_two_thousand_records_are_edited(self):
        records = [f"10.0.{n // 250}.{n % 250},,0,0,any/0,,{n + 1},0,1,1,rule {n},,,," for n in range(2000)]
        self.wish("change", space=1, key="IPPortFilterRules", value=";".join(records))
        self.view("settings/1/IPPortFilterRules/1500")
        self.assertEqual(self.browser.run("return [document.activeElement.id, document.activeElement.value]"),
                         ["setting-1-IPPortFilterRules-1500-1", "10.0.5.249"])
        self.assertLess(len(self.texts("[data-key=IPPortFilterRules] tbody tr")), 100)
        self.write("#setting-1-IPPortFilterRules-1500-1", "10.9.9.9")
        records[1499] = records[1499].replace("10.0.5.249", "10.9.9.9")
        self.browser.wait_for("document.querySelector('#setting-1-IPPortFilterRules-1500-1').value === '10.9.9.9'")
        self.assertEqual(self.wish("change", space=1, key="New", value="x" * 524289),
                         (422, {"error": "a value has 524288 bytes at most, and this 524289"}))
        self.browser.wait_for("/^1 change not kept yet: \\d{4,} commands/.test("
                              "document.getElementById('pending-text').textContent)")
        self.assertEqual(self.value(self.ask("/api/settings.conf")[1], "IPPortFilterRules"), ";".join(records))

    def test_a_rule_of_the_picture_tells_where_it_comes_from(self):
        self.wish("change", space=1, key="PortForwardRules", value="192.168.1.99,80,80,TCP,x")
        self.view("firewall")
        self.browser.run("""[...document.querySelectorAll(".picture .rule.added")].find((rule) =>
            rule.textContent.includes("DNAT 192.168.1.99")).focus()""")
        told = self.texts(".told p")
        self.assertRegex(told[0], "-d 198.51.100.2|-d 203.0.113.2")
        self.assertIn("from record 1 of PortForwardRules: 192.168.1.99,80,80,TCP,x", told)
        self.browser.run("document.querySelector('.told a').click()")
        self.browser.wait_for("document.body.dataset.ready === 'settings'")
        self.assertEqual(self.browser.run("return location.hash"), "#settings/1/PortForwardRules/1")

    # ---- the firewall on a small screen, and questions about packets ----

    def test_the_firewall_is_a_list_on_a_small_screen(self):
        self.wish("change", space=1, key="PortForwardRules", value="192.168.1.99,80,80,TCP,x")
        self.browser.resize(400, 800)
        self.addCleanup(self.browser.resize, 1280, 900)
        self.view("firewall")
        self.browser.run("[...document.querySelectorAll('button')].find((one) => one.textContent === 'Next change').click()")
        self.assertEqual(self.texts(".chain[open] > summary code"), ["port_forward"])
        self.assertIn("1 DNAT", self.texts(".chain[open] .verdict"))
        self.assertEqual(self.browser.run("return [...document.querySelectorAll('.rule.added')].map((rule) => rule.querySelector('summary').innerText.split('\\n'))"),
                         [["1", "TCP to 203.0.113.2 to port 80:80 goes to 192.168.1.99 instead.", "DNAT"]])
        self.assertEqual(self.browser.run("return document.querySelector('.rule.added a').hash"), "#settings/1/PortForwardRules/1")
        # As a picture, what is told of a rule stands above the bar of the changes.
        self.browser.run("document.querySelector('.choices input').click()")
        self.browser.wait_for("document.querySelector('.picture .rule.added')")
        self.browser.run("document.querySelector('.picture .rule.added').focus()")
        self.assertTrue(self.browser.run("return document.querySelector('.told').getBoundingClientRect().bottom < document.getElementById('pending').getBoundingClientRect().top"))

    def test_by_night_the_picture_is_dark(self):
        self.browser.dark(True)
        self.addCleanup(self.browser.dark, False)
        self.view("firewall")
        lights = self.browser.run("""return ["rect", ".row", ".header", ".drop rect"].map((name) =>
            Math.max(...getComputedStyle(document.querySelector(`.picture ${name}`)).fill.match(/\\d+/g)))""")
        self.assertLess(max(lights), 100, lights)

    def test_a_packet_is_followed_to_the_record_that_drops_it(self):
        self.view(MAIL)
        self.assertEqual(self.texts(".answer"), ["Dropped by record 1 of IPPortFilterRules (192.168.1.20 to any, TCP 25)."])
        self.assertEqual(self.browser.run("return [...document.querySelectorAll('.answer a')].map((link) => link.hash)"),
                         ["#settings/1/IPPortFilterRules/1"])
        self.assertIn("rule 3 of macipport_filter: TCP of a connection in state NEW,INVALID from 192.168.1.20 to port 25 is dropped.",
                      self.texts(".step p"))
        self.assertIn("rule 1 of port_forward: TCP to 203.0.113.2 to port 443 goes to 192.168.1.10 instead. "
                      "No: the destination is 198.51.100.1, not 203.0.113.2.", self.texts(".passed-by li"))
        # The last step is the one that the picture shows as the end.
        last = self.texts(".way-steps .badge-step")[-1]
        self.assertEqual(self.browser.run("""return [...document.querySelectorAll(".picture .decided")].map((rule) =>
            [rule.getAttribute("class"), rule.querySelector("title").textContent.split("\\n")[0], rule.dataset.step])"""),
                         [["rule matched decided bad", "-m state --state NEW,INVALID -s 192.168.1.20 -d any/0 -p tcp --dport 25 -j DROP", last]])
        # With the record gone, in the draft; and as it is kept.
        records = self.value(self.ask("/api/settings.conf")[1], "IPPortFilterRules").split(";")
        self.wish("change", space=1, key="IPPortFilterRules", value=";".join(records[1:]))
        self.view(MAIL)
        self.assertRegex(self.texts(".answer")[0], "^Forwarded out of eth2.2")
        self.browser.run("document.querySelector('.ask-choices input').click()")
        self.browser.wait_for("document.querySelector('.answer')?.textContent.startsWith('Dropped by record 1')")

    def test_a_question_that_cannot_be_asked_is_named_at_its_field(self):
        self.view("ask")
        self.browser.run("""document.querySelector("[name=source]").value = "nonsense";
            document.querySelector(".question button").click()""")
        self.browser.wait_for("document.querySelector('.finding:not([hidden])')")
        self.assertEqual(self.texts("label:has([aria-invalid]) .finding"), [
            "'nonsense' is no IPv4 address; type one such as 198.51.100.1, or router for the router's own"])
        self.assertEqual(self.browser.run("return document.activeElement.name"), "source")

    def test_answers_about_packets(self):
        mail = MAIL.partition("?")[2]
        for question, field, part in (
                (mail.replace("198.51.100.1", "here"), "destination", "no IPv4 address"),
                (mail.replace("tcp/25", "tcp"), "protocol", "needs a port"), (mail.replace("lan", "dmz"), "from", "no side"),
                (mail + "&mac=1", "mac", "no MAC address"), (mail + "&source_port=x", "source_port", "no number"),
                (mail + "&flags=SIN", "flags", "no flag"), (mail + "&state=old", "state", "no state"), ("", "from", "no side")):
            wrong = json.loads(self.ask(f"/api/trace?{question}")[1])["wrong"]
            self.assertEqual(wrong["field"], field)
            self.assertIn(part, wrong["why"])
        self.assertEqual(json.loads(self.ask("/api/ports?to=nowhere")[1])["wrong"]["field"], "to")
        web = next(one for one in json.loads(self.ask("/api/ports")[1])["openings"] if one["ports"] == ["443"])
        self.assertEqual((web["words"]["heading"], web["by_origins"]),
                         ("From the Internet (wan) through the router to lan", [{"space": 1, "key": "PortForwardRules", "record": 1}]))
        # The router that is asked about is the one that is drawn.
        followed = json.loads(self.ask(f"/api/trace?{mail}")[1])["ways"][0]["steps"]
        drawn = {tuple(rule["made_by"].values()) for stage in json.loads(self.ask("/api/firewall")[1])["stages"]
                 for chain in stage["chains"] for rule in chain["rules"]}
        met = {tuple(step["made_by"].values()) for step in followed if step["step"] == "rule"}
        self.assertGreater(len(met), 30)
        self.assertLessEqual(met, drawn)

    def test_a_fold_of_a_saved_picture_opens_without_a_script(self):
        picture = pathlib.Path(self.folder.name, "large.svg")
        large = pathlib.Path(self.folder.name, "large.conf")
        large.write_text(configuration().replace("PortForwardRules=", "PortForwardRules=" + ";".join(
            f"192.168.1.9,{port},{port},TCP,x" for port in range(1, 101)) + ";", 1))
        subprocess.run([ORBA, "plan", "firewall_init", "-c", large, "--picture", picture], check=True)
        self.browser.emulate("ScriptExecutionDisabled", value=True)
        self.addCleanup(self.browser.emulate, "ScriptExecutionDisabled", value=False)
        self.browser.go(picture.as_uri())
        visible = "return document.querySelector('li').checkVisibility()"
        self.assertFalse(self.browser.run(visible))
        self.browser.driver.find_element("css selector", "summary").click()
        self.assertTrue(self.browser.run(visible))

    def test_views_fit(self):
        self.wish("change", space=1, key="PortForwardRules", value="192.168.1.99,80,80,TCP,x")
        for name in VIEWS:
            self.view(name)
            self.screenshots(name)

    def screenshots(self, name):
        for width, height, dark in ((1280, 900, False), (1280, 900, True), (400, 800, False)):
            self.browser.resize(width, height)
            self.browser.dark(dark)
            self.browser.screenshot(SHOTS / f"{name.partition('&')[0].replace('?', '-')}-{width}{'-dark' if dark else ''}.png")
            self.assertLessEqual(self.browser.run("return document.documentElement.scrollWidth"), width, name)
        self.browser.resize(1280, 900)

    def test_others_are_refused(self):
        own = f"127.0.0.1:{self.port}"
        body = {"Content-Type": "application/json", "Content-Length": "2"}
        for method, path, headers, status in (
                ("GET", "/", {}, 200),
                ("GET", "/", {"Host": f"localhost:{self.port}", "Sec-Fetch-Site": "none"}, 200),
                ("GET", "/", {"Host": "localhost"}, 403),
                ("GET", "/", {"Host": f"127.0.0.1.example.org:{self.port}"}, 403),
                ("GET", "/api/status", {"Host": f"192.0.2.1:{self.port}"}, 403),
                ("GET", "/app.js", {"Host": f"rebound.example:{self.port}"}, 403),
                ("GET", "/api/status", {"Origin": "http://elsewhere.example"}, 403),
                ("GET", "/api/status", {"Sec-Fetch-Site": "cross-site"}, 403),
                ("GET", "/api/status", {"Sec-Fetch-Site": "same-site"}, 403),
                ("POST", "/api/discard", body, 200),
                ("POST", "/api/discard", body | {"Origin": f"http://{own}", "Sec-Fetch-Site": "same-origin"}, 200),
                ("POST", "/api/discard", body | {"Origin": "null"}, 403),
                ("POST", "/api/discard", body | {"Origin": "http://127.0.0.1:1"}, 403),
                ("POST", "/api/discard", body | {"Content-Type": "text/plain"}, 403),
                ("POST", "/api/discard", {"Content-Type": "application/json", "Transfer-Encoding": "chunked"}, 403),
                ("POST", "/api/discard", body | {"Content-Length": "1048577"}, 403),
                ("PUT", "/api/discard", body, 403)):
            with self.subTest(method=method, path=path, headers=headers):
                sent = b"{}" if method != "GET" and "Content-Length" in headers else None
                response, _ = self.ask(path, method, sent, {"Host": own} | headers)
                self.assertEqual(response.status, status)
                self.assertEqual(response.getheader("Connection"), "close")
                self.assertIn("script-src 'self';", response.getheader("Content-Security-Policy"))
        self.assertEqual(self.wish("change", space=1, key=[], value="")[0], 400)
        for deep in ("[" * 60000, '{"a":' * 12000):
            self.assertEqual(self.ask("/api/change", "POST", deep, {"Content-Type": "application/json"})[0].status, 400)
        for space in ("1", True, 0, 10, 4294967297, 1e300, 1.5, None):
            self.assertEqual(self.wish("change", space=space, key="New", value="")[0], 422, space)
        self.assertNotIn("New", self.ask("/api/settings.conf")[1])

    def test_who_was_not_given_the_address_is_refused(self):
        for cookie in ("", "orba=", "orba=0", f"orba={'0' * 32}", self.cookie[:-1]):
            for path in ("/", "/app.js", "/api/settings.conf", f"/?token={cookie[5:]}"):
                self.assertEqual(self.ask(path, headers={"Cookie": cookie})[0].status, 403, (path, cookie))
            status, _ = self.ask("/api/discard", "POST", b"{}", {"Content-Type": "application/json", "Cookie": cookie})
            self.assertEqual(status.status, 403, cookie)
        response, _ = self.ask(f"/?token={self.cookie[5:]}", headers={"Cookie": ""})
        self.assertEqual((response.status, response.getheader("Location"), response.getheader("Set-Cookie")),
                         (303, self.folder_path,
                          f"{self.cookie}; Path={self.folder_path}; HttpOnly; SameSite=Strict"))
        self.assertEqual(self.ask("/", headers={"Cookie": f"other=1; {self.cookie}; orba=2"})[0].status, 200)
        # Another server of the same address is not sent the token.
        with socket.create_server(("127.0.0.1", 0)) as other:
            self.view("overview")
            self.browser.run("window.open(arguments[0])", f"http://127.0.0.1:{other.getsockname()[1]}/")
            other.settimeout(60)
            connection = other.accept()[0]
            with connection:
                asked = connection.recv(9999).decode()
        self.assertTrue(asked.startswith("GET / "))
        self.assertNotIn("Cookie", asked)

    def test_it_answers_whatever_others_do(self):
        """Clients that are slow, many, or ask for much."""
        self.browser.go("about:blank")  # which would complain of what it has to wait for
        response, text = self.ask("/app.js", headers={"Range": "bytes=" + ",".join(["0-"] * 1500)})
        self.assertEqual((response.status, text), (200, self.ask("/app.js")[1]))
        many = ["X: " + "x" * 4000] * 60
        with socket.create_connection(("127.0.0.1", self.port)) as large:
            with contextlib.suppress(ConnectionError):
                large.sendall("\r\n".join(["GET / HTTP/1.1", *many]).encode())
                self.assertNotIn(b"200", large.recv(99))
        for count, request in ((40, b"GET / HTTP/1.1\r\nX: " + b"x" * 10000), (1500, b"")):
            with contextlib.ExitStack() as stack:
                ends = threading.Event()
                slow = [stack.enter_context(socket.socket()) for _ in range(count)]

                def drip():
                    for byte in request:
                        for client in slow:
                            with contextlib.suppress(OSError):
                                client.send(bytes([byte]))
                        if ends.wait(0.05):
                            return

                for client in slow:
                    client.setblocking(False)
                    client.connect_ex(("127.0.0.1", self.port))
                dripping = threading.Thread(target=drip)
                dripping.start()
                start = time.monotonic()
                try:
                    self.assertEqual(self.ask("/app.js")[0].status, 200)
                finally:
                    ends.set()
                    dripping.join()
                self.assertLess(time.monotonic() - start, 10)

    def test_a_long_value_makes_no_long_picture(self):
        records = ";".join(f"192.168.1.9,{port},{port},TCP,{'x' * 20}" for port in range(1, 400))
        self.wish("change", space=1, key="PortForwardRules", value=records)
        self.assertLess(len(self.ask("/api/firewall.svg?changes")[1]), 2_000_000)

    def test_nothing_is_lost_without_a_word(self):
        config = pathlib.Path(self.folder.name, "saved.conf")
        config.write_bytes(b"# mine\nDMZEnable=0\nSSID1=Caf\xe9\n")
        ours, theirs = os.openpty()
        defaults = pathlib.Path(self.folder.name, "defaults.conf")
        defaults.write_text("DMZEnable=0\nHostName=router\n")
        server = Server("-c", config, "--defaults", defaults, stdin=theirs, stderr=subprocess.PIPE)
        os.close(theirs)
        self.assertEqual(json.loads(server.ask("/api/settings")[1])["settings"], [
            {"space": 1, "key": "DMZEnable", "value": "0"},
            {"space": 1, "key": "HostName", "value": None, "default": "router"},
            {"space": 1, "key": "SSID1", "value": "Caf\\xe9", "bytes": True, "default": None}])
        server.wish("change", space=1, key="DMZEnable", value="1")
        server.wish("keep")
        self.assertEqual(server.wish("save")[0], 422)
        server.orba.send_signal(signal.SIGINT)
        said = [server.orba.stderr.readline() for _ in range(3)]
        self.assertEqual(said[1], f"orba: kept in memory only, not in {config}: DMZEnable.\n")
        self.assertEqual(server.ask("/")[0].status, 200)
        self.assertEqual(server.end(signal.SIGINT), (
            0, f"orba: lost, as it was kept in memory only, not in {config}: DMZEnable\n"))
        os.close(ours)

        server = Server("-c", config, "--save", config, stderr=subprocess.PIPE)
        server.wish("change", space=1, key="DMZEnable", value="1")
        self.assertEqual([one["key"] for one in server.wish("keep")[1]["unsaved"]], ["DMZEnable"])
        self.assertEqual(server.wish("save")[1]["unsaved"], [])
        written = b"# mine\nDMZEnable=1\nSSID1=Caf\xe9\n"
        self.assertEqual(config.read_bytes(), written)
        # What somebody else has written meanwhile stays, and is what settings are compared with.
        config.write_bytes(written + b"HostName=theirs\n")
        self.assertEqual([one["key"] for one in json.loads(
            server.ask("/api/changes?against=file")[1])["list"]], ["HostName"])
        self.assertEqual(server.wish("save")[0], 422)
        config.write_bytes(written)
        server.wish("change", space=1, key="DMZEnable", value="2")
        server.wish("keep")
        server.wish("change", space=1, key="New", value="x")
        self.assertEqual(server.end(signal.SIGTERM), (
            0, f"Written to {config}: DMZEnable\norba: lost, as it was not even kept: New\n"))
        self.assertEqual(config.read_bytes(), written.replace(b"=1", b"=2"))
        server = Server("-c", config, "--save", config, stderr=subprocess.PIPE)
        server.wish("change", space=1, key="DMZEnable", value="0")
        server.wish("keep")
        config.write_bytes(written)
        self.assertIn(f"orba: lost, as it was kept in memory only, not in {config}: DMZEnable\n",
                      server.end(signal.SIGTERM)[1])
        other = subprocess.run([ORBA, "serve", "-c", config, "--save", self.config],
                               capture_output=True, text=True, timeout=60)
        self.assertEqual((other.returncode, other.stderr), (
            2, f"orba: --save would write over {self.config}, which is not the file of -c\n"))

    def test_a_port_in_use_is_an_error(self):
        second = subprocess.run([ORBA, "serve", "--config", self.config, "--port", str(self.port)],
                                capture_output=True, text=True, timeout=60)
        self.assertEqual((second.returncode, second.stderr), (
            2, f"orba: cannot listen on 127.0.0.1:{self.port}: Address already in use\n"))


if __name__ == "__main__":
    if "chromium" not in sys.modules or not shutil.which("chromium") or not shutil.which("chromedriver"):
        print("orba serve: not tested in a browser: no chromium, chromium-driver or python3-selenium here")
        sys.exit(1 if os.environ.get("CI") == "true" else 77)
    SHOTS.mkdir(parents=True, exist_ok=True)
    most = resource.getrlimit(resource.RLIMIT_NOFILE)[1]
    resource.setrlimit(resource.RLIMIT_NOFILE, (most, most))
    unittest.main(argv=sys.argv[:1] + sys.argv[4:])
