"""What goes wrong, in words."""
from ._native import RESULTS


class Error(Exception):
    """Everything that this package raises of its own accord."""


class KvexaError(Error):
    """A negative result: what was called, the code, what it means and what to do."""

    def __init__(self, call, result, subject=None):
        text = call + " returned " + describe(result)
        super().__init__(text if subject is None else "%s: %s" % (subject, text))
        self.call = call
        self.result = result
        self.subject = subject  # the file that it is about, or None
        found = RESULTS.get(result)
        self.name = None if found is None else found.name
        self.advice = None if found is None else found.advice


class PathError(Error, ValueError):
    """A file name that the library cannot be given."""


class LibraryError(Error, OSError):
    """KVEXA_LIB.dll or kvexa_sim.dll is not there, or is not for this Python."""


class SimulationError(Error):
    """What kvexa_sim.dll refused, in its words: what was called, the code and its name."""

    def __init__(self, call, result, name, text):
        super().__init__(text or "%s returned %d" % (call, result))
        self.call = call
        self.result = result
        self.name = name


def describe(result):
    """"-57 (the device on the sensor bus did not acknowledge; ...)"."""
    found = RESULTS.get(result)
    return str(result) if found is None else "%d (%s)" % (result, found.text)


def require(call, result, subject=None):
    """Raises KvexaError for a negative result, and gives any other one back."""
    if result < 0:
        raise KvexaError(call, result, subject)
    return result
