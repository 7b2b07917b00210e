"""However the server ends, the module has no power where the server could act, and the next start works."""
import re
import subprocess
import sys

import bench
from bench import Live, Server, STREAMING

sys.path.append(str(bench.ROOT / "tests/whole/tool"))
import documented  # noqa: E402


def traced(name, *options):
    path = bench.work / name
    path.unlink(missing_ok=True)
    return Server(*STREAMING, "--trace", str(path), *options), path


def lastSwitches(path):
    """The last value that was written into a register of the board: that of supplies, clock and reset at the end."""
    lines = path.read_text().splitlines()
    assert lines[-1] == "usb0 close", lines[-1]
    return [line for line in lines if re.search(r" pipe3 out \d+ms \[01 80 01 ", line)][-1]


def caseCtrlCLeavesTheModuleWithoutPower():
    server, path = traced("ctrl-c.txt")
    with Live(server) as live:
        live.wish({"frames": True})
        live.untilPicture()
        assert server.interrupt() == 0
    # kvexa capture powers down as well.
    off = bench.work / "off.txt"
    subprocess.run(["wine", bench.tool, "capture", "--simulate", "--regs", bench.SENSOR, "--params", bench.PARAMETERS, "--out",
                    str(bench.work / "off.raw"), "--trace", str(off), "--quiet"], cwd=bench.ROOT, check=True, stdout=subprocess.DEVNULL)
    assert lastSwitches(path) == lastSwitches(off)


def caseJsonIsAsItIsDocumented():
    server = Server(*STREAMING, "--json")
    server.frame("raw")
    assert server.interrupt() == 0
    said = f"{server.said}\n{server.process.stdout.read().decode()}"
    assert said.count("\n") == 2 and not list(documented.problemsOfLines(said)), said


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
