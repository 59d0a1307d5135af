"""Rules in one form, whoever wrote them: the library in the device's dialect,
or iptables-save and ebtables-save in theirs."""

import ipaddress
import re
import shlex

ALL_FLAGS = "FIN,SYN,RST,PSH,ACK,URG"
SAME_OPTION = {"--to": "--to-destination", "--src": "-s"}
PROTOCOLS = {"1": "icmp", "2": "igmp", "6": "tcp", "17": "udp"}
NOT_COMPARED = {"-m", "--algo"}  # said by the options behind them


def options(words):
    """(negated, option, values), with the '!' before the option or behind it."""
    found, negated, at = [], False, 0
    while at < len(words):
        if words[at] == "!":
            negated, at = True, at + 1
            continue
        option, at = words[at], at + 1
        if at + 1 < len(words) and words[at] == "!" and not words[at + 1].startswith("-"):
            negated, at = True, at + 1
        values = []
        while at < len(words) and not words[at].startswith("-") and words[at] != "!":
            values.append(words[at])
            at += 1
        found.append((negated, option, values))
        negated = False
    return found


def network(text):
    if text.split("/")[0] == "any":
        return "0.0.0.0/0"
    return str(ipaddress.ip_network(text, strict=False))


def flags(text):
    return ",".join(sorted((ALL_FLAGS if text == "ALL" else text).split(",")))


def address_range(bytecode):
    """What a program over the link header lets pass: (offset, first, last)."""
    numbers = [int(line.split()[3]) for line in bytecode.split(",")[1:]]
    mac = lambda high, low: f"{high:08X}{low:04X}"
    return (numbers[0] - 0xFFE00000, mac(numbers[1], numbers[4]), mac(numbers[6], numbers[9]))


def plain_mac(text):
    return text.replace(":", "").upper()


def normal_option(negated, option, values):
    option = SAME_OPTION.get(option, option)
    value = " ".join(values)
    if option == "--syn":
        option, value = "--tcp-flags", flags("FIN,SYN,RST,ACK") + " SYN"
    elif option == "--tcp-flags":
        value = flags(values[0]) + " " + flags(values[1])
    elif option in ("-s", "-d", "--ip-src"):
        value = value.upper() if ":" in value else network(value)
        if value == "0.0.0.0/0":
            return None
    elif option in ("-p", "--ip-proto"):
        value = PROTOCOLS.get(value.lower(), value.lower())
    elif option == "--mac-source":
        value = value.upper()
    elif option == "--icmp-type":
        value = {"echo-request": "8"}.get(value, value)
    elif option == "--log-level":
        value = {"debug": "7"}.get(value.lower(), value)
    elif option == "--limit":
        value = value.replace("/sec", "/s")
    elif option == "--state":
        value = ",".join(sorted(value.split(",")))
    elif option == "--mark-or":
        value = hex(int(value, 0))
    elif option in ("--url", "--host"):
        option = "--string"
    elif option in ("--src-macrange", "--dst-macrange"):
        first, last = value.split("-")
        value = (6 if option == "--src-macrange" else 0, plain_mac(first), plain_mac(last))
        option = "MAC range"
    elif option == "--mac-destination":
        option, value = "MAC range", (0, plain_mac(value), plain_mac(value))
    elif option == "--bytecode":
        option, value = "MAC range", address_range(value)
    return (negated, option, value)


def normal(rule):
    """A rule's options, in no order; what matches everything is left out."""
    found = []
    for negated, option, values in options(shlex.split(rule)):
        if option not in NOT_COMPARED:
            found.append(normal_option(negated, option, values))
    return sorted((o for o in found if o is not None), key=repr)


def chains(saved):
    """{table: {chain: (policy, [rule])}} of a listing."""
    tables, table = {}, None
    for line in saved.splitlines():
        if line.startswith("*"):
            table = tables.setdefault(line[1:], {})
        elif line.startswith(":"):
            name, policy = line[1:].split()[:2]
            table[name] = ("" if policy == "-" else policy, [])
        elif match := re.match(r"-A (\S+)(?: (.*))?$", line):
            table[match[1]][1].append(match[2] or "")
    return tables
