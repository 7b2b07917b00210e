"""One client at a time changes things."""
from bench import Live, Server


def caseFirstWriteTakesTheWheel():
    server = Server("--simulate")
    assert server.state("first")["wheel"] == {"held": False, "mine": False, "name": None, "asked": None}
    server.do("PUT", "/api/v1/lines", {"out": 1}, "first")
    assert server.state("first")["wheel"]["mine"] and not server.state("second")["wheel"]["mine"]
    assert server.state("second")["wheel"]["held"]


def caseOthersLookOnly():
    server = Server("--simulate")
    server.do("POST", "/api/v1/wheel", {"action": "take", "name": "bench 1"}, "first")
    before = server.state("second")
    assert before["wheel"]["name"] == "bench 1"
    for method, path, body in (("POST", "power", {"state": "on"}), ("PUT", "supplies", {"v1": True}),
                               ("PUT", "lines", {"out": 5}), ("POST", "capture", {"state": "start"}),
                               ("PUT", "registers", {"target": "board", "address": 66, "values": [1]}),
                               ("PUT", "parameters", {"parameters": {}}), ("POST", "files/registers", "36, 1\n"),
                               ("POST", "files/parameters", "x"), ("DELETE", "recordings/1", None),
                               ("POST", "recordings", {"frames": 1, "to": "zip", "format": "raw"})):
        problem = server.refuses(409, "wheel-held", method, "/api/v1/" + path, body, "second")
        assert "bench 1" in problem["detail"]
    assert server.state("second") == before
    server.refuses(409, "wheel-held", "POST", "/api/v1/wheel", {"action": "take"}, "second")
    server.refuses(409, "wheel-held", "POST", "/api/v1/wheel", {"action": "give"}, "second")
    server.get("/api/v1/registers?target=board&address=8", "second")


def caseWheelIsAskedForAndGiven():
    server = Server("--simulate")
    with Live(server, "first") as first, Live(server, "second") as second:
        server.do("POST", "/api/v1/wheel", {"action": "take", "name": "one"}, "first")
        server.do("POST", "/api/v1/wheel", {"action": "ask", "name": "two"}, "second")
        assert first.untilState(lambda state: state["wheel"]["asked"] == "two")["wheel"]["mine"]
        server.do("POST", "/api/v1/wheel", {"action": "give"}, "first")
        given = second.untilState(lambda state: state["wheel"]["mine"])
        assert given["wheel"] == {"held": True, "mine": True, "name": "two", "asked": None, }
        server.do("POST", "/api/v1/wheel", {"action": "give"}, "second")
        first.untilState(lambda state: not state["wheel"]["held"])
        state = server.do("POST", "/api/v1/wheel", {"action": "ask"}, "first")
        assert state["wheel"]["mine"]


def caseWheelOfASilentHolderIsTaken():
    server = Server("--simulate")
    server.do("POST", "/api/v1/wheel", {"action": "take"}, "first")
    server.refuses(409, "wheel-held", "POST", "/api/v1/wheel", {"action": "take"}, "second")
    # Nothing comes from the first one any more, so it is a matter of time.
    while server.send("POST", "/api/v1/wheel", {"action": "take"}, "second").status != 200:
        server.send("GET", "/api/v1/frame.raw?wait=500", client="second")
    assert server.state("second")["wheel"]["mine"]
    server.refuses(409, "wheel-held", "PUT", "/api/v1/lines", {"out": 1}, "first")


def caseHolderWithAWebSocketIsNotSilent():
    server = Server("--simulate")
    with Live(server, "first") as first:
        server.do("POST", "/api/v1/wheel", {"action": "take"}, "first")
        for _ in range(24):
            server.send("GET", "/api/v1/frame.raw?wait=500", client="second")
        server.refuses(409, "wheel-held", "POST", "/api/v1/wheel", {"action": "take"}, "second")
        first.wish({"frames": False})


def caseEverythingOffNeedsNoWheel():
    server = Server("--simulate")
    server.do("POST", "/api/v1/power", {"state": "on"}, "first")
    state = server.do("POST", "/api/v1/off", client="second")
    assert not state["supplies"]["v1"]["on"] and state["supplies"]["reset"] and not state["wheel"]["mine"]
