"""A board of the tests' own behind the C functions that the Python package calls: every call goes through the
types that the package gives the DLL's functions."""
import ctypes

import kvexa

PARAMETERS = {b"capture.dat": dict(HCNT=8, VCNT=6, BITWIDTH=8, INPUTFORMAT=1),
              b"wide.dat": dict(HCNT=8, VCNT=6, BITWIDTH=10, INPUTFORMAT=2),
              b"groups.dat": dict(HCNT=8, VCNT=6, BITWIDTH=8, INPUTFORMAT=4)}
UNITS = {1: 1, 2: 2, 4: 4}  # INPUTFORMAT -> bytes of a unit


class FakeBoard:
    """The functions of one USB board whose frame n holds n + 1 in every byte. A function that is not written
    here notes its call and returns what results says, else 0."""

    def __init__(self):
        self.calls = []
        self.results = {}
        self.frames = 0
        self.frameValue = None  # of every frame, instead of its number
        self.comes = True
        self.ring = None
        self.events = FakeEvents(self)
        self._callbacks = {}

    def __getattr__(self, name):
        if name not in kvexa.FUNCTIONS:
            raise AttributeError(name)
        function = kvexa.FUNCTIONS[name]
        written = getattr(type(self), "do_" + name, None)

        def called(*arguments):
            self.calls.append(name)
            forced = self.results.get(name)
            if forced is not None or written is None:
                return forced or 0
            return written(self, *arguments) or 0

        self._callbacks[name] = ctypes.CFUNCTYPE(function.result, *function.arguments)(called)
        setattr(self, name, self._callbacks[name])
        return self._callbacks[name]

    def fill(self, address, size):
        self.frames += 1
        value = self.frames if self.frameValue is None else self.frameValue
        ctypes.memset(address, value & 0xFF, size)

    def do_kVexaDevNum(self, usb, pcie):
        usb[0], pcie[0] = 1, 2
        return 3

    def do_kVexaDevOpen(self, kind, index, board):
        if index != 0:
            return kvexa.KVEXA_OPEN_FAILED
        board[0] = kvexa.BoardHandle(0x1234, kind, index)

    def do_kVexaDevClose(self, board):
        board[0] = kvexa.BoardHandle(None, board[0].boardType, 0)

    def do_kVexaGetCapFileParam(self, path, parameters):
        if path not in PARAMETERS:
            return kvexa.KVEXA_FILE_NOT_OPENED
        for name, value in PARAMETERS[path].items():
            setattr(parameters[0], name, value)

    def do_kVexaCalcFrameSizeEx(self, parameters, size, unit, width, height, alignment):
        assert alignment == kvexa.KVEXA_ALIGN_512
        wanted = parameters[0]
        unit[0], width[0], height[0] = UNITS[wanted.INPUTFORMAT], wanted.HCNT, wanted.VCNT
        size[0] = (unit[0] * width[0] * height[0] + 511) // 512 * 512
        if wanted.SMIAIN == 5:
            size[0] = unit[0] * width[0] * height[0] * 2 // 3

    def do_kVexaOneShotCapture(self, board, size, buffer, timeout):
        if self.comes:
            self.fill(buffer, size)

    def do_kVexaRegRead(self, board, slave, address, mode, count, words):
        for i in range(count):
            words[i] = (slave + address + mode + i) & 0xFF

    def do_kVexaRegWrite(self, board, slave, address, mode, count, words):
        self.written = (slave, address, mode, words[:count])

    def do_kVexaFpgaRead(self, board, address, count, words):
        words[0] = 0x1000 + address

    def do_kVexaFpgaWrite(self, board, address, count, words):
        self.written = (address, count, words[0])

    def do_kVexaRaw8ToRgb888(self, source, destination, width, height, pattern):
        self.converted = (source[0], width, height, pattern)
        ctypes.memset(destination, source[0], 3 * width * height)

    def do_kVexaRaw16ToRgb888(self, source, destination, width, height, pattern, bits):
        self.converted = (source[0], width, height, pattern, bits)

    def do_kVexaYuyv8ToRgbT2(self, source, destination, *options):
        self.converted = options

    def do_kVexaSaveBmpFile(self, path, image, width, height, rect, pixels, kind):
        self.saved = (path, width, height, rect[0].width, rect[0].height, pixels, kind)

    def do_kVexaSaveJpegFile(self, path, image, width, height, rect, pixels, quality):
        self.saved = (path, width, height, rect[0].width, rect[0].height, pixels, quality)

    def do_kVexaMultiShotCapArrayStart(self, board, size, count, buffers, timeout, events, result):
        for handle in events[:count + 1]:
            self.events.open[handle] = False
        self.ring = dict(size=size, buffers=buffers[:count], events=events[:count + 1], result=result, next=0)

    def do_kVexaMultiShotCapArrayStop(self, board):
        if self.ring is not None:
            self.events.open[self.ring["events"][-1]] = True
        self.ring = None

    def work(self):
        """What the capture's worker does while the program waits: it fills every buffer that it was given."""
        ring = self.ring
        while ring is not None and not self.events.open[ring["events"][ring["next"]]]:
            if not self.comes:
                ring["result"][0] = kvexa.KVEXA_TIMED_OUT
                self.events.open[ring["events"][-1]] = True
                return
            self.fill(ring["buffers"][ring["next"]], ring["size"])
            self.events.open[ring["events"][ring["next"]]] = True
            ring["next"] = (ring["next"] + 1) % len(ring["buffers"])


class FakeEvents:
    """Events whose time goes on while they are waited for."""

    def __init__(self, board):
        self.board = board
        self.open = {}
        self.made = 0

    def create(self):
        self.made += 1
        self.open[self.made] = False
        return self.made

    def reset(self, handle):
        self.open[handle] = False

    def close(self, handle):
        del self.open[handle]

    def wait(self, handles, seconds=None):
        self.board.work()
        for i, handle in enumerate(handles):
            if self.open[handle]:
                return i
        assert seconds is not None, "this wait would never end"
        return None
