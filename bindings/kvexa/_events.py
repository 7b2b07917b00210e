"""The manual-reset events of Windows, by which captures tell of their frames."""
import ctypes
import time

_SLICE = 0.1  # seconds: a wait without an end would keep Ctrl-C from Python
_FAILED = 0xFFFFFFFF
_TIMEOUT = 258


class WindowsEvents:
    """What a ring needs of Windows; handles are numbers."""

    def __init__(self):
        kernel = ctypes.WinDLL("kernel32", use_last_error=True)
        handle, number = ctypes.c_void_p, ctypes.c_uint32
        self._create = self._bind(kernel.CreateEventA, handle, handle, number, number, handle)
        self._reset = self._bind(kernel.ResetEvent, number, handle)
        self._close = self._bind(kernel.CloseHandle, number, handle)
        self._wait = self._bind(kernel.WaitForMultipleObjects, number, number, ctypes.POINTER(handle), number, number)

    @staticmethod
    def _bind(function, result, *arguments):
        function.restype, function.argtypes = result, arguments
        return function

    def create(self):
        handle = self._create(None, 1, 0, None)
        if not handle:
            raise MemoryError("Windows has no event left")
        return handle

    def reset(self, handle):
        self._reset(handle)

    def close(self, handle):
        self._close(handle)

    def wait(self, handles, seconds=None):
        """The index of the first one that is set, or None when the time is over."""
        array = (ctypes.c_void_p * len(handles))(*handles)
        end = None if seconds is None else time.monotonic() + seconds
        while True:
            left = _SLICE if end is None else max(0.0, min(_SLICE, end - time.monotonic()))
            found = self._wait(len(handles), array, 0, int(left * 1000 + 0.999))
            if found == _FAILED:
                raise ctypes.WinError(ctypes.get_last_error())
            if found != _TIMEOUT:
                return found
            if end is not None and time.monotonic() >= end:
                return None
