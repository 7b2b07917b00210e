"""The Python package's classes of simulated boards without their DLL, over a simulation of the tests' own.

    testPythonSimulation.py FOLDER_OF_THE_PACKAGE PAGE_WITH_A_PROGRAM
"""
import os
import pathlib
import re
import sys
import tempfile
import unittest
from unittest import mock

sys.dont_write_bytecode = True
sys.path.insert(0, sys.argv.pop(1))
PAGE = pathlib.Path(sys.argv.pop(1)).read_text()

import kvexa  # noqa: E402
from fakeBoard import FakeBoard  # noqa: E402
from fakeSimulation import FakeSimulation  # noqa: E402
from kvexa import _library, _simulation_library  # noqa: E402


class Simulations(unittest.TestCase):
    def setUp(self):
        self.fake = FakeSimulation()

    def simulation(self):
        return kvexa.Simulation(text="", library=self.fake)

    def testBlockStartsAndStops(self):
        with kvexa.Simulation("größe.toml", library=self.fake):
            self.assertTrue(self.fake.runs)
        self.assertEqual(self.fake.calls, [("kvexaSimStartFile", "größe.toml".encode()), ("kvexaSimStop",)])
        for path in (pathlib.PurePath("a.toml"), b"a.toml"):
            with kvexa.Simulation(path, library=self.fake):
                self.assertEqual(self.fake.calls[-1], ("kvexaSimStartFile", b"a.toml"))
        with kvexa.Simulation(text="[[board]]\n# Ж", library=self.fake):
            self.assertEqual(self.fake.calls[-1], ("kvexaSimStartText", "[[board]]\n# Ж".encode()))

    def testSimulationIsOfAFileOrOfAText(self):
        self.assertRaises(TypeError, kvexa.Simulation, library=self.fake)
        self.assertRaises(TypeError, kvexa.Simulation, "a.toml", "", library=self.fake)
        for path in ("a\0b", b"a\0b", "\ud800"):
            self.assertRaises(kvexa.PathError, kvexa.Simulation, path, library=self.fake)
        self.assertEqual(self.fake.calls, [])

    def testErrorsHaveTheSentenceOfTheLibrary(self):
        self.fake.results["kvexaSimStartText"] = kvexa.simulation.KVEXA_SIM_BAD_DESCRIPTION
        self.fake.sentence = "description:1:8: unknown key \"größe\""
        with self.assertRaises(kvexa.SimulationError) as caught:
            self.simulation()
        error = caught.exception
        self.assertEqual(str(error), self.fake.sentence)
        self.assertEqual((error.call, error.result, error.name),
                         ("kvexaSimStartText", -2, "KVEXA_SIM_BAD_DESCRIPTION"))
        self.assertIsInstance(error, kvexa.Error)

    def testLongSentencesAreWhole(self):
        self.fake.results["kvexaSimStartText"] = -9
        for length in (1022, 1023, 1024, 5000):
            self.fake.sentence = "x" * length
            self.assertRaisesRegex(kvexa.SimulationError, "^x{%d}$" % length, self.simulation)
        self.fake.sentence = ""
        self.assertRaisesRegex(kvexa.SimulationError, "^kvexaSimStartText returned -9$", self.simulation)

    def testSecondSimulationIsRefusedAndLeavesTheFirstOne(self):
        with self.simulation():
            with self.assertRaisesRegex(kvexa.SimulationError, "runs already"):
                with self.simulation():
                    self.fail("it has started")
            self.assertTrue(self.fake.runs)

    def testSimulationThatRunsIsNotStopped(self):
        self.assertRaisesRegex(kvexa.SimulationError, "no simulation runs", kvexa.Simulation.running, self.fake)
        self.fake.runs = True
        with kvexa.Simulation.running(self.fake) as simulation:
            self.assertEqual(simulation.count("pcie"), 2)
        self.assertTrue(self.fake.runs)
        simulation.stop()
        self.assertFalse(self.fake.runs)

    def testSimulationIsStoppedOnce(self):
        with self.simulation() as simulation:
            simulation.stop()
        self.assertEqual(self.fake.calls.count(("kvexaSimStop",)), 1)
        self.assertRaisesRegex(kvexa.SimulationError, "no simulation runs", simulation.stop)

    def testFailureOfTheEndDoesNotHideTheReason(self):
        with self.assertRaises(ZeroDivisionError):
            with self.simulation():
                self.fake.runs = False
                raise ZeroDivisionError()
        with self.assertRaisesRegex(kvexa.SimulationError, "no simulation runs"):
            with self.simulation():
                self.fake.runs = False

    def testTime(self):
        with self.simulation() as simulation:
            self.assertEqual(simulation.time, (1 << 40) + 7)
            simulation.advance(1 << 41)
            self.assertEqual(simulation.time, 3 * (1 << 40) + 7)
            for wrong in (-1, 1 << 64):
                self.assertRaises(ValueError, simulation.advance, wrong)

    def testTrace(self):
        with self.simulation() as simulation:
            simulation.trace("ä.txt")
            simulation.trace(None)
        self.assertEqual(self.fake.calls[1:3], [("kvexaSimTrace", "ä.txt".encode()), ("kvexaSimTrace", None)])


class Boards(unittest.TestCase):
    def setUp(self):
        self.fake = FakeSimulation()
        self.simulation = kvexa.Simulation(text="", library=self.fake)
        self.board = self.simulation.board("PCIe", 1)
        self.fake.calls.clear()

    def testBoardThatIsNotThereIsTold(self):
        with self.assertRaisesRegex(kvexa.SimulationError, "no board of type 0 and index 1") as caught:
            self.simulation.board("usb", 1)
        self.assertEqual(caught.exception.name, "KVEXA_SIM_NO_BOARD")
        self.assertRaisesRegex(ValueError, "there are usb, pcie", self.simulation.board, "firewire")
        self.assertRaises(ValueError, self.simulation.board, "usb", -1)
        self.assertEqual((self.simulation.count("usb"), self.simulation.count(kvexa.KVEXA_BOARD_PCIE)), (1, 2))

    def testPlug(self):
        self.board.plug(False)
        self.board.plug()
        self.board.unplug()
        self.assertEqual(self.fake.calls, [("kvexaSimPlug", 1, 1, plugged) for plugged in (0, 1, 0)])

    def testScene(self):
        self.board.scene = "#8090a0"
        self.board.scene = pathlib.PurePath("straße.jpg")
        self.assertEqual(self.fake.calls, [("kvexaSimSetScene", 1, 1, b"#8090a0"),
                                           ("kvexaSimSetScene", 1, 1, "straße.jpg".encode())])
        self.assertRaises(AttributeError, lambda: self.board.scene)

    def testRegisters(self):
        self.board.write_board_register(0x214, 0xFFFFFFFF)
        self.board.write_sensor_register(0x214, 0x12)
        self.assertEqual(self.board.read_board_register(0x214), 0xFFFFFFFF)
        self.assertEqual(self.board.read_sensor_register(0x214), 0x12)
        self.assertEqual(self.board.read_board_register(0x218), 0)
        for wrong in (-1, 1 << 32):  # a number that did not fit would be cut
            self.assertRaises(ValueError, self.board.write_board_register, 0, wrong)
            self.assertRaises(ValueError, self.board.read_sensor_register, wrong)

    def testFaults(self):
        self.board.set_fault("refuse")
        self.board.set_fault("Refuse", 3, 5, and_after=True)
        self.board.set_fault("keep-status")
        self.board.set_fault("unplug", request=2)
        for number, name in ((2, "shorten"), (3, "corrupt"), (5, "answer"), (6, "answer-later")):
            self.assertRaisesRegex(ValueError, "wants a value", self.board.set_fault, name)
            self.board.set_fault(name, value=7)
            self.assertEqual(self.fake.calls.pop(), ("kvexaSimSetFault", 1, 1, 1, 0, number, 7))
        self.assertEqual([call[3:] for call in self.fake.calls], [(1, 0, 0, 31), (3, 1, 0, 5), (1, 0, 1, 0),
                                                                  (2, 0, 4, 0)])
        self.assertRaisesRegex(ValueError, "there are refuse, keep-status", self.board.set_fault, "melt")

    def testConditions(self):
        self.board.set_conditions(acknowledge=False)
        self.board.set_conditions(frames=False)
        self.board.set_conditions()
        self.board.clear_faults()
        self.assertEqual(self.fake.calls, [("kvexaSimSetConditions", 1, 1, *states)
                                           for states in ((0, 1), (1, 0), (1, 1))] + [("kvexaSimClearFaults", 1, 1)])


class Loading(unittest.TestCase):
    def testAnotherPythonIsToldSo(self):
        with self.assertRaisesRegex(kvexa.LibraryError, "^kvexa_sim.dll is a .*(32-bit Python|Python for Windows)"):
            kvexa.simulation.load("kvexa_sim.dll" if sys.maxsize > 1 << 32 else __file__)

    def testTheLibraryIsLookedForBesideTheOtherOneThatIsLoaded(self):
        loader = "kvexa.simulation.load"
        with tempfile.TemporaryDirectory() as folder:
            other = mock.Mock(path=os.path.join(folder, "KVEXA_LIB.dll"))
            beside = os.path.join(folder, "kvexa_sim.dll")
            with mock.patch.object(_library, "_shared", other), mock.patch.object(_library, "folders", lambda: []):
                with self.assertRaisesRegex(kvexa.LibraryError, r"^kvexa_sim.dll was not found: .*simulation\.load"):
                    _library.locate("kvexa_sim.dll", _library.loaded_folders(), loader)
                open(beside, "w").close()
                self.assertEqual(_library.locate("kvexa_sim.dll", _library.loaded_folders(), loader), beside)
        self.assertEqual(_library.loaded_folders(), [])


class Page(unittest.TestCase):
    def testProgramOfThePageRuns(self):
        program = next(block for block in re.findall(r"^```python\n(.*?)^```$", PAGE, re.M | re.S)
                       if "kvexa.Simulation" in block)
        board, simulated = FakeBoard(), FakeSimulation()
        with mock.patch.object(_library, "_shared", board), mock.patch.object(_simulation_library, "_shared", simulated):
            exec(compile(program, "the page", "exec"), {"kvexa": kvexa})
        self.assertEqual(simulated.calls[0][0], "kvexaSimStartText")
        self.assertEqual(simulated.calls[-1], ("kvexaSimStop",))
        self.assertFalse(simulated.runs)
        self.assertIn("kVexaOneShotCapture", board.calls)
        self.assertEqual(board.calls[-1], "kVexaDevClose")
        self.assertEqual(board.saved[0], b"frame.bmp")


if __name__ == "__main__":
    unittest.main()
