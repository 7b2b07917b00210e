"""The loaded DLLs."""
import ctypes
import os
import sys
import threading

from ._errors import LibraryError
from ._native import FUNCTIONS, __version__

NAME = "KVEXA_LIB.dll"


def bind(target, path, name, functions):
    """Loads a DLL, and gives the target one attribute for each of its functions."""
    if ctypes.sizeof(ctypes.c_void_p) != 4:
        raise LibraryError(name + " is a 32-bit library: use a 32-bit Python")
    if os.name != "nt":
        raise LibraryError(name + " is a library of Windows: use a Python for Windows")
    try:
        stdcall, cdecl = ctypes.WinDLL(path), ctypes.CDLL(path)
    except OSError as error:
        raise LibraryError("%s cannot be loaded: %s" % (path, error)) from None
    for function_name, function in functions.items():
        try:
            bound = (cdecl if function.convention == "cdecl" else stdcall)[function.symbol]
        except AttributeError:
            raise LibraryError("%s has no %s: it is another version than this package, %s"
                               % (path, function_name, __version__)) from None
        bound.restype = function.result
        bound.argtypes = function.arguments
        setattr(target, function_name, bound)


class Library:
    """The loaded DLL, with one attribute for each of its functions."""

    def __init__(self, path):
        bind(self, path, NAME, FUNCTIONS)
        self.path = path


def folders():
    """Where the DLL is looked for: beside the program, beside this package, in the package that both came
    in, and on the path."""
    main = getattr(sys.modules.get("__main__"), "__file__", None) or sys.executable or ""
    above = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
    found = [os.path.dirname(os.path.abspath(main)), above, os.path.join(os.path.dirname(above), "bin")]
    return found + [folder for folder in os.environ.get("PATH", "").split(os.pathsep) if folder]


def locate(name, before=(), loader="kvexa.load"):
    """The whole path of a DLL that is given by its name alone; other names are taken as they are. The folders
    before are looked into first."""
    if os.path.dirname(name):
        return os.path.abspath(name)
    for folder in [*before, *folders()]:
        candidate = os.path.join(folder, name)
        if os.path.isfile(candidate):
            return candidate
    raise LibraryError("%s was not found: put it beside the program, or name it with %s(path)" % (name, loader))


_lock = threading.Lock()
_shared = None


def load(path=NAME):
    """Loads the DLL and binds every function, for the boards that are opened from now on; raises LibraryError,
    which is an OSError, when it is not there."""
    global _shared
    # A Python that is not for this DLL is told so, whether the DLL is there or not.
    loaded = Library(locate(path) if ctypes.sizeof(ctypes.c_void_p) == 4 else path)
    with _lock:
        _shared = loaded
    return loaded


def loaded_folders():
    """The folder of the DLL that was loaded last, if one was."""
    path = getattr(_shared, "path", None)
    return [os.path.dirname(path)] if path else []


def library():
    """The DLL that was loaded last; the first use loads it."""
    return _shared or load()
