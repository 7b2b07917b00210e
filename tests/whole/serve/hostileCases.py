"""Clients that mean harm, or do not behave: refused, and nobody else notices."""
import json

import bench
from bench import Live, Raw, Server, STREAMING, statusOf

COUNTING = "counting.csv"


def head(server, method="GET", path="/api/v1/state", **fields):
    given = {"Host": server.host, "Authorization": f"Bearer {server.token}", "X-Kvexa-Client": "raw", **fields}
    lines = [f"{name.replace('_', '-')}: {value}" for name, value in given.items() if value is not None]
    return f"{method} {path} HTTP/1.1\r\n" + "\r\n".join(lines) + "\r\n\r\n"


def isAlive(server):
    return server.send("GET", "/api/v1/state").status == 200


def caseOtherHostsAreMisdirected():
    server = Server("--simulate")
    port = server.port
    for host in ("example.org", f"example.org:{port}", "127.0.0.1", f"127.0.0.1:{port + 1}", f"127.0.0.1.example.org:{port}",
                 f"localhost.example.org:{port}", f"127.0.0.2:{port}", f"x127.0.0.1:{port}", f"127.0.0.1:{port}x", "", ":" + str(port)):
        for path in ("/", "/api/v1/state", "/metrics", "/nothing"):
            answer = server.send("GET", path, host=host or " ")
            assert answer.status == 421, (host, path, answer.status)
    for host in (f"localhost:{port}", f"LOCALHOST:{port}", f"127.0.0.1:{port}"):
        assert server.send("GET", "/", host=host).status == 200, host
    with Raw(server) as raw:
        assert raw.send("GET / HTTP/1.0\r\n\r\n").status() == 421
    with Raw(server) as raw:
        raw.send(f"GET / HTTP/1.1\r\nHost: {server.host}\r\nHost: example.org\r\n\r\n")
        assert raw.firstStatus() == 421


def caseOtherOriginsAreForbidden():
    server = Server("--simulate")
    ours = f"http://{server.host}"
    for origin in ("http://example.org", "null", f"http://127.0.0.1:{server.port + 1}", f"https://{server.host}", ours + ".example.org",
                   f"http://localhost:{server.port}", ours + "/", ""):
        for path in ("/", "/api/v1/state"):
            answer = server.send("GET", path, headers={"Origin": origin})
            assert answer.status == 403, (origin, path, answer.status)
    for site in ("cross-site", "same-site", "nonsense"):
        assert server.send("GET", "/api/v1/state", headers={"Sec-Fetch-Site": site}).status == 403, site
    for site in ("same-origin", "none"):
        assert server.send("GET", "/api/v1/state", headers={"Origin": ours, "Sec-Fetch-Site": site}).status == 200, site
    answer = server.send("POST", "/api/v1/power", {"state": "on"}, headers={"Origin": "http://example.org"})
    assert answer.status == 403 and not server.state()["supplies"]["v1"]["on"]
    assert "Access-Control-Allow-Origin" not in answer.headers
    with Live(server, headers="Origin: http://example.org\r\n") as live:
        assert live.status == 403
    with Live(server, headers=f"Origin: {ours}\r\nSec-Fetch-Site: same-origin\r\n") as live:
        assert live.status == 101


def caseNothingIsToldWithoutTheToken():
    server = Server("--simulate")
    wrong = server.token[:-1] + ("0" if server.token[-1] != "0" else "1")
    for given in (None, "", "Bearer", "Bearer ", f"Bearer {wrong}", f"Bearer {server.token}0", f"Bearer {server.token[:-1]}",
                  f"Basic {server.token}", server.token, f"Bearer {server.token} {server.token}"):
        for method, path in bench.routes():
            answer = server.send(method, path.replace("{id}", "1"), headers={"Authorization": given})
            assert answer.status == 401 and answer.json()["type"] == "no-token", (given, method, path, answer.status)
            assert server.token not in answer.body.decode()
    assert server.send("GET", f"/api/v1/state?token={server.token}", headers={"Authorization": None}).status == 401
    assert server.send("GET", "/api/v1/state", headers={"Authorization": None, "Cookie": f"token={server.token}"}).status == 401
    assert server.send("GET", "/api/v1/nothing", headers={"Authorization": None}).status == 401
    for protocols in ("kvexa.v1", f"kvexa.v1, bearer.{wrong}", f"kvexa.v1, bearer., client.x", f"kvexa.v1, token.{server.token}"):
        with Live(server, protocols=protocols) as live:
            assert live.status == 401, protocols
    first = Server("--simulate").token
    assert first != server.token


def caseBodiesThatAreTooLarge():
    server = Server("--simulate")
    path = "/api/v1/files/registers"
    for length in (1048577, 1 << 32, (1 << 64) - 1):  # refused before a byte of it has come
        with Raw(server) as raw:
            assert raw.send(head(server, "POST", path, Content_Length=length)).firstStatus() == 413, length
    answer = server.send("POST", path, b"x" * 3000000, client="raw")  # sent whole, and the answer arrives all the same
    assert answer.status == 413 and answer.json()["type"] == "body-too-large"
    with Raw(server) as raw:
        raw.send(head(server, "POST", path, Transfer_Encoding="chunked"))
        try:
            for _ in range(40):
                raw.send(b"8000\r\n" + b"x" * 0x8000 + b"\r\n")
        except ConnectionError:
            pass  # it has answered, and does not listen any more
        assert raw.firstStatus() == 413
    with Raw(server) as raw:
        assert raw.send(head(server, "POST", path, Content_Length=1 << 64)).firstStatus() == 400
    with Raw(server) as raw:
        raw.send(head(server, "POST", path, Expect="100-continue", Content_Length=2000000))
        assert raw.firstStatus() == 413
    # The largest that is taken is read whole, and then is no such file.
    answer = server.send("POST", path + "?play=true", b"x" * 1048576, client="raw")
    assert answer.status == 422, (answer.status, answer.body[:300])
    assert isAlive(server)


def caseChunkedBodiesAreTaken():
    server = Server("--simulate")
    with Raw(server) as raw:
        raw.send(head(server, "PUT", "/api/v1/lines", Transfer_Encoding="chunked", Connection="close"))
        for part in (b'{"ou', b't":', b"77}"):
            raw.send(b"%x\r\n%s\r\n" % (len(part), part))
        assert raw.send(b"0\r\n\r\n").status() == 200
    with Raw(server) as raw:
        raw.send(head(server, "PUT", "/api/v1/lines", Expect="100-continue", Content_Length=10, Connection="close"))
        assert raw.firstStatus() == 100
        assert b"HTTP/1.1 200 " in raw.send(b'{"out":77}').rest()
    assert server.state()["lines"]["out"] == 77
    for wrong in (b"zz\r\n{}\r\n0\r\n\r\n", b"ffffffffffffffffff\r\n"):
        with Raw(server) as raw:
            raw.send(head(server, "PUT", "/api/v1/lines", Transfer_Encoding="chunked"))
            assert raw.send(wrong).firstStatus() in (400, 413), wrong
    assert isAlive(server)


def caseHeadersThatAreWrong():
    server = Server("--simulate")
    with Raw(server) as raw:
        assert raw.send(head(server, X_Long="x" * 9000)).firstStatus() == 431
    with Raw(server) as raw:
        assert raw.send("GET /" + "x" * 9000 + " HTTP/1.1\r\n\r\n").firstStatus() == 431
    with Raw(server) as raw:
        assert raw.send(head(server, **{f"X_{i}": "y" for i in range(2000)})).firstStatus() == 431
    for request in ("nonsense\r\n\r\n", "GET\r\n\r\n", "GET / HTTP/9.9\r\n\r\n", "\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03\r\n\r\n",
                    head(server, "POST", "/api/v1/power", Content_Length="3", Transfer_Encoding="chunked"),
                    head(server, "POST", "/api/v1/power", Content_Length="x"),
                    f"GET / HTTP/1.1\r\nHost: {server.host}\r\nA b: c\r\n\r\n"):
        with Raw(server) as raw:
            status = raw.send(request).firstStatus()
            assert status == 400, (request[:40], status)
    for target in (f"http://{server.host}/", "*", "//", f"http://example.org/"):
        with Raw(server) as raw:
            assert raw.send(head(server, path=target)).firstStatus() == 404, target
    assert isAlive(server)


def caseRequestsThatAreTooSlow():
    server = Server("--simulate")
    slow = [Raw(server) for _ in range(3)]
    slow[0].send("GET / HTTP/1.1\r\nHost:")
    slow[1].send(head(server, "PUT", "/api/v1/lines", Content_Length=10) + '{"out"')
    slow[2].send(head(server, "PUT", "/api/v1/lines", Transfer_Encoding="chunked") + "5\r\n{")
    assert [raw.status() for raw in slow] == [408, 408, 408]
    with Raw(server) as raw:  # one that says nothing at all gets no answer
        assert raw.rest() == b""
    assert server.state()["lines"]["out"] == 0


def caseSilentConnectionsKeepNobodyOut():
    server = Server("--simulate")
    silent = [Raw(server) for _ in range(30)]
    for _ in range(20):
        assert isAlive(server)
    assert any(raw.isReadable() for raw in silent)  # the first of them were closed to make room
    for raw in silent:
        raw.socket.close()


def caseConnectionsHaveALimit():
    server = Server("--simulate")
    waiting = [Raw(server).send(head(server, path="/api/v1/frame.raw?wait=25000", Connection="close")) for _ in range(15)]
    with Live(server) as live:
        live.untilKind("state")
        statuses = []
        while 503 not in statuses:  # the others may not have been accepted yet
            statuses.append(server.send("GET", "/api/v1/state").status)
        assert set(statuses) <= {200, 503}
        for raw in waiting:
            raw.socket.close()
    assert server.send("GET", "/api/v1/server").status in (200, 503)
    for raw in waiting:
        raw.socket.close()


def counting():
    """A sensor that draws numbers into its frames, so that a loss is seen."""
    path = bench.work / COUNTING
    path.write_text((bench.ROOT / bench.SENSOR).read_text() + "010C, 01\n")
    return ["--simulate", "--start", "--regs", str(path), "--params", bench.PARAMETERS]


def caseViewersThatNeverReadChangeNothing():
    server = Server(*counting())
    first = server.untilState(lambda state: state["capture"]["frames"] > 10)["capture"]["frames"]
    viewers = []
    for i in range(5):
        live = Live(server, f"deaf{i}")
        live.wish({"frames": True, "quality": 100})
        viewers.append(live.raw)
        stream = Raw(server, small=True)
        viewers.append(stream.send(head(server, path="/api/v1/frames.mjpeg?quality=100")))
    with Live(server, "good") as good:
        good.wish({"frames": True})
        for _ in range(60):
            good.untilPicture()
        state = good.untilState(lambda state: state["capture"]["frames"] > first + 150)
        assert state["capture"]["lost"] == 0 and state["capture"]["failed"] == 0 and state["capture"]["running"]
    # What the system had room for arrives; then the server has gone.
    for raw in viewers:
        raw.rest()
        raw.socket.close()
    assert isAlive(server)


def caseViewersThatGoAwayAreForgotten():
    server = Server(*STREAMING)
    for i in range(40):
        with Live(server, f"short{i}") as live:
            live.wish({"frames": True})
            live.untilPicture()
        with Raw(server) as raw:
            raw.send(head(server, path="/api/v1/frames.mjpeg"))
            raw.socket.recv(1000)
    server.untilState(lambda state: state["capture"]["running"])
    assert isAlive(server)


def caseWebSocketsThatMisbehaveAreClosed():
    server = Server("--simulate")
    for first, payload in ((1, b"x" * 5000), (3, b""), (1, b"\xff\xfe")):
        with Live(server) as live:
            live.untilKind("state")
            live.write(first, payload)
            live.raw.rest()
    with Live(server) as live:
        live.untilKind("state")
        live.write(2, b"binary")
        assert live.untilKind("error")["problem"]["type"] == "bad-json"
    answer = server.send("GET", "/api/v1/live")
    assert answer.status == 426 and answer.headers["Upgrade"] == "websocket"
    assert isAlive(server)


def caseManyRequestsOnOneConnection():
    server = Server("--simulate")
    with Raw(server) as raw:
        for _ in range(50):
            raw.send(head(server))
            received = b""
            while b"\r\n\r\n" not in received:
                received += raw.socket.recv(4096)
            top, _, body = received.partition(b"\r\n\r\n")
            length = int(top.lower().partition(b"content-length: ")[2].split(b"\r\n")[0])
            while len(body) < length:
                body += raw.socket.recv(4096)
            assert statusOf(top) == 200 and json.loads(body)["board"]["connected"]
