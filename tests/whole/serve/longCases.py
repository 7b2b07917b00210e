"""For the long mode."""
from bench import Live, Server, STREAMING

FRAMES = 18000  # ten minutes


def memoryOf(server):
    """Kilobytes of the process."""
    with open(f"/proc/{server.process.pid}/status") as lines:
        return int(next(line for line in lines if line.startswith("VmRSS")).split()[1])


def caseMemoryStaysAsItIs():
    server = Server(*STREAMING)
    with Live(server, "one") as one, Live(server, "two") as two:
        for live in (one, two):
            live.wish({"frames": True})
        first, _ = one.untilPicture(lambda header: header["number"] > 600)
        before = memoryOf(server)
        while True:
            header, _ = one.untilPicture()
            two.untilPicture()
            if header["number"] % 300 < 3:
                server.send("GET", "/api/v1/analysis")
            if header["number"] > first["number"] + FRAMES:
                break
        after = memoryOf(server)
    assert after < before + 16384, (before, after)
