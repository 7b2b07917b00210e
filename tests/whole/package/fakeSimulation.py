"""A simulation of the tests' own behind the C functions that the Python package calls: every call goes through the
types that the package gives the DLL's functions."""
import ctypes

from kvexa import simulation


class FakeSimulation:
    """The functions of a simulation of one USB and two PCIe boards, which notes the texts and numbers that come in. A
    function gives back what results says, else 0; its sentence is then that of sentences."""

    def __init__(self):
        self.calls = []
        self.results = {}
        self.sentence = "nothing failed"
        self.runs = False
        self.registers = {}
        self.now = (1 << 40) + 7
        self._callbacks = {}

    def __getattr__(self, name):
        if name not in simulation.FUNCTIONS:
            raise AttributeError(name)
        function = simulation.FUNCTIONS[name]
        written = getattr(type(self), "do_" + name, None)

        def called(*arguments):
            self.calls.append((name, *(argument for argument in arguments if not hasattr(argument, "contents"))))
            forced = self.results.get(name)
            if forced is not None or written is None:
                return forced or 0
            return written(self, *arguments) or 0

        # A text that is filled comes in as its address.
        kinds = [ctypes.c_void_p if name == "kvexaSimLastError" and kind is ctypes.c_char_p else kind
                 for kind in function.arguments]
        self._callbacks[name] = ctypes.CFUNCTYPE(function.result, *kinds)(called)
        self._callbacks[name].argtypes = function.arguments
        setattr(self, name, self._callbacks[name])
        return self._callbacks[name]

    def do_kvexaSimLastError(self, text, size):
        whole = self.sentence.encode()
        cut = whole[:size - 1]
        ctypes.memmove(text, cut + b"\0", len(cut) + 1)
        return simulation.KVEXA_SIM_OK if cut == whole else simulation.KVEXA_SIM_TOO_SMALL

    def start(self, description):
        if self.runs:
            self.sentence = "a simulation runs already"
            return simulation.KVEXA_SIM_RUNNING
        self.runs = True

    def do_kvexaSimStartFile(self, path):
        return self.start(path)

    def do_kvexaSimStartText(self, text):
        return self.start(text)

    def do_kvexaSimStop(self):
        if not self.runs:
            self.sentence = "no simulation runs"
            return simulation.KVEXA_SIM_NOT_RUNNING
        self.runs = False

    def do_kvexaSimBoardCount(self, kind):
        if not self.runs:
            self.sentence = "no simulation runs"
            return simulation.KVEXA_SIM_NOT_RUNNING
        return (1, 2)[kind]

    def read(self, what, kind, index, address, value):
        if index >= (1, 2)[kind]:
            self.sentence = "the simulation has no board of type %d and index %d" % (kind, index)
            return simulation.KVEXA_SIM_NO_BOARD
        value[0] = self.registers.get((what, kind, index, address), 0)

    def do_kvexaSimReadBoardRegister(self, kind, index, address, value):
        return self.read("board", kind, index, address, value)

    def do_kvexaSimReadSensorRegister(self, kind, index, address, value):
        return self.read("sensor", kind, index, address, value)

    def do_kvexaSimWriteBoardRegister(self, kind, index, address, value):
        self.registers["board", kind, index, address] = value

    def do_kvexaSimWriteSensorRegister(self, kind, index, address, value):
        self.registers["sensor", kind, index, address] = value

    def do_kvexaSimGetTime(self, microseconds):
        microseconds[0] = self.now

    def do_kvexaSimAdvanceTime(self, microseconds):
        self.now += microseconds
