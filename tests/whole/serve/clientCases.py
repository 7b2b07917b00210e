"""The example programs."""
import os
import subprocess
import sys

import bench
from bench import Server, STREAMING

EXAMPLE = bench.ROOT / "examples/programs/serve_client.py"


def run(*arguments, environment=None):
    return subprocess.run([sys.executable, "-B", str(EXAMPLE), *arguments], capture_output=True, text=True, timeout=bench.PATIENCE,
                          check=False, env=environment)


def url(server):
    return f"http://{server.host}/#token={server.token}"


def exampleWorks(environment=None):
    server = Server("--simulate", "--regs", bench.SENSOR, "--params", bench.PARAMETERS)
    for ending, mark in (("jpg", b"\xff\xd8"), ("bmp", b"BM")):
        picture = bench.work / f"example.{ending}"
        done = run(url(server), str(picture), environment=environment)
        assert done.returncode == 0, done.stderr
        assert "register 0x3000 is now 7" in done.stdout and "1280 x 960, mean " in done.stdout
        assert picture.read_bytes()[:2] == mark
    raw = server.frame("raw").body
    assert f"mean {sum(raw) / len(raw):.2f}" in done.stdout
    assert not server.state()["wheel"]["held"]


def caseExampleInPythonWorks():
    exampleWorks()


def caseExampleInPythonWorksWithoutNumPy():
    blocked = bench.work / "blocked"
    blocked.mkdir(exist_ok=True)
    (blocked / "numpy.py").write_text("raise ImportError('not here')\n")
    exampleWorks({**os.environ, "PYTHONPATH": str(blocked)})


def caseExampleTellsWhatIsRefused():
    server = Server(*STREAMING)
    server.do("POST", "/api/v1/wheel", {"action": "take", "name": "somebody"})
    done = run(url(server))
    assert done.returncode == 1 and "somebody holds the wheel" in done.stderr and "Traceback" not in done.stderr
    done = run(url(server)[:-1] + "x")
    assert done.returncode == 1 and "token" in done.stderr and "Traceback" not in done.stderr
    done = run(f"http://{server.host}/")
    assert done.returncode == 1 and "no token" in done.stderr


def caseExampleInCSharpWorks():
    program = bench.work / "ServeClient.exe"
    subprocess.run(["mcs", "-langversion:5", "-warnaserror", f"-out:{program}", str(EXAMPLE.parent / "ServeClient.cs")], check=True)
    server = Server("--simulate", "--regs", bench.SENSOR, "--params", bench.PARAMETERS)
    picture = bench.work / "csharp.jpg"
    done = subprocess.run(["mono", str(program), url(server), str(picture)], capture_output=True, text=True, timeout=bench.PATIENCE,
                          check=False)
    assert done.returncode == 0, done.stderr
    assert '"value":7' in done.stdout and "1280 x 960" in done.stdout and picture.read_bytes()[:2] == b"\xff\xd8"
    server.do("POST", "/api/v1/wheel", {"action": "take"})
    done = subprocess.run(["mono", str(program), url(server), str(picture)], capture_output=True, text=True, timeout=bench.PATIENCE,
                          check=False)
    assert done.returncode == 1 and "wheel-held" in done.stderr
