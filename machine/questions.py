"""The questions of lab/tests, put to the booted router and its world, in the names and words of
packets.py and lab.py there."""
import ast
import base64
import secrets
import time

import packets
from booted import Booted, without_comments
from machine import AGENT

booted = Booted()


class Agent:
    """Asks the world's agent, which is started when it is first needed."""

    channel = None

    def ask(self, function, *arguments, **named):
        if self.channel is None:
            booted.world.run(f"setsid python3.11 /own/lib/agent.py hvc{AGENT} >/var/log/agent 2>&1 &")
            self.channel = booted.world.channel(AGENT)
        mark = secrets.token_hex(8)
        question = base64.b64encode(repr((mark, function, arguments, named)).encode())
        self.channel.until = time.monotonic() + 300
        self.channel.socket.sendall(question + b"\n")
        while True:
            try:
                answer = ast.literal_eval(base64.b64decode(self.channel.line(), validate=True).decode())
            except ValueError:
                continue  # what a terminal says before it is the agent's
            if answer[:2] == ("=", mark):
                break
        if answer[3]:
            raise AssertionError(f"{function}{arguments}: {answer[3]}")
        return answer[2]


agent = Agent()


def question(function):
    return lambda *arguments, **named: agent.ask(function, *arguments, **named)


tcp, udp, send_flags, send_as = (question(name) for name in ("tcp", "udp", "send_flags", "send_as"))


def ping(host, *arguments, **named):
    """The router itself is not in the world, and has only its own ping."""
    if host == "router":
        return booted.run(host, f"ping -c 1 -W 10 {arguments[0]}")[0] == 0
    return agent.ask("ping", host, *arguments, **named)


class Sniffer(packets.Sniffer):
    def __init__(self, host, interface):
        self.number = agent.ask("sniff", host, interface)

    def __exit__(self, *_):
        agent.ask("leave", self.number)

    def next(self):
        return agent.ask("next", self.number)


def shell(host, command):
    code, output, errors = booted.run(host, command)
    if code != 0:
        raise AssertionError(f"{host}: {command}: {errors or output}")
    return output


def up(config):
    """The router as it has booted with these settings, from an empty store; what it lacks."""
    booted.start(without_comments(config))
    return []


def apply(words, config):
    answers, printed = booted.apply([list(words)], without_comments(config))
    return answers[0] | {"printed": printed}
