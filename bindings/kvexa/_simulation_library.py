"""The loaded kvexa_sim.dll."""
import ctypes
import threading

from ._library import bind, loaded_folders, locate
from ._simulation_native import FUNCTIONS

NAME = "kvexa_sim.dll"


class SimulationLibrary:
    """The loaded kvexa_sim.dll, with one attribute for each of its functions."""

    def __init__(self, path):
        bind(self, path, NAME, FUNCTIONS)
        self.path = path


_lock = threading.Lock()
_shared = None


def load(path=NAME):
    """Loads the DLL for the simulations from now on. Without a path it is looked for beside KVEXA_LIB.dll, when
    that is loaded, and where that is looked for."""
    global _shared
    is_for_it = ctypes.sizeof(ctypes.c_void_p) == 4
    loaded = SimulationLibrary(locate(path, loaded_folders(), "kvexa.simulation.load") if is_for_it else path)
    with _lock:
        _shared = loaded
    return loaded


def library():
    """The DLL that was loaded last; the first use loads it."""
    return _shared or load()
