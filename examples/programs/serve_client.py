"""Captures a frame through kvexa serve, sets a register, and saves a picture: python serve_client.py URL [picture.jpg]

URL is the line that kvexa serve prints, with the token behind the '#'. For any Python, 64-bit or not, on any computer
that reaches the server; nothing but the standard library is needed. Where NumPy is there, Frame.array() gives arrays.
"""
import array
import http.client
import json
import os
import sys
from urllib.parse import urlencode, urlsplit


class ServerError(Exception):
    """What the server refused, with all that it tells about it."""

    def __init__(self, problem):
        advice = "; " + problem["advice"] if problem.get("advice") else ""
        super().__init__(problem.get("detail", "the server refused the request") + advice)
        self.problem = problem


class Frame:
    def __init__(self, headers, data):
        self.number = int(headers["X-Frame-Number"])
        self.time = float(headers["X-Frame-Time"])  # seconds since the server started
        self.width, self.height = int(headers["X-Frame-Width"]), int(headers["X-Frame-Height"])
        self.format, self.bits = headers["X-Frame-Format"], int(headers["X-Frame-Bits"])
        self.data = data

    def samples(self):
        """All samples of a raw frame in one row."""
        wide = self.format in ("bayer", "grey") and self.bits > 8
        per_pixel = {"yuyv": 2, "rgb565": 2, "rgb555": 2, "bgr24": 3}.get(self.format, 1)
        samples = array.array("H" if wide else "B", self.data[:self.width * self.height * per_pixel * (2 if wide else 1)])
        if wide and sys.byteorder == "big":
            samples.byteswap()
        return samples

    def array(self):
        """Rows of samples, as a NumPy array."""
        import numpy
        samples = self.samples()
        return numpy.frombuffer(samples, numpy.dtype(samples.typecode)).reshape(self.height, -1)


class Server:
    def __init__(self, url, client="python-%d" % os.getpid()):
        parts = urlsplit(url)
        if not parts.fragment.startswith("token="):
            raise ValueError("the URL has no token: take the line that kvexa serve prints")
        self.address = parts.netloc
        self.headers = {"Authorization": "Bearer " + parts.fragment[len("token="):], "X-Kvexa-Client": client}

    def request(self, method, path, body=None, **query):
        connection = http.client.HTTPConnection(self.address, timeout=60)
        try:
            target = "/api/v1/" + path + ("?" + urlencode(query) if query else "")
            connection.request(method, target, None if body is None else json.dumps(body), self.headers)
            answer = connection.getresponse()
            data = answer.read()
        finally:
            connection.close()
        if answer.status >= 400:
            raise ServerError(json.loads(data))
        return answer, data

    def json(self, method, path, body=None, **query):
        return json.loads(self.request(method, path, body, **query)[1])

    def state(self):
        return self.json("GET", "state")

    def start(self):
        """Powers the module up where it is not, and captures."""
        return self.json("POST", "capture", {"state": "start"})

    def everything_off(self):
        return self.json("POST", "off")

    def read_registers(self, address, count=1, target="sensor"):
        answer = self.json("GET", "registers", target=target, address=address, count=count)
        return [each["value"] for each in answer["registers"]]

    def write_registers(self, address, values, target="sensor"):
        """Gives back what reads back."""
        answer = self.json("PUT", "registers", {"target": target, "address": address, "values": list(values)})
        return [each["value"] for each in answer["registers"]]

    def give_wheel(self):
        """Others may change things from now on."""
        return self.json("POST", "wheel", {"action": "give"})

    def frame(self, kind="raw", after=0, wait=10000):
        """The newest frame with a number above `after`, as "raw", "bmp" or "jpg"; None when none comes in time."""
        answer, data = self.request("GET", "frame." + kind, after=after, wait=wait)
        return None if answer.status == 204 else Frame(answer.headers, data)


def main(url, picture="frame.jpg"):
    server = Server(url)
    server.start()
    print("register 0x3000 is now", server.write_registers(0x3000, [7])[0])
    frame = server.frame("raw")
    if frame is None:
        sys.exit("no frame came; does the sensor stream?")
    try:
        rows = frame.array()
        print("frame %d, %d x %d, mean %.2f" % (frame.number, frame.width, frame.height, rows.mean()))
    except ImportError:
        samples = frame.samples()
        print("frame %d, %d x %d, mean %.2f" % (frame.number, frame.width, frame.height, sum(samples) / len(samples)))
    with open(picture, "wb") as file:
        file.write(server.frame(os.path.splitext(picture)[1][1:] or "jpg").data)
    print(picture)
    server.give_wheel()


if __name__ == "__main__":
    if len(sys.argv) not in (2, 3):
        sys.exit("python serve_client.py URL [picture.jpg]")
    try:
        main(*sys.argv[1:])
    except (ServerError, ValueError, OSError) as error:
        sys.exit(str(error))
