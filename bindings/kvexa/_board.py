"""An open board."""
import ctypes
from collections import namedtuple

from . import _native as native
from ._errors import Error, KvexaError, require
from ._frame import Frame, chosen, frame_layout, read_parameters
from ._library import library as shared_library
from ._paths import ansi
from ._ring import Ring

BoardCount = namedtuple("BoardCount", "usb pcie")

KINDS = {"usb": native.KVEXA_BOARD_USB, "pcie": native.KVEXA_BOARD_PCIE}

UP = ("kVexaPowerV1On", "kVexaPowerV2On", "kVexaClockOn", "kVexaResetOff")
DOWN = ("kVexaResetOn", "kVexaClockOff", "kVexaPowerV2Off", "kVexaPowerV1Off")

# A USB board does not tell when no frame comes. A frame that is one of these through and through is not the
# other one as well.
MARKS = (0xA5, 0x5A)


def count_boards(library=None):
    """How many boards of each type are present: BoardCount(usb, pcie)."""
    usb, pcie = ctypes.c_uint32(), ctypes.c_uint32()
    require("kVexaDevNum", (library or shared_library()).kVexaDevNum(usb, pcie))
    return BoardCount(usb.value, pcie.value)


class Board:
    """An open board, for one thread: "usb" or "pcie", and its number from 0.

    At the end of a with block its captures are ended, what power_up() switched on is switched off, and it is
    closed. handle is the record for the functions of kvexa.h, library has them.
    """

    def __init__(self, kind="usb", index=0, library=None):
        self.library = library or shared_library()
        self.handle = native.BoardHandle()
        self.layout = None  # of a frame; configure() knows it
        self._powered = False
        self._rings = []
        self.call("kVexaDevOpen", chosen(KINDS, kind, "kind of board"), index, self.handle)

    def call(self, name, *arguments, subject=None):
        """Calls a function of kvexa.h; a negative result raises KvexaError, any other one is given back."""
        return require(name, getattr(self.library, name)(*arguments), subject)

    def power_up(self):
        """Supplies and clock on, then out of reset."""
        self._powered = True
        for name in UP:
            self.call(name, self.handle)

    def power_down(self):
        """The way back, to its end whatever fails; then the first failure is raised."""
        self._powered = False
        results = [(name, getattr(self.library, name)(self.handle)) for name in DOWN]
        for name, result in results:
            require(name, result)

    def play_registers(self, path):
        """Plays a register-setting file into the sensor."""
        self.call("kVexaSetI2cFile", ansi(path), self.handle, subject=path)

    def read_register(self, slave, address, count=1, mode=native.KVEXA_SLAVE7_SUB16):
        """Reads bytes from a device on the sensor bus: a list of numbers. The mode is a KvexaAddressMode."""
        words = self._words(slave, [0] * count)
        self.call("kVexaRegRead", self.handle, slave, address, mode, count, words)
        return list(words)

    def write_register(self, slave, address, values, mode=native.KVEXA_SLAVE7_SUB16):
        """Writes bytes, or one, to a device on the sensor bus."""
        words = self._words(slave, [values] if isinstance(values, int) else list(values))
        self.call("kVexaRegWrite", self.handle, slave, address, mode, len(words), words)

    @staticmethod
    def _words(slave, values):
        if slave == native.KVEXA_SLAVE_BOARD:
            raise ValueError("the board's own registers are those of read_board_register and write_board_register")
        return (ctypes.c_uint32 * len(values))(*values)

    def read_board_register(self, address):
        """A register of the board itself: 16 bits on USB boards, 32 on PCIe boards."""
        word = (ctypes.c_uint32 * 1)()
        self.call("kVexaFpgaRead", self.handle, address, 2, word)
        return word[0]

    def write_board_register(self, address, value):
        word = (ctypes.c_uint32 * 1)(value)
        self.call("kVexaFpgaWrite", self.handle, address, 2, word)

    def configure(self, parameters):
        """Sets the capture up by a CapParam, or by the name of a capture-parameter file; gives the FrameLayout."""
        if not isinstance(parameters, native.CapParam):
            parameters = read_parameters(parameters, self.library)
        layout = frame_layout(parameters, self.library)
        self.call("kVexaSetCapParam", self.handle, parameters)
        self.layout = layout
        return layout

    def frame_rate(self):
        """Frames a second that come in, as the board measures them; 0.0 when none come."""
        return require("kVexaGetFrameRate", self.library.kVexaGetFrameRate(self.handle))

    def capture(self, timeout=1000):
        """One frame. The time-out is in milliseconds; when no frame comes in it, KvexaError with
        KVEXA_TIMED_OUT is raised on either board."""
        for mark in MARKS:
            memory = (ctypes.c_uint8 * self._known_layout().bytes)()
            ctypes.memset(memory, mark, len(memory))
            self.call("kVexaOneShotCapture", self.handle, len(memory), memory, timeout)
            if self.handle.boardType != native.KVEXA_BOARD_USB or bytes(memory) != bytes([mark]) * len(memory):
                return Frame(memory, self.layout, self.library)
        raise KvexaError("kVexaOneShotCapture", native.KVEXA_TIMED_OUT)

    def ring(self, buffers=8, timeout=1000, board_memory=31.0, events=None):
        """A Ring for frame after frame, of a USB board that is configured. board_memory is the part of the
        board's memory, in MiB, where frames wait while the buffers are full; None leaves it as it is."""
        self._known_layout()
        return Ring(self, buffers, timeout, board_memory, events)

    def frames(self, count=None, buffers=8, timeout=1000, board_memory=31.0, events=None):
        """The next frames through a ring, without end or as many as asked for.

            for frame in board.frames(100):
                ...
        """
        with self.ring(buffers, timeout, board_memory, events) as ring:
            taken = 0
            while count is None or taken < count:
                yield ring.next()
                taken += 1

    def own(self, ring):
        """Lets the board end this ring when it goes; rings call this when they start."""
        if ring not in self._rings:
            self._rings.append(ring)

    def disown(self, ring):
        """A ring has ended."""
        if ring in self._rings:
            self._rings.remove(ring)

    def close(self):
        """Ends captures, powers down, closes; each of them whatever the others do, then the first failure is
        raised. Right for a board that is closed, too."""
        steps = [ring.close for ring in self._rings]
        if self._powered:
            steps.append(self.power_down)
        if self.handle.driverHandle:
            steps.append(lambda: self.call("kVexaDevClose", self.handle))
        failures = []
        for step in steps:
            try:
                step()
            except Error as error:
                failures.append(error)
        if failures:
            raise failures[0]

    def __enter__(self):
        return self

    def __exit__(self, kind, error, trace):
        try:
            self.close()
        except Error:
            if error is None:
                raise

    def _known_layout(self):
        if self.layout is None:
            raise ValueError("the size of a frame is not known: call configure() before")
        return self.layout
