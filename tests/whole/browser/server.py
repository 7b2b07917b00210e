"""`kvexa serve` under Wine with simulated boards, and a client of its interface."""
import json
import os
import select
import signal
import struct
import subprocess
import time
import urllib.error
import urllib.request
from pathlib import Path

ROOT = Path(__file__).resolve().parents[3]
EXECUTABLE = ROOT / "build/dist/bin/kvexa.exe"
SENSOR = (ROOT / "examples/sensor.csv").read_bytes()
PARAMETERS = (ROOT / "examples/capture.dat").read_bytes()
LIMIT = 60  # seconds until something counts as hanging

QUARTERS = [(230, 10, 10), (10, 230, 10), (10, 10, 230), (240, 240, 240)]  # left to right, top to bottom


def windowsPath(path):
    return "Z:" + str(Path(path).resolve()).replace("/", "\\")


def writeQuarters(path, width=1280, height=960):
    """A bitmap of four colours."""
    rows = []
    for left, right in (QUARTERS[2:], QUARTERS[:2]):  # bitmaps begin with the lowest row
        row = bytes(reversed(left)) * (width // 2) + bytes(reversed(right)) * (width // 2)
        rows.append(row * (height // 2))
    content = b"".join(rows)
    head = struct.pack("<2sIHHI", b"BM", 54 + len(content), 0, 0, 54)
    Path(path).write_bytes(head + struct.pack("<IiiHHIIiiII", 40, width, height, 1, 24, 0, len(content), 2835, 2835, 0, 0) + content)


class Refused(Exception):
    def __init__(self, status, problem):
        super().__init__(f"{status} {problem}")
        self.status = status
        self.problem = problem


class Server:
    """A server on a port of its own, until stop."""

    def __init__(self, folder, description='[[board]]\ntype = "usb"\n', options=()):
        self.folder = Path(folder)
        self.folder.mkdir(parents=True, exist_ok=True)
        self.out = self.folder / "out"
        self.out.mkdir(exist_ok=True)
        (self.folder / "boards.toml").write_text('time = "real"\n' + description)
        self._errors = open(self.folder / "serve.err", "wb")
        arguments = ["wine", str(EXECUTABLE), "serve", "--boards", windowsPath(self.folder / "boards.toml"), "--port", "0", "--out",
                     windowsPath(self.out), *options]
        self._process = subprocess.Popen(arguments, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=self._errors)
        self.url = self._readUrl()
        self.address, self.token = self.url.split("/#token=")

    def _readUrl(self):
        """The line that the server prints once it listens."""
        end = time.monotonic() + LIMIT
        text = b""
        descriptor = self._process.stdout.fileno()
        while b"\n" not in text:
            if not select.select([descriptor], [], [], max(0, end - time.monotonic()))[0]:
                self.kill()
                raise TimeoutError("the server printed no address")
            some = os.read(descriptor, 4096)
            if not some:
                raise ChildProcessError(f"the server ended: {(self.folder / 'serve.err').read_text(errors='replace')}")
            text += some
        line = next(line for line in text.decode().split("\n") if "#token=" in line)
        return line[line.index("http"):].strip()

    def open(self, method, path, body=None, client="tester", kind="application/json", headers=()):
        """A request as it is; the answer is closed by the caller."""
        if body is not None and not isinstance(body, bytes):
            body = json.dumps(body).encode()
        request = urllib.request.Request(f"{self.address}/api/v1/{path}", data=body, method=method)
        request.add_header("Authorization", f"Bearer {self.token}")
        request.add_header("X-Kvexa-Client", client)
        if body is not None:
            request.add_header("Content-Type", kind)
        for name, value in headers:
            request.add_header(name, value)
        try:
            return urllib.request.urlopen(request, timeout=LIMIT)
        except urllib.error.HTTPError as error:
            with error:
                text = error.read()
            raise Refused(error.code, json.loads(text) if text else None) from None

    def call(self, method, path, body=None, **more):
        with self.open(method, path, body, **more) as answer:
            text = answer.read()
        return json.loads(text) if text else None

    def state(self):
        return self.call("GET", "state")

    def frame(self, ending, query=""):
        """Headers and bytes of the newest frame."""
        with self.open("GET", f"frame.{ending}?{query}") as answer:
            return answer.headers, answer.read()

    def register(self, address, count=1):
        answer = self.call("GET", f"registers?target=sensor&slave={0x36}&mode=7/16&address={address}&count={count}")
        return [register["value"] for register in answer["registers"]]

    def setUp(self, sensor=SENSOR, parameters=PARAMETERS, running=True):
        """Powers up, plays the sensor's registers, sets the capture up, and leaves the wheel to others."""
        self.call("POST", "power", {"state": "on"})
        self.call("POST", "files/registers?play=true", sensor, kind="text/plain")
        self.call("POST", "files/parameters?apply=true", parameters, kind="text/plain")
        if running:
            self.call("POST", "capture", {"state": "start"})
        self.giveWheel()

    def giveWheel(self):
        self.call("POST", "wheel", {"action": "give", "name": "tester"})

    def until(self, condition, limit=LIMIT):
        """Asks for the state until it is as wanted."""
        end = time.monotonic() + limit
        while True:
            state = self.state()
            if condition(state):
                return state
            if time.monotonic() > end:
                raise TimeoutError(f"the state stayed {json.dumps(state)}")

    def isRunning(self):
        return self._process.poll() is None

    def stop(self):
        """Ctrl-C, which Wine makes of the signal; the exit code."""
        if self.isRunning():
            self._process.send_signal(signal.SIGINT)
        try:
            return self._process.wait(LIMIT)
        finally:
            self.kill()

    def kill(self):
        """Ends it at once, as a crash would."""
        if self.isRunning():
            self._process.kill()
            self._process.wait(LIMIT)
        if not self._process.stdout.closed:
            self._process.stdout.close()
            self._errors.close()
