"""Frames as they came from the board, and pictures."""
import ctypes
from collections import namedtuple

from . import _native as native
from ._errors import require
from ._library import library as shared_library
from ._paths import ansi

# bytes: of a whole frame, as it is transferred; unit: bytes of one unit of a row; bits: of a sample
FrameLayout = namedtuple("FrameLayout", "bytes unit width height bits")

PATTERNS = {"grbg": native.KVEXA_BAYER_GRBG, "rggb": native.KVEXA_BAYER_RGGB,
            "bggr": native.KVEXA_BAYER_BGGR, "gbrg": native.KVEXA_BAYER_GBRG}


def chosen(choices, value, what):
    """A constant, or the one that a word stands for."""
    if not isinstance(value, str):
        return value
    try:
        return choices[value.lower()]
    except KeyError:
        raise ValueError("%r is no %s: there are %s" % (value, what, ", ".join(choices))) from None


def read_parameters(path, library=None):
    """The record CapParam of a capture-parameter file. Needs no board."""
    parameters = native.CapParam()
    result = (library or shared_library()).kVexaGetCapFileParam(ansi(path), parameters)
    require("kVexaGetCapFileParam", result, path)
    return parameters


def frame_layout(parameters, library=None):
    """The FrameLayout of capture parameters. Needs no board."""
    size, unit, width, height = (ctypes.c_uint32() for _ in range(4))
    require("kVexaCalcFrameSizeEx", (library or shared_library()).kVexaCalcFrameSizeEx(
        parameters, size, unit, width, height, native.KVEXA_ALIGN_512))
    return FrameLayout(size.value, unit.value, width.value, height.value, parameters.BITWIDTH)


def array_of(view, shape, kind):
    try:
        import numpy
    except ImportError:
        raise ImportError("NumPy is not installed for this Python; memoryviews need none") from None
    return numpy.frombuffer(view, dtype=kind).reshape(shape)


class Frame:
    """One frame, as it came from the board.

    A frame of a ring is the ring's own memory, filled anew when the next one is taken: from then on it raises
    ValueError. copy() and array() give what stays.
    """

    def __init__(self, memory, layout, library):
        self._memory = memory  # a ctypes array of bytes
        self._views = {}
        self._library = library
        self.layout = layout

    width = property(lambda self: self.layout.width)
    height = property(lambda self: self.layout.height)

    @property
    def data(self):
        """All bytes as they were transferred: a memoryview of bytes."""
        if self._memory is None:
            raise ValueError("this frame has been given back to its ring; copy() keeps one")
        return self._kept("data", lambda: memoryview(self._memory).cast("B"))

    @property
    def shape(self):
        """(height, width), or (height, width, bytes) where a unit is neither one byte nor two."""
        plain = (self.height, self.width)
        return plain if self.layout.unit in (1, 2) else plain + (self.layout.unit,)

    def _bare(self):
        size = self.layout.unit * self.width * self.height
        if size > self.layout.bytes:
            raise ValueError("the samples of this frame are packed: data holds them as they came")
        return self.data[:size]

    @property
    def samples(self):
        """The samples without what fills the transfer up: a memoryview of the frame's shape, of bytes or,
        where a unit has two, of 16-bit numbers."""
        kind = "H" if self.layout.unit == 2 else "B"
        return self._kept("samples", lambda: self._bare().cast(kind, self.shape))

    def array(self, copy=True):
        """The samples as a NumPy array of the frame's shape, uint8 or uint16. Without the copy it is the
        frame's own memory."""
        array = array_of(self._bare(), self.shape, "<u2" if self.layout.unit == 2 else "u1")
        return array.copy() if copy else array

    def __array__(self, dtype=None, copy=None):
        array = self.array(copy=copy is not False)
        return array if dtype is None else array.astype(dtype)

    def copy(self):
        """The same frame in memory of its own."""
        memory = (ctypes.c_uint8 * self.layout.bytes).from_buffer_copy(self.data)
        return Frame(memory, self.layout, self._library)

    def bayer_image(self, pattern):
        """The picture of a Bayer frame of one or two bytes a sample; the pattern is "grbg", "rggb", "bggr" or
        "gbrg", the colours of the top-left four samples."""
        pattern = chosen(PATTERNS, pattern, "Bayer pattern")
        image = Image(self.width, self.height, self._library)
        if self.layout.unit == 1:
            image.convert("kVexaRaw8ToRgb888", self._pointer(ctypes.c_uint8), pattern)
        elif self.layout.unit == 2:
            image.convert("kVexaRaw16ToRgb888", self._pointer(ctypes.c_uint16), pattern, self.layout.bits)
        else:
            raise ValueError("a Bayer frame has one or two bytes a sample, this one has %d" % self.layout.unit)
        return image

    def yuyv_image(self, method=native.KVEXA_YUYV_INTEGER_STUDIO, order=0):
        """The picture of a YUV 4:2:2 frame of 8-bit samples, by a KvexaYuyvMethod; order 0 is Y0, U, Y1, V,
        1 is U, Y0, V, Y1."""
        if 2 * self.width * self.height > self.layout.bytes:
            raise ValueError("a YUV 4:2:2 frame has two bytes a pixel, this one has less")
        image = Image(self.width, self.height, self._library)
        image.convert("kVexaYuyv8ToRgbT2", self._pointer(ctypes.c_uint8), method, order, native.KVEXA_FORMAT_BGR24)
        return image

    def _pointer(self, kind):
        self._bare()  # refuses what is packed, or given back
        return ctypes.cast(self._memory, ctypes.POINTER(kind))

    def _kept(self, name, make):
        if name not in self._views:
            self._views[name] = make()
        return self._views[name]

    def give_back(self):
        """Ends it, and the views that it gave out: those that an array is built upon stay. Rings call this."""
        for view in self._views.values():
            try:
                view.release()
            except BufferError:
                pass
        self._views = {}
        self._memory = None


class Image:
    """A picture of three bytes a pixel (blue, green, red), top row first."""

    def __init__(self, width, height, library=None):
        self.width, self.height = width, height
        self._library = library
        self._pixels = (ctypes.c_uint8 * (3 * width * height))()

    @property
    def shape(self):
        return self.height, self.width, 3

    @property
    def data(self):
        """A memoryview of bytes, of the shape (height, width, 3)."""
        return memoryview(self._pixels).cast("B").cast("B", self.shape)

    def array(self):
        """The same memory as a NumPy array of uint8, of the shape (height, width, 3)."""
        return array_of(self._pixels, self.shape, "u1")

    def __array__(self, dtype=None, copy=None):
        array = self.array().copy() if copy else self.array()
        return array if dtype is None else array.astype(dtype)

    def convert(self, call, source, *options):
        """Fills it through a conversion of kvexa.h that writes KVEXA_FORMAT_BGR24."""
        destination = ctypes.cast(self._pixels, self._argument(call, "destination"))
        require(call, self._function(call)(source, destination, self.width, self.height, *options))

    def save(self, path, quality=90):
        """A JPEG file when the name ends in jpg or jpeg, else a Windows bitmap."""
        rect = native.SaveRect(0, 0, self.width, self.height)
        pixels = ctypes.cast(self._pixels, ctypes.c_void_p)
        name = ansi(path)
        if name.lower().endswith((b".jpg", b".jpeg")):
            call, last = "kVexaSaveJpegFile", quality
        else:
            call, last = "kVexaSaveBmpFile", native.KVEXA_BMP_24_BITS
        require(call, self._function(call)(name, pixels, self.width, self.height, rect,
                                           native.KVEXA_FORMAT_BGR24, last), path)

    def _function(self, name):
        return getattr(self._library or shared_library(), name)

    @staticmethod
    def _argument(call, name):
        function = native.FUNCTIONS[call]
        return function.arguments[function.names.index(name)]
