"""Simulated boards for this program, through kvexa_sim.dll.

    with kvexa.Simulation("boards.toml") as simulation:
        with kvexa.Board("usb", 0) as board:
            ...
            simulation.board("usb", 0).scene = "street.jpg"

From its start on the library finds the simulated boards instead of real ones; at the end of the block the
simulation is stopped. Close boards before. What goes wrong is a kvexa.SimulationError, whose text says it in words.

The constants and FUNCTIONS of kvexa_sim.h are names of this module; library() has one attribute for each function.
"""
import ctypes
import os

from . import _simulation_library
from . import _simulation_native as native
from ._board import KINDS
from ._errors import Error, PathError, SimulationError
from ._frame import chosen
from ._simulation_library import SimulationLibrary, library, load  # noqa: F401
from ._simulation_native import *  # noqa: F401,F403 - constants, FUNCTIONS

FAULTS = {"refuse": native.KVEXA_SIM_FAULT_REFUSE, "keep-status": native.KVEXA_SIM_FAULT_KEEP_STATUS,
          "shorten": native.KVEXA_SIM_FAULT_SHORTEN, "corrupt": native.KVEXA_SIM_FAULT_CORRUPT,
          "unplug": native.KVEXA_SIM_FAULT_UNPLUG, "answer": native.KVEXA_SIM_FAULT_ANSWER,
          "answer-later": native.KVEXA_SIM_FAULT_ANSWER_LATER}

# What a fault's value is when none is given. The others have no usual value.
USUAL_VALUES = {native.KVEXA_SIM_FAULT_REFUSE: 31, native.KVEXA_SIM_FAULT_KEEP_STATUS: 0,
                native.KVEXA_SIM_FAULT_UNPLUG: 0}

_SENTENCE = 1024  # bytes, for a start


def utf8(text):
    """A text or a file's name as the DLL takes it. Bytes are taken as they are."""
    data = os.fspath(text)
    if isinstance(data, str):
        try:
            data = data.encode("utf-8")
        except UnicodeEncodeError:
            raise PathError("%r is no text: half of a character is missing" % (text,)) from None
    if b"\0" in data:
        raise PathError("%r has a zero in it, at which it would end" % (text,))
    return data


def word(value, bits=32):
    """A number as it is; one that does not fit would become another."""
    if not 0 <= value < 1 << bits:
        raise ValueError("%r is not a number of %d bits from 0 on" % (value, bits))
    return value


class _Caller:
    """Calls functions of kvexa_sim.h."""

    def __init__(self, library):
        self.library = library

    def call(self, name, *arguments):
        """A negative result raises SimulationError, any other one is given back."""
        result = getattr(self.library, name)(*arguments)
        if result < 0:
            raise SimulationError(name, result, native.RESULTS.get(result), self._last_error())
        return result

    def _last_error(self):
        size = _SENTENCE
        while True:
            text = ctypes.create_string_buffer(size)
            if self.library.kvexaSimLastError(text, size) != native.KVEXA_SIM_TOO_SMALL:
                return text.value.decode("utf-8", "replace")
            size *= 2


class SimulatedBoard(_Caller):
    """A board of a simulation, which is there whether a program has opened it or not."""

    def __init__(self, library, kind, index):
        super().__init__(library)
        self._place = chosen(KINDS, kind, "kind of board"), word(index)

    def _call(self, name, *arguments):
        return self.call(name, *self._place, *arguments)

    def plug(self, plugged=True):
        """Plugs the board in, or pulls it out."""
        self._call("kvexaSimPlug", int(bool(plugged)))

    def unplug(self):
        """Pulls the board out: every request fails, and the board is not found. Its registers stay."""
        self.plug(False)

    def _set_scene(self, scene):
        self._call("kvexaSimSetScene", utf8(scene))

    scene = property(fset=_set_scene, doc="""What the sensor sees from now on: "chart", a colour such as "#8090a0", or
    the path of a BMP or JPEG file. It can be set, not read.""")

    def read_board_register(self, address):
        """A register of the board without a driver request: 16 bits on USB boards, 32 on PCIe boards."""
        return self._read("kvexaSimReadBoardRegister", address)

    def write_board_register(self, address, value):
        self._call("kvexaSimWriteBoardRegister", word(address), word(value))

    def read_sensor_register(self, address):
        """A register of the sensor, 8 bits, without the bus, whether the sensor is powered or not."""
        return self._read("kvexaSimReadSensorRegister", address)

    def write_sensor_register(self, address, value):
        """What is written is lost when the sensor loses its supply or is reset."""
        self._call("kvexaSimWriteSensorRegister", word(address), word(value))

    def _read(self, name, address):
        value = ctypes.c_uint32()
        self._call(name, word(address), value)
        return value.value

    def set_fault(self, fault, request=1, value=None, and_after=False):
        """Lets a driver request of the board go wrong: "refuse", "keep-status", "shorten", "corrupt" (USB), "unplug",
        "answer" or "answer-later" (PCIe), or a KvexaSimFault.

        Requests are counted from 1 for the next one; and_after means every later one as well. "refuse" has the
        Windows error 31 as its value when none is given."""
        fault = chosen(FAULTS, fault, "fault")
        if value is None:
            if fault not in USUAL_VALUES:
                raise ValueError("this fault wants a value")
            value = USUAL_VALUES[fault]
        self._call("kvexaSimSetFault", word(request), int(bool(and_after)), word(fault), word(value))

    def set_conditions(self, acknowledge=True, frames=True):
        """Whether the sensor acknowledges, and whether frames reach the board, until it is set again."""
        self._call("kvexaSimSetConditions", int(bool(acknowledge)), int(bool(frames)))

    def clear_faults(self):
        """Forgets the faults and conditions of the board."""
        self._call("kvexaSimClearFaults")


class Simulation(_Caller):
    """The boards of a description, from the file of that name or from a text, for this whole process; one
    simulation runs at a time. At the end of a with block it is stopped."""

    def __init__(self, path=None, text=None, library=None):
        if (path is None) == (text is None):
            raise TypeError("a simulation has a path or a text")
        # A description that is none is told without the DLL.
        description = utf8(path if text is None else text)
        super().__init__(library or _simulation_library.library())
        self._runs = False
        self.call("kvexaSimStartFile" if text is None else "kvexaSimStartText", description)
        self._runs = True

    @classmethod
    def running(cls, library=None):
        """The simulation that runs already, as in a program under kvexa run. A with block does not stop it."""
        found = cls.__new__(cls)
        _Caller.__init__(found, library or _simulation_library.library())
        found._runs = False
        found.count("usb")
        return found

    def count(self, kind):
        """How many boards of a kind the simulation has, plugged or not."""
        return self.call("kvexaSimBoardCount", chosen(KINDS, kind, "kind of board"))

    def board(self, kind="usb", index=0):
        """A board: "usb" or "pcie", and its number among them from 0."""
        board = SimulatedBoard(self.library, kind, index)
        board.read_sensor_register(0)  # a board that is not there is told here
        return board

    @property
    def time(self):
        """The time of the boards in microseconds since the start."""
        microseconds = ctypes.c_uint64()
        self.call("kvexaSimGetTime", microseconds)
        return microseconds.value

    def advance(self, microseconds):
        """Lets simulated time pass; boards in real time refuse it."""
        self.call("kvexaSimAdvanceTime", word(microseconds, 64))

    def trace(self, path):
        """Writes every driver request to a file from now on, behind what is in it; None ends that."""
        self.call("kvexaSimTrace", None if path is None else utf8(path))

    def stop(self):
        """Pulls the boards out and ends the simulation, whoever has started it."""
        self._runs = False
        self.call("kvexaSimStop")

    def __enter__(self):
        return self

    def __exit__(self, kind, error, trace):
        if not self._runs:
            return
        try:
            self.stop()
        except Error:
            if error is None:
                raise
