#!/usr/bin/env python3
"""faults.py FAULTS SOURCES INTO: builds the faults of a list into copies of packets/.

A line of the list is

    FILE @ TEXT [[HERE]] TEXT @ INSTEAD @ WORDS

HERE is what is replaced; the text around it makes sure that it is the one meant. Blanks match
any blanks, line ends included. HERE becomes `(fault(N) ? (INSTEAD) : (HERE))`; one that ends in
';' is a statement and becomes an `if`. A text that does not stand in the file exactly
once ends it with an error: the list is then to be mended, as the source was.
"""

import pathlib
import re
import sys


def fail(words):
    sys.exit(f"faults.py: {words}")


def pattern(text):
    return r"\s+".join(re.escape(word) for word in text.split(" ") if word) if text.strip() else ""


def find(source, text, where):
    before, here, after = re.fullmatch(r"(.*?)\[\[(.*)\]\](.*)", text).groups()
    parts = []
    for part in before, here, after:
        lead = r"\s*" if part[:1] == " " else ""
        tail = r"\s*" if part[-1:] == " " else ""
        parts.append(lead + pattern(part) + tail)
    found = list(re.finditer(f"(?:{parts[0]})({parts[1]})(?:{parts[2]})", source))
    if len(found) != 1:
        fail(f"{where}: '{text}' stands {len(found)} times in the file")
    return found[0].span(1)


def built(here, faults):
    statement = here.endswith(";")
    text = here
    for number, instead in faults:
        if statement:
            text = f"if (judge::fault({number})) {{ {instead} }} else {{ {text} }}"
        else:
            text = f"(judge::fault({number}) ? ({instead}) : ({text}))"
    return text


def main():
    faults, sources, into = map(pathlib.Path, sys.argv[1:])
    spans, words = {}, []
    for number, line in enumerate(faults.read_text().splitlines(), 1):
        if not line or line.startswith("#"):
            continue
        fields = line.split(" @ ")
        if len(fields) != 4:
            fail(f"{faults}:{number}: four fields are wanted")
        file, text, instead, what = fields
        words.append(what)
        source = (sources / file).read_text()
        span = find(source, text, f"{faults}:{number}")
        spans.setdefault(file, {}).setdefault(span, []).append((len(words), instead.strip()))
    (into / "packets").mkdir(parents=True, exist_ok=True)
    for path in sorted(sources.glob("*.cpp")):
        source, end = path.read_text(), None
        for span in sorted(spans.get(path.name, {}), reverse=True):
            if end is not None and span[1] > end:
                fail(f"{path.name}: two faults overlap at '{source[span[0]:span[1]]}'")
            end = span[0]
            source = source[:end] + built(source[end:span[1]], spans[path.name][span]) + source[span[1]:]
        text = '#include "fault.h"\n' + source
        copy = into / "packets" / path.name
        if not copy.exists() or copy.read_text() != text:
            copy.write_text(text)
    listed = "".join(f'    R"({what})",\n' for what in words)
    (into / "fault.h").write_text(
        "#ifndef JUDGE_FAULT_H\n#define JUDGE_FAULT_H\n"
        "namespace judge {\n// Whether this one was chosen; they count from 1.\nbool fault(int number);\n"
        f"inline constexpr int kFaults = {len(words)};\n"
        f'inline constexpr const char *kFaultWords[] = {{\n    "none",\n{listed}}};\n'
        "}\n#endif\n")


main()
