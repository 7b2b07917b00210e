"""Requests that are wrong: refused with their place, and nothing of them is done."""
import bench
from bench import Server

STATE = "/api/v1/state"


def refusals(server, table):
    before = server.state(), server.get("/api/v1/parameters")
    for method, path, body, kind, field in table:
        status = 400 if kind in ("bad-json", "too-deep", "bad-query") else 422
        problem = server.refuses(status, kind, method, path, body)
        assert field is None or problem["field"] == field, (path, body, problem)
    after = server.state(), server.get("/api/v1/parameters")
    assert before == after


def caseWrongBodiesAreRefused():
    server = Server("--simulate", "--regs", bench.SENSOR, "--params", bench.PARAMETERS)
    server.do("PUT", "/api/v1/lines", {"out": 1})
    table = []
    for method, path, good in (
            ("POST", "power", {"state": "on"}), ("PUT", "supplies", {"v1": True}), ("PUT", "lines", {"out": 2}),
            ("PUT", "registers", {"target": "sensor", "address": 1, "values": [1]}),
            ("PUT", "parameters", {"parameters": {"HCNT": 8}, "apply": True}), ("POST", "capture", {"state": "start"}),
            ("POST", "recordings", {"frames": 1, "to": "zip", "format": "raw"}),
            ("POST", "wheel", {"action": "give"})):
        path = "/api/v1/" + path
        table += [(method, path, text, "bad-json", "body") for text in ("", "{", "nonsense", '{"a":1', '{"a":"\xff"}', "{} {}")]
        table += [(method, path, text, "bad-value", "body") for text in ("[]", "1", "null", '"on"', "true")]
        table += [(method, path, {**good, "surprise": 1}, "unknown-field", "surprise")]
        table += [(method, path, "[" * 17 + "]" * 17, "too-deep", None)]
        table += [(method, path + "?extra=1", good, "unknown-field", "extra")]
        if path != "/api/v1/supplies":
            table += [(method, path, {}, "missing", None)]
    refusals(server, table)


def caseWrongMembersAreRefused():
    server = Server("--simulate")
    server.do("PUT", "/api/v1/lines", {"out": 1})
    registers, parameters = "/api/v1/registers", "/api/v1/parameters"
    good = {"target": "sensor", "address": 1, "values": [1]}
    recording = {"frames": 1, "to": "zip", "format": "raw"}
    table = [
        ("POST", "/api/v1/power", {"state": "maybe"}, "bad-value", "state"),
        ("POST", "/api/v1/power", {"state": True}, "bad-value", "state"),
        ("PUT", "/api/v1/supplies", {"v1": 1}, "bad-value", "v1"),
        ("PUT", "/api/v1/supplies", {"v1": True, "reset": "no"}, "bad-value", "reset"),
        ("PUT", "/api/v1/lines", {"out": 65536}, "bad-value", "out"),
        ("PUT", "/api/v1/lines", {"out": -1}, "bad-value", "out"),
        ("PUT", "/api/v1/lines", {"out": 1.5}, "bad-value", "out"),
        ("PUT", "/api/v1/lines", {"out": "1"}, "bad-value", "out"),
        ("PUT", registers, {**good, "target": "moon"}, "bad-value", "target"),
        ("PUT", registers, {**good, "mode": "8/8"}, "bad-value", "mode"),
        ("PUT", registers, {**good, "address": 65536}, "bad-value", "address"),
        ("PUT", registers, {**good, "address": 65535, "values": [1, 2]}, "bad-value", "values"),
        ("PUT", registers, {**good, "values": []}, "bad-value", "values"),
        ("PUT", registers, {**good, "values": [1, 256]}, "bad-value", "values/1"),
        ("PUT", registers, {**good, "values": [1, "2"]}, "bad-value", "values/1"),
        ("PUT", registers, {**good, "values": [1] * 4097}, "bad-value", "values"),
        ("PUT", registers, {**good, "slave": 128}, "bad-value", "slave"),
        ("PUT", registers, {**good, "target": "board", "values": [65536]}, "bad-value", "values/0"),
        ("PUT", parameters, {"parameters": {"HCNT": 8, "WIDTH": 8}, "apply": True}, "unknown-field", "parameters/WIDTH"),
        ("PUT", parameters, {"parameters": {"HCNT": 65536}, "apply": True}, "bad-value", "parameters/HCNT"),
        ("PUT", parameters, {"parameters": [], "apply": True}, "bad-value", "parameters"),
        ("PUT", parameters, {"parameters": {}, "apply": 1}, "bad-value", "apply"),
        ("POST", "/api/v1/capture", {"state": "on"}, "bad-value", "state"),
        ("POST", "/api/v1/recordings", {**recording, "frames": 0}, "bad-value", "frames"),
        ("POST", "/api/v1/recordings", {**recording, "frames": 100001}, "bad-value", "frames"),
        ("POST", "/api/v1/recordings", {**recording, "to": "C:\\"}, "bad-value", "to"),
        ("POST", "/api/v1/recordings", {**recording, "format": "png"}, "bad-value", "format"),
        ("POST", "/api/v1/wheel", {"action": "steal"}, "bad-value", "action"),
        ("POST", "/api/v1/wheel", {"action": "take", "name": "x" * 65}, "bad-value", "name"),
        ("POST", "/api/v1/files/registers?play=yes", b"36, 1\n", "bad-value", "play"),
        ("POST", "/api/v1/files/registers?play=true", b"no such file\n", "bad-file", None),
        ("POST", "/api/v1/files/parameters?apply=maybe", b"", "bad-value", "apply"),
        ("POST", "/api/v1/files/parameters?apply=true", b"\x00\x01", "bad-file", None),
    ]
    refusals(server, table)


def caseWrongQueriesAreRefused():
    server = Server("--simulate")
    server.do("PUT", "/api/v1/lines", {"out": 1})
    table = [("GET", "/api/v1/" + path, None, kind, field) for path, kind, field in (
        ("state?x=1", "unknown-field", "x"),
        ("registers", "missing", "target"),
        ("registers?target=sensor", "missing", "address"),
        ("registers?target=sensor&address=0x100", "bad-value", "address"),
        ("registers?target=sensor&address=70000", "bad-value", "address"),
        ("registers?target=sensor&address=1&address=2", "bad-value", "address"),
        ("registers?target=sensor&address=1&count=0", "bad-value", "count"),
        ("registers?target=sensor&address=65000&count=4096", "bad-value", "count"),
        ("frame.jpg?after=-1", "bad-value", "after"),
        ("frame.jpg?after=1%", "bad-query", None),
        ("frame.jpg?wait=25001", "bad-value", "wait"),
        ("frame.jpg?quality=101", "bad-value", "quality"),
        ("frame.raw?quality=50", "unknown-field", "quality"),
        ("frame.bmp?download=2", "bad-value", "download"),
        ("trace?after=99999999999999999999", "bad-value", "after"),
        ("analysis?x=a", "bad-value", "x"))]
    refusals(server, table)


def casePathsAndMethodsThatAreNotThere():
    server = Server("--simulate")
    for path in ("/api/v1/nothing", "/api/v1/", "/api/v2/state", "/api/v1/state/", "/api/v1/recordings/x",
                 "/api/v1/recordings/", "/api/v1/recordings/..", "/api/v1/recordings/1.zip.zip", "/metrics/"):
        assert server.send("GET", path).status == 404, path
    for path, method, allowed in (("/api/v1/state", "POST", "GET"), ("/api/v1/power", "GET", "POST"),
                                  ("/api/v1/registers", "DELETE", "GET, PUT"), ("/metrics", "PUT", "GET"),
                                  ("/api/v1/recordings/1", "POST", "GET, DELETE"), ("/", "POST", "GET"),
                                  ("/api/v1/state", "BREW", "GET"), ("/api/v1/state", "OPTIONS", "GET"),
                                  ("/api/v1/state", "HEAD", "GET")):
        answer = server.send(method, path)
        assert (answer.status, answer.headers["Allow"]) == (405, allowed), (method, path, answer.status)


def caseClientsThatWriteSayWhoTheyAre():
    server = Server("--simulate")
    answer = server.send("PUT", "/api/v1/lines", {"out": 1}, client=None)
    assert (answer.status, answer.json()["type"]) == (400, "no-client")
    for name in ("two words", "x" * 65, "a/b", "\xe9"):
        answer = server.send("PUT", "/api/v1/lines", {"out": 1}, client=name)
        assert (answer.status, answer.json()["type"]) == (400, "bad-client"), name
    assert server.send("GET", STATE, client=None).status == 200
