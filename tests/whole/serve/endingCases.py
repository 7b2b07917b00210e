"""However the server ends, the module has no power where the server could act, and the next start works."""
import os
import re
import signal

import bench
from bench import Live, Server, STREAMING


def traced(name, *options):
    path = bench.work / name
    path.unlink(missing_ok=True)
    return Server(*STREAMING, "--trace", str(path), *options), path


def isPoweredDown(path):
    """Whether the last thing that was written to the switches of the board is that all are off: what the server
    itself says before it powers the module down, done by the library alone, is the same."""
    lines = path.read_text().splitlines()
    assert lines[-1] == "usb0 close", lines[-1]
    return lines


def offSequence():
    """The requests by which the tool powers a module down."""
    path = bench.work / "off.txt"
    path.unlink(missing_ok=True)
    import subprocess
    subprocess.run(["wine", bench.tool, "power", "off", "--simulate", "--trace", str(path), "--quiet"], cwd=bench.ROOT,
                   check=True, stdout=subprocess.DEVNULL)
    return [line for line in path.read_text().splitlines() if " pipe3 out " in line]


def caseCtrlCLeavesTheModuleWithoutPower():
    server, path = traced("ctrl-c.txt")
    with Live(server) as live:
        live.wish({"frames": True})
        live.untilPicture()
        assert server.interrupt() == 0
    lines = isPoweredDown(path)
    wanted = offSequence()
    sent = [line for line in lines if " pipe3 out " in line]
    assert len(wanted) >= 4 and sent[-len(wanted):] == wanted


def caseRecordingIsWholeAfterCtrlC():
    folder = bench.work / "interrupted"
    server = Server(*STREAMING, "--out", str(folder))
    server.do("POST", "/api/v1/recordings", {"frames": 100000, "to": "folder", "format": "raw"})
    server.untilState(lambda state: state["capture"]["recording"]["done"] >= 3)
    assert server.interrupt() == 0
    [made] = folder.iterdir()
    assert not made.name.endswith(".part")
    sizes = {path.stat().st_size for path in made.iterdir()}
    assert sizes == {1280 * 960}


def caseKilledServerLeavesThePort():
    server = Server(*STREAMING)
    with Live(server) as live:
        live.wish({"frames": True})
        live.untilPicture()
        server.kill()
    again = Server(*STREAMING, "--port", str(server.port))
    assert again.port == server.port and again.token != server.token
    again.frame("jpg")


def casePortBelongsToOneServer():
    server = Server("--simulate")
    import subprocess
    second = subprocess.run(["wine", bench.tool, "serve", "--simulate", "--port", str(server.port)], cwd=bench.ROOT,
                            capture_output=True, timeout=bench.PATIENCE, check=False)
    assert second.returncode == 2 and f"port {server.port}".encode() in second.stderr and not second.stdout
    assert server.state()["board"]["connected"]


def caseOtherAddressesAreWarnedOf():
    server = Server("--simulate", "--listen", "0.0.0.0")
    for host, status in ((f"192.168.7.9:{server.port}", 200), (f"[fe80::1]:{server.port}", 200),
                         (f"example.org:{server.port}", 421), ("192.168.7.9:1", 421)):
        assert server.send("GET", "/", host=host).status == status, host
    assert server.send("GET", "/api/v1/state", headers={"Authorization": None}).status == 401
    server.interrupt()
    warning = server.process.stderr.read().decode()
    assert "warning" in warning and "other computers" in warning and warning.count("\n") == 1


def caseWrongOptionsAreTold():
    import subprocess
    for options, code, text in ((["--listen", "here"], 2, "is no address"), (["--regs", "nowhere.csv"], 6, "nowhere.csv"),
                                (["--params", bench.SENSOR], 6, "sensor.csv"), (["--port", "65536"], 2, "port"),
                                (["--regs", bench.PARAMETERS], 6, "capture.dat")):
        done = subprocess.run(["wine", bench.tool, "serve", "--simulate", *options], cwd=bench.ROOT, capture_output=True,
                              timeout=bench.PATIENCE, check=False)
        assert done.returncode == code and text in done.stderr.decode(), (options, done.returncode, done.stderr)
        assert not done.stdout


def caseNoTokenIsInTheOutputTwice():
    server = Server("--simulate")
    for path in ("/api/v1/state", "/api/v1/server", "/metrics", "/api/v1/trace", "/", "/api/v1/openapi.json"):
        assert server.token.encode() not in server.send("GET", path).body, path
