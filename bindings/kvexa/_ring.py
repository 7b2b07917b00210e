"""Frame after frame from a USB board."""
import ctypes

from . import _native as native
from ._errors import Error, KvexaError, require
from ._frame import Frame

# What a worker that hangs in the driver may still write to: kept until the process ends.
_abandoned = []


class _Memory:
    """What the library's worker uses until it has set the last event."""

    def __init__(self, frame_bytes, count, events):
        self.frames = [(ctypes.c_uint8 * frame_bytes)() for _ in range(count)]
        self.addresses = (ctypes.c_void_p * count)(*map(ctypes.addressof, self.frames))
        self.result = ctypes.c_int32(native.KVEXA_OK)
        self.events = events
        self.handles = (ctypes.c_void_p * (count + 1))()
        try:
            for i in range(count + 1):
                self.handles[i] = events.create()
        except BaseException:
            self.close()
            raise

    end = property(lambda self: self.handles[len(self.frames)])

    def close(self):
        for i, handle in enumerate(self.handles):
            if handle:
                self.events.close(handle)
                self.handles[i] = None


class Ring:
    """Frames one after another into buffers that the board fills while earlier ones are looked at.

        with board.ring(buffers=8, timeout=1000) as ring:
            for frame in ring:
                ...

    A frame is the ring's own memory until the next one is taken; copy() and array() keep it. A frame that does
    not come within the time-out ends the capture: the loop then ends in KvexaError, start() begins anew. One
    ring a process at a time, for one thread.
    """

    def __init__(self, board, buffers=8, timeout=1000, board_memory=31.0, events=None):
        if buffers < 1:
            raise ValueError("a ring has one buffer or more")
        if events is None:
            from ._events import WindowsEvents
            events = WindowsEvents()
        self._board = board
        self._layout = board.layout
        self._timeout = timeout
        self._board_memory = board_memory
        self._events = events
        self._memory = _Memory(self._layout.bytes, buffers, events)
        self._current = 0
        self._frame = None
        self._running = False

    def start(self):
        """Begins the capture; what is left of an earlier one is over with it."""
        self.stop()
        board, memory = self._board, self._live()
        board.own(self)
        if self._board_memory is not None:
            board.call("kVexaSetBufSize", board.handle, self._board_memory)
        self._current = 0
        self._running = True  # before the call: Ctrl-C may come right behind it
        try:
            board.call("kVexaMultiShotCapArrayStart", board.handle, self._layout.bytes, len(memory.frames),
                       memory.addresses, self._timeout, memory.handles, memory.result)
        except Error:
            self._running = False
            raise

    def next(self, seconds=None):
        """Gives the last frame back, and waits for the next one. None when the time is over before; KvexaError
        when the capture has ended by itself."""
        if not self._running:
            raise ValueError("no capture runs in this ring")
        self._give_back()
        memory = self._memory
        # The first one that is set counts, so frames that are there come before the end.
        found = self._events.wait((memory.handles[self._current], memory.end), seconds)
        if found is None:
            return None
        if found == 1:
            raise KvexaError("the capture", self.result)
        self._frame = Frame(memory.frames[self._current], self._layout, self._board.library)
        return self._frame

    def __iter__(self):
        while self._running:
            yield self.next()

    @property
    def result(self):
        """How the capture stands: KVEXA_OK, KVEXA_TIMED_OUT or KVEXA_BUSY."""
        return self._live().result.value

    @property
    def dropped(self):
        """Whether the board lost frames because its memory was full."""
        board = self._board
        return board.call("kVexaIsDropFrame", board.handle) != 0

    def stop(self):
        """Ends the capture. Right when none runs, too."""
        if not self._running:
            return
        self._end_frame()
        board, memory = self._board, self._memory
        # The memory is the worker's until its end is known, also when Ctrl-C comes in between.
        _abandoned.append(memory)
        self._memory, self._running = None, False
        result = board.library.kVexaMultiShotCapArrayStop(board.handle)
        if result != native.KVEXA_BUSY or self._events.wait((memory.end,), self._timeout / 1000) is not None:
            self._memory = memory
            _abandoned.remove(memory)
        require("kVexaMultiShotCapArrayStop", result)

    def close(self):
        """Ends the capture, and gives the memory back."""
        try:
            self.stop()
        finally:
            if self._memory is not None:
                self._memory.close()
                self._memory = None
            self._board.disown(self)

    def __enter__(self):
        try:
            self.start()
        except BaseException:
            self.close()
            raise
        return self

    def __exit__(self, kind, error, trace):
        try:
            self.close()
        except Error:
            if error is None:
                raise

    def _live(self):
        if self._memory is None:
            raise ValueError("this ring is closed")
        return self._memory

    def _end_frame(self):
        if self._frame is not None:
            self._frame.give_back()
            self._frame = None
            return True
        return False

    def _give_back(self):
        if self._end_frame():
            self._events.reset(self._memory.handles[self._current])
            self._current = (self._current + 1) % len(self._memory.frames)
