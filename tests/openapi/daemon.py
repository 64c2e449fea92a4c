# SPDX-License-Identifier: MIT
"""A whole unit of real programs, and a client that keeps what it was answered."""

import dataclasses
import http.client
import json
import os
import pathlib
import random
import re
import signal
import socket
import subprocess
import tempfile
import time

START_S = 120
ANSWER_S = 60
IDLE_S = 20  # less than what the daemon allows a connection that asks for nothing

# In the place of the programs that a client may start: some end by themselves, and one waits for its end and for that
# of the daemon.
SCRIPTS = {
    "ip": "echo \"$@\"",
    "iptables": "exit 0",
    "iptables-restore": "exit 0",
    "tcpdump": "exit 3",
    "dnsmasq": "trap 'exit 0' TERM; while kill -0 $PPID; do sleep 0.05; done",
    "lighttpd": "exit 0",
    "dnslookup": "exit 0",
}


def await_true(condition, what, timeout_s=ANSWER_S):
    """Asks again and again; fails when it takes too long."""
    end = time.monotonic() + timeout_s
    while not condition():
        if time.monotonic() > end:
            raise AssertionError(f"in {timeout_s} s it did not come to this: {what}")
        time.sleep(0.02)


def _free_port():
    """Below the range of the ports that the system gives to clients."""
    while True:
        port = random.randint(20000, 32000)
        with socket.socket() as probe:
            try:
                probe.bind(("", port))
                return port
            except OSError:
                pass


class RunningUnit:
    """tools/run-unit on a port and a bus of its own. Everything that it writes goes with it."""

    def __init__(self, root, programs):
        self._directory = tempfile.TemporaryDirectory(prefix="orvale-openapi-")
        self._path = pathlib.Path(self._directory.name)
        self.port = _free_port()
        self._programs = programs
        self._bus = f"unix*openapi-{os.getpid()}"
        self._write_scripts()
        self._output = open(self._path / "run-unit.out", "w+", encoding="utf-8")
        environment = {**os.environ, "ORVALE_BIN": programs, "PATH": f"{self._path / 'bin'}:{os.environ['PATH']}"}
        self._process = subprocess.Popen(
            [f"{root}/tools/run-unit", "--port", str(self.port), "--bus", self._bus, "--state",
             str(self._path / "state")],
            cwd=self._path, env=environment, stdin=subprocess.DEVNULL, stdout=self._output, stderr=subprocess.STDOUT)
        try:
            await_true(self._is_up, "the unit runs", START_S)
        except AssertionError:
            self.stop()
            raise

    def _write_scripts(self):
        (self._path / "bin").mkdir()
        for name, text in SCRIPTS.items():
            script = self._path / "bin" / name
            script.write_text(f"#!/bin/sh\n{text}\n", encoding="utf-8")
            script.chmod(0o700)

    def _is_up(self):
        assert self._process.poll() is None, self.output()
        return "The unit runs" in self.output()

    def output(self):
        return (self._path / "run-unit.out").read_text(encoding="utf-8")

    def logs(self):
        """What each program wrote, by its name."""
        return {log.stem: log.read_text(encoding="utf-8", errors="replace")
                for log in (self._path / "state").glob("*.log")}

    def store(self, key, value, type_name):
        """Writes a key as another program does."""
        subprocess.run([f"{self._programs}/configctl", "-a", self._bus, "set", "--type", type_name, key, str(value)],
                       stdin=subprocess.DEVNULL, check=True)

    def kill_bus(self):
        """For good: who would start it again is stopped before."""
        self._process.send_signal(signal.SIGSTOP)
        os.kill(self._child("cbusd"), signal.SIGKILL)

    def _child(self, name):
        for stat in pathlib.Path("/proc").glob("[0-9]*/stat"):
            try:
                fields = re.fullmatch(r"(\d+) \((.*)\) (\S) (\d+) .*", stat.read_text().strip(), re.DOTALL)
            except OSError:
                continue
            if fields and fields[2] == name and fields[3] != "Z" and int(fields[4]) == self._process.pid:
                return int(fields[1])
        raise AssertionError(f"no {name} runs: {self.output()}")

    def stop(self):
        """The programs end, and what they wrote is there until remove()."""
        self._process.send_signal(signal.SIGTERM)
        self._process.send_signal(signal.SIGCONT)
        self._process.wait(ANSWER_S)

    def remove(self):
        self._output.close()
        self._directory.cleanup()


@dataclasses.dataclass
class Exchange:
    """One request and its answer."""

    method: str
    path: str  # without what stands in front of it and without its query
    status: int
    headers: list
    body: bytes
    has_sent: bool = False
    sent: object = None  # JSON; for a body that is none, its text
    is_json: bool = True  # what was sent
    example: str = None  # of the description, if it was sent
    depends_on_state: bool = False  # a refusal says nothing about what was sent

    def header(self, name):
        return next((value for key, value in self.headers if key.lower() == name.lower()), None)

    def json(self):
        return json.loads(self.body)


class Client:
    """One connection at a time and one session. Every exchange is kept in `exchanges`."""

    def __init__(self, port, exchanges, source="127.0.0.1"):
        self._connection = http.client.HTTPConnection("127.0.0.1", port, timeout=ANSWER_S, source_address=(source, 0))
        self._exchanges = exchanges
        self._cookie = None
        self._used_at = time.monotonic()

    def request(self, method, path, *, query="", front="", headers=None, target=None, **sent):
        """`front` stands before the path; `target` is sent in the place of all; `sent` are members of Exchange."""
        self.send(method, target or front + path + query, headers, **sent)
        return self.receive(method, path, **sent)

    def send(self, method, target, headers=None, has_sent=False, sent=None, is_json=True, **_):
        if time.monotonic() - self._used_at > IDLE_S:
            self.close()  # the next request opens another one
        headers = {"Accept": "application/json", **(headers or {})}
        if self._cookie:
            headers["Cookie"] = self._cookie
        text = json.dumps(sent) if is_json else sent
        self._connection.request(method, target, body=text if has_sent else None, headers=headers)

    def receive(self, method, path, **sent):
        response = self._connection.getresponse()
        self._used_at = time.monotonic()
        exchange = Exchange(method, path, response.status, response.getheaders(), response.read(), **sent)
        cookie = exchange.header("Set-Cookie")
        if cookie:
            self._cookie = cookie.split(";")[0]
        self._exchanges.append(exchange)
        return exchange

    def get(self, path, **more):
        return self.request("GET", path, **more)

    def send_json(self, method, path, value, **more):
        return self.request(method, path, has_sent=True, sent=value, **more)

    def close(self):
        self._connection.close()
