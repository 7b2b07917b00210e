"""Boards that are pulled out, come back, refuse, or are of the other type."""
import bench
from bench import Live, Server


def described(name, text):
    path = bench.work / name
    path.write_text(text)
    return str(path)


def served(name, text, *options):
    return Server("--boards", described(name, text), "--regs", bench.SENSOR, "--params", bench.PARAMETERS, *options)


UNPLUGGED = """
[[board]]
type = "{type}"
[[board.event]]
at = 6.0
do = "unplug"
[[board.event]]
at = 9.0
do = "plug"
"""


def pulledOut(kind, name, *options):
    server = served(name, UNPLUGGED.format(type=kind), "--start", *options)
    with Live(server) as live:
        live.wish({"frames": True})
        live.untilPicture()
        state = live.untilState(lambda state: not state["board"]["connected"])
        assert not state["capture"]["running"] and state["supplies"] is None and state["error"]["type"] == "no-board"
        assert state["error"]["advice"]
        state = live.untilState(lambda state: state["board"]["connected"])
        assert not state["supplies"]["v1"]["on"]
        frames = state["capture"]["frames"]
        assert server.do("POST", "/api/v1/capture", {"state": "start"})["capture"]["running"]
        live.untilPicture(lambda header: header["number"] > frames + 5)
        assert server.state()["error"] is None


def caseUsbBoardIsPulledOutAndComesBack():
    pulledOut("usb", "pulled-usb.toml")


def casePcieBoardIsPulledOutAndComesBack():
    pulledOut("pcie", "pulled-pcie.toml", "--board", "pcie")


def caseBoardThatIsNotThereIsAwaited():
    text = '[[board]]\ntype = "usb"\nplugged = false\n[[board.event]]\nat = 5.0\ndo = "plug"\n'
    server = served("later.toml", text)
    with Live(server) as live:
        state = live.untilKind("state")
        if not state["board"]["connected"]:
            assert state["supplies"] is None and state["error"]["call"] == "kVexaDevOpen"
            for method, path, body in (("POST", "power", {"state": "on"}), ("POST", "capture", {"state": "start"}),
                                       ("PUT", "lines", {"out": 1}), ("PUT", "supplies", {"v1": True})):
                answer = server.ask(method, "/api/v1/" + path, body)
                assert answer.status == 503 or server.state()["board"]["connected"], (path, answer.status)
        live.untilState(lambda state: state["board"]["connected"])
    server.do("POST", "/api/v1/capture", {"state": "start"})
    server.frame("jpg")


def casePcieBoardIsServed():
    server = Server("--simulate", "--board", "pcie", "--regs", bench.SENSOR, "--params", bench.PARAMETERS, "--start")
    first = int(server.frame("jpg").headers["X-Frame-Number"])
    server.frame("raw", first + 20)
    written = server.do("PUT", "/api/v1/registers", {"target": "sensor", "address": 0x3000, "values": [1, 2]})
    assert [each["value"] for each in written["registers"]] == [1, 2]
    board = server.do("GET", "/api/v1/registers?target=board&address=0&count=2")
    assert [each["address"] for each in board["registers"]] == [0, 4]
    state = server.state()
    assert state["board"]["firmware"] is None and state["capture"]["running"] and state["error"] is None
    # A value that the board refuses leaves the parameters as they were, and frames come again.
    before = server.get("/api/v1/parameters")
    problem = server.refuses(422, "board-refused", "PUT", "/api/v1/parameters", {"parameters": {"HWEXCHG": 3}, "apply": True})
    assert problem["call"] == "kVexaSetCapParam" and server.get("/api/v1/parameters") == before
    last = server.state()["capture"]["frames"]
    server.frame("raw", last + 5)
    assert not server.do("POST", "/api/v1/off")["capture"]["running"]


def caseRefusalsOfTheBoardAreTold():
    text = '[[board]]\ntype = "usb"\n[[board.event]]\nat = 0.0\ndo = "no-acknowledge"\n'
    server = served("deaf.toml", text)
    server.do("POST", "/api/v1/power", {"state": "on"})
    problem = server.refuses(409, "board-refused", "POST", "/api/v1/files/registers?play=true", "36, 1\n3000, 01\n")
    assert (problem["call"], problem["name"]) == ("kVexaSetI2cFile", "KVEXA_NO_ACKNOWLEDGE") and problem["advice"]
    assert server.state()["board"]["connected"]


def caseSensorThatDoesNotStreamIsTold():
    asleep = bench.work / "asleep.csv"
    asleep.write_text("".join((bench.ROOT / bench.SENSOR).read_text().splitlines(True)[:-1]))
    server = Server("--simulate", "--regs", str(asleep), "--params", bench.PARAMETERS)
    server.refuses(504, "time-limit", "POST", "/api/v1/capture", {"state": "one"})
    server.do("POST", "/api/v1/capture", {"state": "start"})
    state = server.untilState(lambda state: state["capture"]["failed"] >= 2)
    assert state["capture"]["running"] and state["capture"]["frames"] == 0
    # It is set streaming while the capture waits.
    server.do("PUT", "/api/v1/registers", {"target": "sensor", "address": 0x100, "values": [1]})
    server.frame("jpg")


def caseSimulatedTimeBecomesReal():
    text = 'time = "simulated"\n[[board]]\ntype = "usb"\n'
    server = served("simulated.toml", text, "--start")
    with Live(server) as live:
        live.wish({"frames": True})
        header, _ = live.untilPicture(lambda header: header["number"] > 30)
        # In simulated time nothing would hold the frames back; in real time no frame comes before its time, however
        # late it is seen.
        assert header["time"] > 0.9 * header["number"] / 31, header
