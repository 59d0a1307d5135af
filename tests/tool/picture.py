#!/usr/bin/env python3
"""The firewall as a picture: well-formed, legible, and inert whatever a setting holds.

  picture.py ORBA EXAMPLES
"""
import collections
import os
import re
import resource
import subprocess
import sys
import tempfile
import xml.etree.ElementTree as ElementTree

orba, examples = sys.argv[1:]
SVG = "{http://www.w3.org/2000/svg}"
HTML = "{http://www.w3.org/1999/xhtml}"
ALLOWED = {SVG + name for name in ("svg", "style", "g", "rect", "path", "circle", "text", "tspan", "title", "foreignObject")}
ALLOWED |= {HTML + name for name in ("details", "summary", "ol", "li", "b")}
HOSTILE = """OperationMode=1
MacFilterAction=DROP
MACFilterRules=</text><script>alert(1)</script>;"onload="x;&#60&lt]]>;\\x1b[31mred\\x07;a\xe2\x80\xaeb;\\xff\\xfe;%s
websHostFiltersEnable=1
websFilterTrustIP=0.0.0.0
websFilterProxy=0
websFilterJava=0
websFilterActivex=0
websFilterCookies=0
websURLFilters=
websHostFilters=<a href="javascript:x">
""" % ("w" * 300)
HOSTILE_TEXTS = ["</text><script>alert(1)</", "\"onload=\"x", "&#60&lt]]>", "\\x1b[31mred\\x07",
                 "a\\U0000202eb", "\\xff\\xfe", "w" * 31, '<a href="javascript:x">']


def picture(folder, *words):
    path = os.path.join(folder, "picture.svg")
    code = subprocess.run([orba, *words, "--picture", path]).returncode
    assert code == (1 if words[0] == "diff" else 0), (words, code)
    with open(path, "rb") as file:
        return ElementTree.fromstring(file.read())


def number(element, name):
    return float(element.get(name))


def check_elements(root):
    for element in root.iter():
        assert element.tag in ALLOWED, element.tag
        for name in element.attrib:
            assert "href" not in name and not name.startswith("on"), name


def check_layout(root):
    """No two boxes meet, and each text and target stays in its own."""
    boxes = []
    for chain in root.iter(SVG + "g"):
        if chain.get("class") != "chain":
            continue
        rect = chain.find(SVG + "rect")
        x, y, width, height = (number(rect, name) for name in ("x", "y", "width", "height"))
        boxes.append((x, y, x + width, y + height))
        for part in chain.iter():
            if part.get("x") is None:
                continue
            right = number(part, "x") + float(part.get("width") or part.get("textLength") or 0)
            assert x <= number(part, "x") and right <= x + width, part.attrib
            assert y <= number(part, "y") <= y + height, part.attrib
        for rule in chain.iter(SVG + "g"):
            texts = [part for part in rule.iter(SVG + "text")]
            if rule.get("class", "").split(" ")[0] == "rule":
                target = number(texts[-1], "x")
                for part in texts[:-1]:
                    assert number(part, "x") + number(part, "textLength") < target, part.text
    assert boxes
    for i, a in enumerate(boxes):
        assert a[2] <= number(root, "width") and a[3] <= number(root, "height")
        for b in boxes[i + 1:]:
            assert a[2] <= b[0] or b[2] <= a[0] or a[3] <= b[1] or b[3] <= a[1], (a, b)


def titles(root):
    return [element.text for element in root.iter(SVG + "title")]


def check_large(folder, settings):
    """Of 2,000 records each is told of, in a picture that can be opened and sent."""
    config = os.path.join(folder, "large.conf")
    records = [f"192.168.1.{i % 250 + 1},,0,0,any/0,,{i},0,1,1,no {i},,,," for i in range(1, 2001)]
    with open(config, "w", encoding="utf-8") as file:
        file.write("\n".join("IPPortFilterRules=" + ";".join(records) if line.startswith("IPPortFilterRules=") else line
                             for line in settings.splitlines()))
    before = resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime
    root = picture(folder, "plan", "firewall_init", "--config", config)
    spent = resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime - before
    assert spent < 10, f"{spent} seconds of the processor"  # 2 on an idle desk
    size = os.path.getsize(os.path.join(folder, "picture.svg"))
    assert size < 5_000_000, size
    check_elements(root)
    check_layout(root)
    assert number(root, "height") < 5000
    told = titles(root) + [item.get("title") for item in root.iter(HTML + "li")]
    of_record = collections.Counter(re.findall(r"^from IPPortFilterRules, record (\d+): ", "\n".join(told), re.MULTILINE))
    assert of_record == {str(record): 2 for record in range(1, 2001)}, of_record  # noted, and dropped
    folds = [summary.text for summary in root.iter(HTML + "summary")]
    assert folds == ["3,986 more rules, 13 to 3998: 1,993 DROP, 1,993 LOG"], folds


with tempfile.TemporaryDirectory() as folder:
    def example(name):
        return os.path.join(examples, name)

    gateway, changed = example("gateway.conf"), os.path.join(folder, "changed.conf")
    with open(gateway, encoding="utf-8") as file:
        settings = file.read()
    with open(changed, "w", encoding="utf-8") as file:
        file.write(settings.replace("192.168.1.10,443,0,TCP;", "")
                   .replace("firewallAction=DROP", "firewallAction=ACCEPT"))
    hostile = os.path.join(folder, "hostile.conf")
    with open(hostile, "w", encoding="latin-1") as file:
        file.write(HOSTILE)

    roots = {}
    for words in (["plan", "firewall_init", "--config", gateway],
                  ["plan", "firewall_init", "--config", example("pppoe-gateway.conf")],
                  ["plan", "firewall_init", "--config", example("bridge.conf")],
                  ["plan", "firewall_init"],
                  ["plan", "ledAlways", "1", "1"],
                  ["diff", gateway, changed],
                  ["plan", "firewall_init", "--config", hostile]):
        root = picture(folder, *words)
        check_elements(root)
        if "ledAlways" not in words:
            check_layout(root)
        roots[words[-1]] = root

    check_large(folder, settings)

    root = roots[hostile]
    shown = "\n".join(element.text or "" for element in root.iter(SVG + "text"))
    told = "\n".join(titles(root))
    for text in HOSTILE_TEXTS:
        assert text in told, text
    assert "a\\U0000202eb" in shown and "…" in shown

    forwards = [title for title in titles(roots[gateway]) if "192.168.1.12" in title]
    assert len(forwards) == 4, forwards
    for title in forwards:
        assert "from PortForwardRules, record 3: 192.168.1.12,6881,6889,TCP&UDP\n" in title, title

    root = roots[changed]
    removed = [group for group in root.iter(SVG + "g") if group.get("class") == "rule removed"]
    assert len([group for group in removed if "192.168.1.10" in group.find(SVG + "title").text]) == 2
    assert any("was ACCEPT" in (element.text or "") for element in root.iter(SVG + "text"))

    for code, words in ((0, [gateway, gateway]), (1, [gateway, changed, "MACFilterRun"]),
                        (1, [gateway, changed]), (2, [gateway, changed, "nothing"]), (3, [gateway, folder + "/none.conf"])):
        ran = subprocess.run([orba, "diff", *words], capture_output=True, text=True)
        assert ran.returncode == code and (code == 0) == (ran.stdout == "no difference\n"), (words, ran)
        assert "\033" not in ran.stdout
print("pictures are inert, and nothing overlaps")
