"""A server to ask: started, asked over HTTP and WebSockets, and ended."""
import base64
import http.client
import json
import os
import re
import select
import shutil
import signal
import socket
import struct
import subprocess
import threading
from pathlib import Path

from schema import Contract

ROOT = Path(__file__).resolve().parents[3]
PATIENCE = 120  # seconds until something counts as hanging
SENSOR = "examples/sensor.csv"
PARAMETERS = "examples/capture.dat"
STREAMING = ["--simulate", "--start", "--regs", SENSOR, "--params", PARAMETERS]

work = None
tool = None
servers = []
description = None


def prepare(build):
    global work, tool, description
    work = build / "serve-test"
    tool = os.environ.get("KVEXA_TOOL") or str(build / "dist/bin/kvexa.exe")
    shutil.rmtree(work, ignore_errors=True)
    work.mkdir(parents=True)
    description = Contract(json.loads((ROOT / "cli/serve/openapi.json").read_text()))


def contract():
    return description


def routes():
    """Method and path of every operation that the server has."""
    lines = (ROOT / "cli/serve/api/routes.inc").read_text()
    return set(re.findall(r'^KVEXA_ROUTE\("(\w+)", "([^"]+)"', lines, re.MULTILINE))


class Answer:
    def __init__(self, status, headers, body):
        self.status, self.headers, self.body = status, headers, body

    def json(self):
        return json.loads(self.body)


class Server:
    def __init__(self, *options):
        self.process = subprocess.Popen(["wine", tool, "serve", *options], cwd=ROOT, stdin=subprocess.DEVNULL,
                                        stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        servers.append(self)
        watch = threading.Timer(PATIENCE, self.process.kill)
        watch.start()
        line = self.process.stdout.readline().decode().strip()
        watch.cancel()
        self.said = line
        if line.startswith("{"):
            line = json.loads(line)["url"]
        found = re.fullmatch(r"http://127\.0\.0\.1:(\d+)/#token=([0-9a-f]{32})", line)
        assert found, f"{line!r} {self.process.stderr.read()!r}"
        self.port, self.token = int(found[1]), found[2]
        self.host = f"127.0.0.1:{self.port}"

    def send(self, method, path, body=None, client="tester", headers=None, host=None):
        """One request as it is, and its answer."""
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=PATIENCE)
        sent = {"Host": host or self.host, "Authorization": f"Bearer {self.token}", "X-Kvexa-Client": client}
        sent.update(headers or {})
        if isinstance(body, (dict, list)):
            body = json.dumps(body)
        connection.request(method, path, body, {name: value for name, value in sent.items() if value is not None})
        answer = connection.getresponse()
        result = Answer(answer.status, answer.headers, answer.read())
        connection.close()
        return result

    def ask(self, method, path, body=None, client="tester"):
        """The same, held against the description."""
        answer = self.send(method, path, body, client)
        contract().checkAnswer(method, path.partition("?")[0], body if isinstance(body, (dict, list)) else None if body is None
                               else body, answer)
        return answer

    def get(self, path, client="tester"):
        answer = self.ask("GET", path, client=client)
        assert answer.status == 200, (path, answer.status, answer.body[:500])
        return answer.json()

    def do(self, method, path, body=None, client="tester"):
        answer = self.ask(method, path, body, client)
        assert answer.status in (200, 201), (method, path, answer.status, answer.body[:500])
        return answer.json()

    def refuses(self, status, kind, method, path, body=None, client="tester"):
        answer = self.ask(method, path, body, client)
        problem = answer.json()
        assert (answer.status, problem["type"]) == (status, kind), (method, path, body, problem)
        assert problem["status"] == status
        return problem

    def state(self, client="tester"):
        return self.get("/api/v1/state", client)

    def frame(self, kind, after=0):
        answer = self.ask("GET", f"/api/v1/frame.{kind}?after={after}&wait=25000")
        assert answer.status == 200, (answer.status, answer.body[:300])
        return answer

    def untilState(self, condition, client="watcher"):
        """Follows the state as it changes, until the condition holds."""
        with Live(self, client) as live:
            return live.untilState(condition)

    def interrupt(self):
        """Ctrl-C; gives back the exit code."""
        self.process.send_signal(signal.SIGINT)
        return self.process.wait(PATIENCE)

    def kill(self):
        self.process.kill()
        self.process.wait(PATIENCE)

    def end(self):
        if self.process.poll() is None:
            self.kill()
        self.process.stdout.close()
        self.process.stderr.close()


def endServers():
    while servers:
        servers.pop().end()


class Raw:
    """A connection of which every byte is the caller's."""

    def __init__(self, server, small=False):
        self.socket = socket.socket(socket.AF_INET, socket.SOCK_STREAM)
        if small:
            self.socket.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
        self.socket.settimeout(PATIENCE)
        self.socket.connect(("127.0.0.1", server.port))

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.socket.close()

    def send(self, text):
        self.socket.sendall(text.encode() if isinstance(text, str) else text)
        return self

    def isReadable(self):
        return bool(select.select([self.socket], [], [], 0)[0])

    def rest(self):
        """Everything up to the end of the connection."""
        parts = []
        while True:
            try:
                part = self.socket.recv(1 << 16)
            except ConnectionError:
                break
            if not part:
                break
            parts.append(part)
        return b"".join(parts)

    def status(self):
        return statusOf(self.rest())

    def firstStatus(self):
        """Of an answer after which the connection may stay open."""
        received = b""
        while b"\r\n" not in received:
            part = self.socket.recv(4096)
            if not part:
                break
            received += part
        return statusOf(received)


def statusOf(received):
    return int(received.split(b" ", 2)[1]) if received.startswith(b"HTTP/1.1 ") else None


class Live:
    """A WebSocket."""

    def __init__(self, server, client="viewer", token=None, protocols=None, headers=""):
        self.raw = Raw(server)
        key = base64.b64encode(os.urandom(16)).decode()
        protocols = protocols or f"kvexa.v1, bearer.{token or server.token}, client.{client}"
        self.raw.send(f"GET /api/v1/live HTTP/1.1\r\nHost: {server.host}\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
                      f"Sec-WebSocket-Key: {key}\r\nSec-WebSocket-Version: 13\r\n"
                      f"Sec-WebSocket-Protocol: {protocols}\r\n{headers}\r\n")
        self.buffer = b""
        head = b""
        while b"\r\n\r\n" not in head:
            part = self.raw.socket.recv(1)
            assert part, head
            head += part
        self.head = head.decode()
        self.status = statusOf(head)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.raw.socket.close()

    def take(self, count):
        while len(self.buffer) < count:
            part = self.raw.socket.recv(1 << 16)
            assert part, "the server has closed the WebSocket"
            self.buffer += part
        taken, self.buffer = self.buffer[:count], self.buffer[count:]
        return taken

    def write(self, opcode, payload):
        mask = os.urandom(4)
        length = struct.pack("!B", 0x80 | len(payload)) if len(payload) < 126 else struct.pack("!BH", 0xFE, len(payload))
        self.raw.send(bytes([0x80 | opcode]) + length + mask +
                      bytes(byte ^ mask[i % 4] for i, byte in enumerate(payload)))

    def wish(self, wishes):
        self.write(1, (wishes if isinstance(wishes, str) else json.dumps(wishes)).encode())

    def next(self):
        """The next message: an event, or header and JPEG file of a picture."""
        while True:
            first, second = self.take(2)
            length = second & 0x7F
            if length == 126:
                length = struct.unpack("!H", self.take(2))[0]
            elif length == 127:
                length = struct.unpack("!Q", self.take(8))[0]
            payload = self.take(length)
            opcode = first & 0xF
            if opcode == 9:
                self.write(10, payload)
            elif opcode == 1:
                event = json.loads(payload)
                contract().checkEvent(event)
                return event
            elif opcode == 2:
                size = struct.unpack("<I", payload[:4])[0]
                return json.loads(payload[4:4 + size]), payload[4 + size:]
            else:
                raise AssertionError(f"unexpected frame {opcode}")

    def until(self, condition):
        while True:
            message = self.next()
            if condition(message):
                return message

    def untilKind(self, kind):
        return self.until(lambda message: isinstance(message, dict) and message["kind"] == kind)

    def untilPicture(self, condition=lambda header: True):
        return self.until(lambda message: isinstance(message, tuple) and condition(message[0]))

    def untilState(self, condition):
        return self.until(lambda message: isinstance(message, dict) and message["kind"] == "state" and
                          condition(message))
