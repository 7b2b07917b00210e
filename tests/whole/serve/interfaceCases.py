"""Every operation, with answers that are what the board, the frames and the files say."""
import io
import re
import struct
import subprocess
import zipfile
from pathlib import Path

import bench
from bench import Live, Raw, Server, STREAMING

SENSOR_REGISTER = 0x3000  # free for tests: nothing in the simulated sensor looks at it


def streaming(*options):
    server = Server(*STREAMING, *options)
    server.frame("raw")
    return server


def numberOf(frame):
    return int(frame.headers["X-Frame-Number"])


def capturedByTheTool(name):
    """The same scene through kvexa capture."""
    path = bench.work / name
    subprocess.run(["wine", bench.tool, "capture", "--simulate", "--regs", bench.SENSOR, "--params", bench.PARAMETERS,
                    "--out", str(path), "--quiet"], cwd=bench.ROOT, check=True, stdout=subprocess.DEVNULL)
    return path.read_bytes()


def casePageFilesNeedNoToken():
    server = Server("--simulate")
    answer = server.send("GET", "/", headers={"Authorization": None})
    assert answer.status == 200 and answer.headers["Content-Type"].startswith("text/html")
    policy = answer.headers["Content-Security-Policy"]
    assert policy.startswith("default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' blob:; connect-src 'self'")
    assert "unsafe" not in policy and answer.headers["X-Content-Type-Options"] == "nosniff"
    assert answer.headers["Referrer-Policy"] == "no-referrer" and answer.headers["Cache-Control"] == "no-store"
    files = sorted(path.name for path in (bench.ROOT / "cli/serve/page").iterdir())
    assert "index.html" in files
    for name in files:
        answer = server.send("GET", "/" + name, headers={"Authorization": None})
        assert (answer.status, answer.body) == (200, (bench.ROOT / "cli/serve/page" / name).read_bytes()), name
    for path in ("/openapi.json", "/nothing.js", "/../serve/openapi.json", "/%2e%2e/openapi.json", "/page.rc"):
        assert server.send("GET", path).status == 404, path


def caseDescriptionIsServedAndWhole():
    server = Server("--simulate")
    document = server.get("/api/v1/openapi.json")
    assert document == bench.contract().document and document["openapi"].startswith("3.1")
    schemas, names = bench.contract().schemas, set()
    for path, methods in document["paths"].items():
        for method, operation in methods.items():
            assert operation["operationId"] not in names, operation["operationId"]
            names.add(operation["operationId"])
            assert operation["summary"] and operation["responses"]["default"], (method, path)
            parameters = [schemas.resolve(each) for each in operation.get("parameters", [])]
            in_path = {each["name"] for each in parameters if each["in"] == "path"}
            assert in_path == set(re.findall(r"\{(\w+)\}", path)), path
    for reference in re.findall(r'"\$ref": "([^"]+)"', (bench.ROOT / "cli/serve/openapi.json").read_text()):
        schemas.resolve({"$ref": reference})


def caseServerAndBoardsAreTold():
    server = Server("--simulate", "--boards", "2")
    assert server.get("/api/v1/server")["simulated"] is True
    boards = server.get("/api/v1/boards")["boards"]
    assert [(each["type"], each["index"]) for each in boards] == [("usb", 0), ("usb", 1), ("pcie", 0), ("pcie", 1)]
    assert all(each["driver"] == "1.0.0.0" for each in boards)
    state = server.state()
    assert state["board"] == {"type": "usb", "index": 0, "connected": True, "fpga": "0103", "firmware": "1.05",
                              "driver": "1.0.0.0"}
    assert state["capture"]["running"] is False and state["supplies"]["v1"]["on"] is False and state["error"] is None


def caseSwitchesAreSwitched():
    server = Server("--simulate")
    state = server.do("POST", "/api/v1/power", {"state": "on"})
    assert all(state["supplies"][name]["on"] for name in ("v1", "v2", "clock")) and not state["supplies"]["reset"]
    state = server.do("PUT", "/api/v1/supplies", {"v2": False, "reset": True})
    assert state["supplies"]["v1"]["on"] and not state["supplies"]["v2"]["on"] and state["supplies"]["reset"]
    assert server.do("PUT", "/api/v1/supplies", {})["supplies"] == state["supplies"]
    assert server.do("PUT", "/api/v1/lines", {"out": 0x5A})["lines"]["out"] == 0x5A
    state = server.do("POST", "/api/v1/power", {"state": "off"})
    assert not any(state["supplies"][name]["on"] for name in ("v1", "v2", "clock")) and state["supplies"]["reset"]


def caseRegistersAreWrittenAndReadBack():
    server = streaming()
    place = f"/api/v1/registers?target=sensor&address={SENSOR_REGISTER}&count=3"
    wanted = [{"address": SENSOR_REGISTER + i, "value": value} for i, value in enumerate((1, 200, 37))]
    body = {"target": "sensor", "address": SENSOR_REGISTER, "values": [1, 200, 37]}
    assert server.do("PUT", "/api/v1/registers", body)["registers"] == wanted
    assert server.get(place)["registers"] == wanted and server.get(place + "&mode=7/16&slave=54")["slave"] == 54
    assert server.get(place + "&mode=1")["mode"] == "7/16"
    written = server.do("PUT", "/api/v1/registers", {"target": "board", "address": 0x42, "values": [0x1234, 0x5678]})
    assert [each["address"] for each in written["registers"]] == [0x42, 0x44]
    assert server.get("/api/v1/registers?target=board&address=66&count=2") == written
    problem = server.refuses(409, "board-refused", "GET", place + "&slave=17")
    assert (problem["call"], problem["code"], problem["name"]) == ("kVexaRegRead", -57, "KVEXA_NO_ACKNOWLEDGE")
    assert problem["advice"]


def caseRegisterFilesAreExplainedAndPlayed():
    server = Server("--simulate")
    text = f"36, 1\n{SENSOR_REGISTER:04X}, 07, 09\n"
    looked = server.do("POST", "/api/v1/files/registers", text)
    assert looked["played"] is False and looked["lines"][0]["line"] == 2 and "0x3000" in looked["lines"][0]["text"]
    server.do("POST", "/api/v1/power", {"state": "on"})
    place = f"/api/v1/registers?target=sensor&address={SENSOR_REGISTER}&count=2"
    assert [each["value"] for each in server.get(place)["registers"]] == [0, 0]
    assert server.do("POST", "/api/v1/files/registers?play=true", text)["played"] is True
    assert [each["value"] for each in server.get(place)["registers"]] == [7, 9]
    marked = "\ufeff" + text
    remarks = server.do("POST", "/api/v1/files/registers?play=false", marked.encode())["remarks"]
    assert remarks[0]["line"] == 1 and "byte-order mark" in remarks[0]["text"]
    server.refuses(422, "bad-file", "POST", "/api/v1/files/registers?play=true", marked.encode())
    server.refuses(422, "bad-file", "POST", "/api/v1/files/registers", b"")


def caseSimulatedSensorStreamsWithoutFiles():
    server = Server("--simulate", "--start")
    frame = server.frame("raw")
    assert len(frame.body) == 640 * 480 and len(set(frame.body)) > 20


def caseParametersFollow():
    server = Server("--simulate")
    before = server.get("/api/v1/parameters")
    assert before["frame"] == {"width": 640, "height": 480, "bytes": 307200}
    computed = server.do("PUT", "/api/v1/parameters", {"parameters": {"HCNT": 320, "VCNT": 100}, "apply": False})
    assert computed["frame"] == {"width": 320, "height": 100, "bytes": 32256}
    assert server.get("/api/v1/parameters") == before
    applied = server.do("PUT", "/api/v1/parameters", {"parameters": {"VCNT": 240}, "apply": True})
    assert applied["frame"]["height"] == 240 and server.get("/api/v1/parameters") == applied
    text = (bench.ROOT / bench.PARAMETERS).read_text()
    looked = server.do("POST", "/api/v1/files/parameters", text)
    assert looked["frame"]["width"] == 1280 and not looked["applied"] and server.get("/api/v1/parameters") == applied
    taken = server.do("POST", "/api/v1/files/parameters?apply=true", text)
    assert taken["applied"] and server.get("/api/v1/parameters")["frame"] == taken["frame"]
    assert server.state()["capture"]["width"] == 1280
    server.refuses(422, "bad-file", "POST", "/api/v1/files/parameters?apply=true", text.replace("HCNT", "hcnt"))
    server.refuses(422, "bad-file", "PUT", "/api/v1/parameters", {"parameters": {"HCNT": 0}, "apply": True})
    assert server.get("/api/v1/parameters")["frame"] == taken["frame"]


def caseParametersChangeARunningCapture():
    server = streaming()
    last = numberOf(server.frame("raw"))
    server.do("PUT", "/api/v1/parameters", {"parameters": {"VCNT": 480}, "apply": True})
    frame = server.frame("raw", last)
    while int(frame.headers["X-Frame-Height"]) != 480:
        frame = server.frame("raw", numberOf(frame))
    assert len(frame.body) == 1280 * 480 and server.state()["capture"]["running"]


def caseFramesAreThoseOfTheTool():
    server = streaming()
    raw, bmp, jpeg = (server.frame(kind) for kind in ("raw", "bmp", "jpg"))
    assert raw.body == capturedByTheTool("tool.raw") and bmp.body == capturedByTheTool("tool.bmp")
    assert jpeg.body[:2] == b"\xff\xd8" and jpeg.body[-2:] == b"\xff\xd9"
    size = re.search(rb"\xff\xc0..\x08(....)", jpeg.body, re.DOTALL)
    assert struct.unpack(">HH", size[1]) == (960, 1280)
    assert raw.headers["X-Frame-Format"] == "bayer" and raw.headers["X-Frame-Bits"] == "8"
    assert (raw.headers["X-Frame-Width"], raw.headers["X-Frame-Height"]) == ("1280", "960")
    small = server.ask("GET", "/api/v1/frame.jpg?quality=20&download=1")
    assert len(small.body) < len(jpeg.body) / 2
    assert re.fullmatch(r'attachment; filename="frame-\d+\.jpg"', small.headers["Content-Disposition"])


def caseFramesAreAwaited():
    server = Server("--simulate", "--regs", bench.SENSOR, "--params", bench.PARAMETERS)
    assert server.ask("GET", "/api/v1/frame.jpg").status == 204
    assert server.ask("GET", "/api/v1/frame.raw?wait=50").status == 204
    server.refuses(409, "no-frame", "GET", "/api/v1/pixels?x=0&y=0&width=1&height=1")
    server.refuses(409, "not-capturing", "POST", "/api/v1/recordings", {"frames": 1, "to": "zip", "format": "raw"})
    state = server.do("POST", "/api/v1/capture", {"state": "one"})
    assert state["capture"]["frames"] == 1 and not state["capture"]["running"] and state["supplies"]["v1"]["on"]
    assert numberOf(server.frame("raw")) == 1
    assert server.ask("GET", "/api/v1/frame.raw?after=1").status == 204
    assert server.do("POST", "/api/v1/capture", {"state": "start"})["capture"]["running"]
    numbers = [1]
    while len(numbers) < 20:
        numbers.append(numberOf(server.frame("raw", numbers[-1])))
    assert numbers == sorted(set(numbers))
    frames = server.do("POST", "/api/v1/capture", {"state": "one"})["capture"]["frames"]
    assert frames > numbers[-1]
    assert not server.do("POST", "/api/v1/capture", {"state": "stop"})["capture"]["running"]


def caseStreamGivesPicturesInParts():
    server = streaming()
    with Raw(server) as raw:
        raw.send(f"GET /api/v1/frames.mjpeg?quality=50 HTTP/1.1\r\nHost: {server.host}\r\n"
                 f"Authorization: Bearer {server.token}\r\n\r\n")
        received = b""
        while received.count(b"\xff\xd9\r\n--kvexaframe") < 3:
            received += raw.socket.recv(1 << 16)
    head, _, parts = received.partition(b"\r\n\r\n")
    assert b"multipart/x-mixed-replace; boundary=kvexaframe" in head
    numbers = [int(each) for each in re.findall(rb"X-Frame-Number: (\d+)", parts)]
    assert numbers == sorted(set(numbers)) and len(numbers) >= 3
    length = int(re.search(rb"Content-Length: (\d+)", parts)[1])
    first = parts.index(b"\xff\xd8")
    assert parts[first + length - 2:first + length] == b"\xff\xd9"
    bench.contract().called.add(("GET", "/api/v1/frames.mjpeg"))


def caseRecordingBecomesAnArchive():
    server = streaming()
    for kind in ("raw", "bmp", "jpg"):
        begun = server.do("POST", "/api/v1/recordings", {"frames": 5, "to": "zip", "format": kind})
        path = f"/api/v1/recordings/{begun['id']}"
        server.untilState(lambda state: state["capture"]["recording"]["ended"])
        recording = server.get(path)
        assert recording["done"] == recording["wanted"] == 5 and recording["missed"] == 0 and "error" not in recording
        answer = server.ask("GET", path + ".zip")
        assert answer.status == 200 and int(answer.headers["Content-Length"]) == len(answer.body)
        archive = zipfile.ZipFile(io.BytesIO(answer.body))
        assert archive.testzip() is None and len(archive.namelist()) == 5
        content = archive.read(archive.namelist()[0])
        if kind != "jpg":
            assert content == server.frame(kind).body
    server.refuses(404, "not-found", "GET", "/api/v1/recordings/999")
    server.refuses(422, "bad-value", "POST", "/api/v1/recordings", {"frames": 90000, "to": "zip", "format": "raw"})


def caseRecordingBecomesAFolder():
    folder = bench.work / "recordings"
    server = streaming("--out", str(folder))
    begun = server.do("POST", "/api/v1/recordings", {"frames": 7, "to": "folder", "format": "bmp"})
    server.untilState(lambda state: state["capture"]["recording"]["ended"])
    recording = server.get(f"/api/v1/recordings/{begun['id']}")
    [made] = folder.iterdir()
    assert recording["folder"].replace("\\", "/").endswith("recordings/" + made.name)
    pictures = sorted(made.iterdir())
    assert [path.name for path in pictures] == [f"frame-{i:06}.bmp" for i in range(1, 8)]
    assert pictures[0].read_bytes() == server.frame("bmp").body
    server.refuses(409, "no-archive", "GET", f"/api/v1/recordings/{begun['id']}.zip")


def caseRecordingIsEndedBeforeItsTime():
    folder = bench.work / "ended"
    server = streaming("--out", str(folder))
    path = "/api/v1/recordings/" + server.do("POST", "/api/v1/recordings",
                                             {"frames": 100000, "to": "folder", "format": "raw"})["id"]
    server.refuses(409, "recording-runs", "POST", "/api/v1/recordings", {"frames": 1, "to": "zip", "format": "raw"})
    server.untilState(lambda state: state["capture"]["recording"]["done"] >= 3)
    server.do("DELETE", path)
    state = server.untilState(lambda state: state["capture"]["recording"]["ended"])
    done = state["capture"]["recording"]["done"]
    [made] = folder.iterdir()
    assert not made.name.endswith(".part") and len(list(made.iterdir())) == done < 100000
    # So does the end of the capture.
    server.do("POST", "/api/v1/recordings", {"frames": 3000, "to": "zip", "format": "raw"})
    server.do("POST", "/api/v1/capture", {"state": "stop"})
    server.untilState(lambda state: state["capture"]["recording"]["ended"])


def caseNumbersAreThoseOfTheSamples():
    server = streaming()
    raw = server.frame("raw").body
    pixels = server.get("/api/v1/pixels?x=301&y=203&width=5&height=4")
    assert pixels["samples"] == [list(raw[(203 + y) * 1280 + 301:][:5]) for y in range(4)] and pixels["colours"] == "GRBG"
    analysis = server.get("/api/v1/analysis?x=301&y=203&width=50&height=40")
    # The top left sample is that of an odd column and an odd row: the second green.
    channels = {}
    for y in range(203, 243):
        for x in range(301, 351):
            channels.setdefault((("Gr", "R"), ("B", "Gb"))[y & 1][x & 1], []).append(raw[y * 1280 + x])
    assert {each["name"] for each in analysis["channels"]} == set(channels)
    for each in analysis["channels"]:
        samples = channels[each["name"]]
        assert (each["least"], each["greatest"]) == (min(samples), max(samples)), each["name"]
        assert abs(each["mean"] - sum(samples) / len(samples)) < 1e-6
        assert each["histogram"] == [samples.count(value) for value in range(256)]
        assert abs(each["black"] - samples.count(0) / len(samples)) < 1e-9
    whole = server.get("/api/v1/analysis")
    assert whole["rectangle"] == {"x": 0, "y": 0, "width": 1280, "height": 960} and whole["sharpness"] > 0
    assert sum(sum(each["histogram"]) for each in whole["channels"]) == 1280 * 960
    for path in ("pixels?x=0&y=0&width=65&height=64", "pixels?x=1279&y=0&width=2&height=1", "analysis?x=1280&y=0&width=1&height=1"):
        server.refuses(422, "bad-value", "GET", "/api/v1/" + path)
    server.refuses(422, "missing", "GET", "/api/v1/analysis?x=1&y=1&width=5")


def caseTraceHasTheDriverRequests():
    server = Server("--simulate")
    first = server.get("/api/v1/trace")
    assert first["lines"][0] == {"number": 1, "text": "usb0 open"}
    last = first["last"]
    server.do("PUT", "/api/v1/lines", {"out": 3})
    later = server.get(f"/api/v1/trace?after={last}")
    assert later["lines"][0]["number"] == last + 1 and later["last"] == later["lines"][-1]["number"]
    assert any("pipe3 out" in each["text"] for each in later["lines"])


def caseMetricsAreOpenMetrics():
    server = streaming()
    server.refuses(404, "not-found", "GET", "/api/v1/recordings/77")
    answer = server.ask("GET", "/metrics")
    assert answer.headers["Content-Type"] == "application/openmetrics-text; version=1.0.0; charset=utf-8"
    values = readMetrics(answer.body.decode())
    assert values["kvexa_frames_total"] > 0 and values["kvexa_frames_lost_total"] == 0
    assert values["kvexa_request_failures_total"] >= 1 and values["kvexa_board_connected"] == 1
    assert values['kvexa_requests_total{path="/api/v1/recordings/{id}",status="404"}'] == 1
    assert values["kvexa_wait_seconds_count"] == values['kvexa_wait_seconds_bucket{le="+Inf"}']


def readMetrics(text):
    """The samples, if the text is as strict readers want it."""
    assert text.endswith("# EOF\n") and "\r" not in text and "\n\n" not in text
    values, family, seen = {}, None, set()
    for line in text.splitlines()[:-1]:
        found = re.fullmatch(r"# (TYPE|UNIT|HELP) (\w+) (.+)", line)
        if found:
            if found[1] == "TYPE":
                family, kind = found[2], found[3]
                assert family not in seen and not family.endswith("_total"), family
                seen.add(family)
            assert found[2] == family
            continue
        name, labels, value = re.fullmatch(r"(\w+)(\{.*\})? (\S+)", line).groups()
        suffixes = {"counter": ["_total"], "gauge": [""], "histogram": ["_bucket", "_count", "_sum"]}[kind]
        assert name in [family + suffix for suffix in suffixes], line
        values[name + (labels or "")] = float(value)
    return values


def caseNothingIsMadeWhenNobodyLooks():
    server = Server(*STREAMING)
    server.untilState(lambda state: state["capture"]["frames"] > 0)
    first = readMetrics(server.ask("GET", "/metrics").body.decode())
    server.untilState(lambda state: state["capture"]["frames"] > first["kvexa_frames_total"] + 40)
    second = readMetrics(server.ask("GET", "/metrics").body.decode())
    for name in ("kvexa_encodings_total", "kvexa_analyses_total"):
        assert first[name] == second[name] == 0, name


def caseViewersShareOneEncoding():
    server = streaming()
    viewers = [Live(server, f"viewer{i}") for i in range(4)]
    for each in viewers:
        each.wish({"frames": True, "analysis": False})
        each.untilPicture()
    before = readMetrics(server.ask("GET", "/metrics").body.decode())
    for _ in range(30):
        for each in viewers:
            each.untilPicture()
    after = readMetrics(server.ask("GET", "/metrics").body.decode())
    made = after["kvexa_encodings_total"] - before["kvexa_encodings_total"]
    assert 0 < made <= after["kvexa_frames_total"] - before["kvexa_frames_total"] + 2, made


def caseWebSocketTellsEverything():
    server = streaming()
    with Live(server, "viewer") as live:
        assert live.status == 101 and "sec-websocket-protocol: kvexa.v1\r\n" in live.head.lower()
        assert live.untilKind("state")["board"]["connected"]
        assert live.untilKind("trace")["lines"]
        live.wish({"frames": True, "quality": 60, "rectangle": {"x": 10, "y": 20, "width": 30, "height": 40}})
        header, jpeg = live.untilPicture()
        assert header["width"] == 1280 and header["format"] == "bayer" and jpeg[:2] == b"\xff\xd8"
        assert live.untilKind("analysis")["rectangle"] == {"x": 10, "y": 20, "width": 30, "height": 40}
        later, _ = live.untilPicture()
        assert later["number"] > header["number"] and later["time"] > header["time"]
        for wrong, kind in (("{", "bad-json"), ({"frames": 1}, "bad-value"), ({"picture": True}, "unknown-field"),
                            ({"quality": 0}, "bad-value"), ({"rectangle": {"x": 1}}, "missing"),
                            ("[" * 17 + "]" * 17, "too-deep")):
            live.wish(wrong)
            assert live.untilKind("error")["problem"]["type"] == kind, wrong
        live.wish({"frames": True, "rectangle": {"x": 1279, "y": 0, "width": 2, "height": 1}})
        assert live.untilKind("error")["problem"]["field"] == "rectangle"
        live.untilPicture()
        live.wish({"frames": False})
        server.do("PUT", "/api/v1/lines", {"out": 9})
        live.untilState(lambda state: state["lines"]["out"] == 9)
    bench.contract().called.add(("GET", "/api/v1/live"))
