"""The clients of the trials: kavu-probe, a module host of several sensors, and mosquitto's tools."""

import json
import os
import pathlib
import queue
import signal
import subprocess
import sys
import threading

import makers
import processes

_here = pathlib.Path(__file__).resolve().parent
BUILD = _here.parents[1] / "build"
_probe = BUILD / "bin" / "kavu-probe"
_longest = 60  # seconds that a command may take


class Lines:
    """A running program whose output lines can be waited for."""

    def __init__(self, command, password=makers.PASSWORD, **options):
        self.process = processes.start(
            command, text=True, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT, env=os.environ | {"KAVU_PROBE_PASSWORD": password}, **options)
        self._lines = queue.Queue()
        self._reader = threading.Thread(target=self._read, daemon=True)
        self._reader.start()

    def _read(self):
        for line in self.process.stdout:
            self._lines.put(line.rstrip("\n"))
        self._lines.put(None)

    def next(self, seconds=_longest):
        try:
            line = self._lines.get(timeout=seconds)
        except queue.Empty:
            raise TimeoutError(f"nothing said for {seconds} s: {self.process.args}") from None
        if line is None:
            raise EOFError(f"ended: {self.process.args}")
        return line

    def until(self, wanted):
        """The first line from here on for which wanted(line) is true."""
        while True:
            line = self.next()
            if found := wanted(line):
                return found

    def tell(self, line):
        self.process.stdin.write(line + "\n")
        self.process.stdin.flush()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.send_signal(signal.SIGINT)
        try:
            self.process.wait(15)
        except subprocess.TimeoutExpired:
            processes.kill(self.process)
        self._reader.join(5)


def _report(line):
    return json.loads(line) if line.startswith("{") else None


class Clients:
    """What one broker's trials talk to it with."""

    def __init__(self, broker):
        self.broker = broker

    def _probe(self, arguments, tls=False, user=makers.USER):
        port = self.broker.tls_port if tls else self.broker.port
        return [_probe, *arguments, "--json", "--port", str(port)] + (["--user", user] if user else [])

    def probe(self, *arguments, user=makers.USER, password=makers.PASSWORD, tls=False):
        """Runs kavu-probe to its end; its last report, and what it said on standard error."""
        done = subprocess.run(
            self._probe(arguments, tls, user), capture_output=True, text=True, timeout=_longest,
            env=os.environ | {"KAVU_PROBE_PASSWORD": password})
        return json.loads(done.stdout.splitlines()[-1]), done.stderr

    def reporting(self, topic):
        """A statistics sensor that goes on, whatever becomes of its subscription."""
        return Counting(self._probe(
            ["scan", "statistics", "--topic", topic, "--interval", "0.5", "--scans", "0", "--log"]))

    def counting(self, topic):
        """A statistics sensor that goes on, subscribed by now."""
        sensor = self.reporting(topic)
        sensor.until(lambda line: "Subscribed to" in line)
        return sensor

    def custom(self, topic, *arguments):
        """A custom sensor that goes on, subscribed by now."""
        lines = Lines(self._probe(
            ["scan", "custom", "--topic", topic, "--interval", "0.5", "--scans", "0", "--log",
             "--duration", "--retain", *arguments]))
        lines.until(lambda line: "Subscribed to" in line)
        return lines

    def several(self):
        """A host that can have several statistics sensors on one connection."""
        return Several([sys.executable, "-B", _here / "several_sensors.py", BUILD / "lib/libMQTT.so",
                        str(self.broker.port), makers.USER, makers.PASSWORD])

    def _mosquitto(self, program):
        return [program, "-h", "127.0.0.1", "-p", str(self.broker.port), "-u", makers.USER,
                "-P", makers.PASSWORD]

    def publish(self, topic, *payloads, quality=1, retain=False):
        """Publishes over one connection, in this order; whether the publisher is content."""
        command = self._mosquitto("mosquitto_pub") + ["-t", topic, "-q", str(quality)]
        command += ["-r"] if retain else []
        command += ["-n"] if payloads == ("",) else ["-l"] if len(payloads) > 1 else ["-s"]
        done = subprocess.run(command, input="\n".join(payloads), text=True, capture_output=True,
                              timeout=_longest)
        return done.returncode == 0

    def listening(self, *topics, quality=2):
        """A subscriber that shows "TOPIC PAYLOAD" of all that comes; (it, granted qualities)."""
        command = self._mosquitto("mosquitto_sub") + ["-q", str(quality), "-d", "-F", "> %t %p"]
        for topic in topics:
            command += ["-t", topic]
        lines = Lines(["stdbuf", "-oL", *command])
        granted = lines.until(lambda line: line.startswith("Subscribed") and line)
        return lines, granted.partition("): ")[2]


class Counting(Lines):
    """Adds up what a statistics sensor counts."""

    def __init__(self, command):
        super().__init__(command)
        self.messages = self.payload_bytes = 0
        self.topics = self.topics_of_all_scans = 0  # the most of one scan; the sum

    def scan(self):
        report = self.until(_report)
        values = {channel["id"]: channel["value"] for channel in report["channels"]}
        self.messages += values.get(0, 0)
        self.payload_bytes += values.get(1, 0)
        self.topics = max(self.topics, values.get(2, 0))
        self.topics_of_all_scans += values.get(2, 0)
        return report

    def until_bytes(self, wanted):
        """Scans until that many bytes have come; (messages, bytes) of all scans so far."""
        processes.eventually(lambda: self.scan() and self.payload_bytes >= wanted,
                             f"arrival of {wanted} bytes, but {self.payload_bytes}")
        return self.messages, self.payload_bytes


class Several(Lines):
    """Sensors by number, each with the messages and bytes it has counted so far."""

    def __init__(self, command):
        super().__init__(command)
        self.totals = []

    def create(self, topic):
        self.tell(f"create {topic}")
        made = self.until(lambda line: line.endswith("created") and line) == "created"
        self.totals.append([0, 0])
        return made

    def scan(self):
        self.tell("scan")
        scanned = self.until(lambda line: line.startswith("[") and json.loads(line))
        for index, counted in enumerate(scanned):
            for channel, value in enumerate(counted or [0, 0]):
                self.totals[index][channel] += value
        return self.totals
