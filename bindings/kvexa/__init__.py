"""Camera-module test boards from Python, through KVEXA_LIB.dll.

    import kvexa

    with kvexa.Board("usb", 0) as board:
        board.power_up()
        board.play_registers("sensor.csv")
        board.configure("capture.dat")
        board.capture().bayer_image("grbg").save("frame.bmp")

At the end of the block the board is powered down and closed, whatever happened in it. What goes wrong is a
kvexa.Error whose text says it in words.

The DLL is a 32-bit one, and so must Python be. It is loaded when it is first used; load() names another one
than that beside the program. Frames are memoryviews, and arrays where NumPy is installed.

kvexa.Simulation starts simulated boards for this program, by kvexa_sim.dll.

Every function of kvexa.h can be used beside the classes: kvexa.library() has one attribute for each. It takes
numbers, bytes for file names (kvexa.ansi makes them), records of this module, and ctypes arrays; numbers that a
function fills as ctypes.byref(c_uint32()). Its text: print(kvexa.FUNCTIONS["kVexaDevOpen"].text).
"""
from ._native import *  # noqa: F401,F403 - constants, records, FUNCTIONS, RESULTS
from ._native import __version__  # noqa: F401
from ._board import Board, BoardCount, count_boards
from ._errors import Error, KvexaError, LibraryError, PathError, SimulationError, describe, require
from ._frame import Frame, FrameLayout, Image, frame_layout, read_parameters
from ._library import Library, library, load
from ._paths import ansi
from ._ring import Ring
from .simulation import SimulatedBoard, Simulation
