"""The Python package without its DLL, over a board of the tests' own.

    testPython.py FOLDER_OF_THE_PACKAGE
"""
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest
from unittest import mock

sys.dont_write_bytecode = True
sys.path.insert(0, sys.argv.pop(1))

import kvexa  # noqa: E402
from fakeBoard import FakeBoard  # noqa: E402
from kvexa import _library, _ring  # noqa: E402

try:
    import numpy
except ImportError:
    numpy = None

UP = ["kVexaPowerV1On", "kVexaPowerV2On", "kVexaClockOn", "kVexaResetOff"]
DOWN = ["kVexaResetOn", "kVexaClockOff", "kVexaPowerV2Off", "kVexaPowerV1Off"]


class Names(unittest.TestCase):
    def testNamesAreInTheCodePage(self):
        self.assertEqual(kvexa.ansi("größe.csv", "cp1252"), b"gr\xf6\xdfe.csv")
        self.assertEqual(kvexa.ansi("größe.csv", "cp437"), b"gr\x94\xe1e.csv")
        self.assertEqual(kvexa.ansi("表.dat", "cp932"), b"\x95\x5c.dat")
        self.assertEqual(kvexa.ansi(pathlib.PurePath("a.dat"), "cp1252"), b"a.dat")
        self.assertEqual(kvexa.ansi(b"\xff.dat", "cp1252"), b"\xff.dat")

    def testNamesThatTheCodePageCannotHoldAreRefused(self):
        for name in ("Ж.dat", "ā.dat", "表.dat", "Ａ.dat"):  # Windows itself would take a similar letter for some
            with self.assertRaises(kvexa.PathError) as caught:
                kvexa.ansi(name, "cp1252")
            self.assertIn(repr(name[0]), str(caught.exception))
            self.assertIn("ANSI code page", str(caught.exception))

    def testNamesThatAreNoneAreRefused(self):
        for name in ("", b"", "a\0b", b"a\0b"):
            self.assertRaises(kvexa.PathError, kvexa.ansi, name)
        self.assertRaises(TypeError, kvexa.ansi, 7)

    def testFilesAreNamedInTheMessage(self):
        board = kvexa.Board(library=FakeBoard())
        with self.assertRaisesRegex(kvexa.KvexaError, r"^no\.dat: kVexaGetCapFileParam returned -200 "):
            board.configure("no.dat")


class Codes(unittest.TestCase):
    def testErrorsTellWhatHappenedAndWhatToDo(self):
        with self.assertRaises(kvexa.KvexaError) as caught:
            kvexa.Board("usb", 7, FakeBoard())
        error = caught.exception
        self.assertEqual(str(error), "kVexaDevOpen returned -50 (no such board, or its driver would not open it)")
        self.assertEqual((error.call, error.result, error.name), ("kVexaDevOpen", -50, "KVEXA_OPEN_FAILED"))
        self.assertTrue(error.advice.startswith("Compare the index"))
        self.assertIsInstance(error, kvexa.Error)

    def testCodesThatAreNoneHaveNoAdvice(self):
        error = kvexa.KvexaError("kVexaSetCapParam", -99)
        self.assertEqual((str(error), error.name, error.advice), ("kVexaSetCapParam returned -99", None, None))


class Loading(unittest.TestCase):
    def testAnotherPythonIsToldSo(self):
        with self.assertRaisesRegex(kvexa.LibraryError, "32-bit Python|Python for Windows") as caught:
            kvexa.Board()
        self.assertIsInstance(caught.exception, OSError)

    def testTheLibraryIsLookedForBesideTheProgramAndOnThePath(self):
        with tempfile.TemporaryDirectory() as folder, mock.patch.dict(os.environ, PATH=folder):
            with self.assertRaisesRegex(kvexa.LibraryError, "^OTHER.dll was not found: "):
                _library.locate("OTHER.dll")
            there = os.path.join(folder, "OTHER.dll")
            open(there, "w").close()
            self.assertEqual(_library.locate("OTHER.dll"), there)
            program = os.path.join(folder, "program")
            os.mkdir(program)
            beside = os.path.join(program, "OTHER.dll")
            open(beside, "w").close()
            main = mock.Mock(__file__=os.path.join(program, "main.py"))
            with mock.patch.dict(sys.modules, __main__=main):
                self.assertEqual(_library.locate("OTHER.dll"), beside)
            self.assertEqual(_library.locate(there), there)

    def testTheUnpackedPackageIsLookedInto(self):
        bindings = pathlib.Path(kvexa.__file__).resolve().parents[1]
        self.assertIn(str(bindings), _library.folders())
        self.assertIn(str(bindings.parent / "bin"), _library.folders())


class Boards(unittest.TestCase):
    def setUp(self):
        self.fake = FakeBoard()

    def testBlockPowersDownAndCloses(self):
        with kvexa.Board("usb", 0, self.fake) as board:
            board.power_up()
        self.assertEqual(self.fake.calls, ["kVexaDevOpen"] + UP + DOWN + ["kVexaDevClose"])
        self.assertFalse(board.handle.driverHandle)
        board.close()
        self.assertEqual(self.fake.calls.count("kVexaDevClose"), 1)

    def testBoardThatWasNotPoweredIsLeftAsItIs(self):
        with kvexa.Board("PCIe", 0, self.fake) as board:
            self.assertEqual(board.handle.boardType, kvexa.KVEXA_BOARD_PCIE)
        self.assertEqual(self.fake.calls, ["kVexaDevOpen", "kVexaDevClose"])

    def testHalfPoweredBoardIsPoweredDown(self):
        self.fake.results["kVexaClockOn"] = -51
        with self.assertRaisesRegex(kvexa.KvexaError, "kVexaClockOn returned -51"):
            with kvexa.Board(library=self.fake) as board:
                board.power_up()
        self.assertEqual(self.fake.calls[-5:], DOWN + ["kVexaDevClose"])

    def testEveryEndingPowersDown(self):
        for ending in (KeyboardInterrupt, SystemExit, ZeroDivisionError):
            with self.assertRaises(ending):
                with kvexa.Board(library=self.fake) as board:
                    board.power_up()
                    raise ending()
            self.assertEqual(self.fake.calls[-5:], DOWN + ["kVexaDevClose"])

    def testFailureOfTheEndDoesNotHideTheReason(self):
        self.fake.results["kVexaClockOff"] = -51
        with self.assertRaises(ZeroDivisionError):
            with kvexa.Board(library=self.fake) as board:
                board.power_up()
                raise ZeroDivisionError()
        with self.assertRaisesRegex(kvexa.KvexaError, "kVexaClockOff returned -51"):
            with kvexa.Board(library=self.fake) as board:
                board.power_up()
        self.assertEqual(self.fake.calls[-5:], DOWN + ["kVexaDevClose"])

    def testUnknownKindIsRefused(self):
        with self.assertRaisesRegex(ValueError, "'firewire' is no kind of board: there are usb, pcie"):
            kvexa.Board("firewire", 0, self.fake)

    def testBoardsAreCounted(self):
        self.assertEqual(kvexa.count_boards(self.fake), kvexa.BoardCount(usb=1, pcie=2))

    def testRegisters(self):
        board = kvexa.Board(library=self.fake)
        self.assertEqual(board.read_register(0x36, 0x10, 3), [0x47, 0x48, 0x49])
        self.assertEqual(board.read_register(0x36, 0x10, mode=kvexa.KVEXA_SLAVE7_SUB8), [0x46])
        board.write_register(0x36, 0x0104, b"\x05\x00")
        self.assertEqual(self.fake.written, (0x36, 0x0104, kvexa.KVEXA_SLAVE7_SUB16, [5, 0]))
        board.write_register(0x36, 0x0100, 1)
        self.assertEqual(self.fake.written, (0x36, 0x0100, kvexa.KVEXA_SLAVE7_SUB16, [1]))
        self.assertEqual(board.read_board_register(0x21), 0x1021)
        board.write_board_register(0x21, 0xFFFF)
        self.assertEqual(self.fake.written, (0x21, 2, 0xFFFF))
        self.assertRaises(ValueError, board.read_register, kvexa.KVEXA_SLAVE_BOARD, 0x21, 2)

    def testFrameRate(self):
        board = kvexa.Board(library=self.fake)
        self.fake.results["kVexaGetFrameRate"] = 29.5
        self.assertEqual(board.frame_rate(), 29.5)
        self.fake.results["kVexaGetFrameRate"] = -54.0
        self.assertRaisesRegex(kvexa.KvexaError, "kVexaGetFrameRate returned -54", board.frame_rate)


class Frames(unittest.TestCase):
    def setUp(self):
        self.fake = FakeBoard()
        self.board = kvexa.Board(library=self.fake)

    def testFrameNeedsItsSize(self):
        self.assertRaisesRegex(ValueError, "configure", self.board.capture)
        self.assertRaisesRegex(ValueError, "configure", self.board.ring)

    def testFrameOfBytes(self):
        self.assertEqual(self.board.configure("capture.dat"), kvexa.FrameLayout(512, 1, 8, 6, 8))
        frame = self.board.capture()
        self.assertEqual((frame.width, frame.height, frame.shape), (8, 6, (6, 8)))
        self.assertEqual(bytes(frame.data), bytes([1]) * 512)
        self.assertEqual((frame.samples.shape, frame.samples.format, frame.samples[5, 7]), ((6, 8), "B", 1))
        frame.samples[5, 7] = 9
        self.assertEqual(frame.data[47], 9)

    def testFrameOfWords(self):
        self.board.configure(kvexa.read_parameters("wide.dat", self.fake))
        samples = self.board.capture().samples
        self.assertEqual((samples.shape, samples.format, samples[0, 0]), ((6, 8), "H", 0x0101))

    def testFrameOfGroups(self):
        self.board.configure("groups.dat")
        frame = self.board.capture()
        self.assertEqual(frame.samples.shape, (6, 8, 4))
        self.assertRaisesRegex(ValueError, "this one has 4", frame.bayer_image, "grbg")

    def testPackedFrameHasItsDataAlone(self):
        parameters = kvexa.read_parameters("capture.dat", self.fake)
        parameters.SMIAIN = 5
        self.board.configure(parameters)
        frame = self.board.capture()
        self.assertEqual(len(frame.data), 32)
        for packed in (lambda: frame.samples, lambda: frame.bayer_image("grbg"), frame.array):
            self.assertRaisesRegex(ValueError, "packed", packed)

    def testFrameThatDoesNotComeIsAnError(self):
        self.board.configure("capture.dat")
        self.fake.comes = False
        with self.assertRaises(kvexa.KvexaError) as caught:
            self.board.capture(200)
        self.assertEqual(caught.exception.result, kvexa.KVEXA_TIMED_OUT)

    def testFrameThatLooksLikeAMarkIsAFrame(self):
        self.board.configure("capture.dat")
        for value in (0xA5, 0x5A, 0):
            self.fake.frameValue = value
            self.assertEqual(set(self.board.capture().data), {value})

    def testPictures(self):
        self.board.configure("capture.dat")
        image = self.board.capture().bayer_image("GBRG")
        self.assertEqual(self.fake.converted, (1, 8, 6, kvexa.KVEXA_BAYER_GBRG))
        self.assertEqual((image.data.shape, image.data[5, 7, 2]), ((6, 8, 3), 1))
        image.save("frame.bmp")
        self.assertEqual(self.fake.saved, (b"frame.bmp", 8, 6, 8, 6, 10, kvexa.KVEXA_BMP_24_BITS))
        for name in ("frame.JPG", pathlib.PurePath("frame.jpeg"), b"frame.jpg"):
            image.save(name, 70)
            self.assertEqual(self.fake.saved, (kvexa.ansi(name), 8, 6, 8, 6, 10, 70))
        self.fake.results["kVexaSaveBmpFile"] = -200
        self.assertRaisesRegex(kvexa.KvexaError, "^no/x.bmp: kVexaSaveBmpFile returned -200", image.save, "no/x.bmp")

    def testPicturesOfWordsAndOfPairs(self):
        self.board.configure("wide.dat")
        frame = self.board.capture()
        frame.bayer_image(kvexa.KVEXA_BAYER_RGGB)
        self.assertEqual(self.fake.converted, (0x0101, 8, 6, kvexa.KVEXA_BAYER_RGGB, 10))
        frame.yuyv_image(order=1)
        self.assertEqual(self.fake.converted, (8, 6, kvexa.KVEXA_YUYV_INTEGER_STUDIO, 1, 10))
        self.assertRaisesRegex(ValueError, "there are grbg, rggb", frame.bayer_image, "rgb")

    def testWithoutNumPyThereIsAClearError(self):
        self.board.configure("capture.dat")
        with mock.patch.dict(sys.modules, numpy=None):
            self.assertRaisesRegex(ImportError, "NumPy is not installed", self.board.capture().array)

    @unittest.skipIf(numpy is None, "this Python has no NumPy")
    def testArrays(self):
        for name, kind, shape, value in (("capture.dat", "uint8", (6, 8), 1), ("wide.dat", "uint16", (6, 8), 0x0202),
                                         ("groups.dat", "uint8", (6, 8, 4), 3)):
            self.board.configure(name)
            frame = self.board.capture()
            array = frame.array()
            self.assertEqual((array.dtype.name, array.shape, array.flat[-1]), (kind, shape, value))
            array[:] = 77
            self.assertEqual(frame.data[0], value & 0xFF)
            self.assertTrue((numpy.asarray(frame) == frame.array()).all())
            self.assertEqual(numpy.asarray(frame, dtype=float).dtype, float)
            frame.array(copy=False)[:] = 7
            self.assertEqual(frame.data[0], 7)
        self.board.configure("capture.dat")
        image = self.board.capture().bayer_image("grbg")
        self.assertEqual((image.array().shape, image.array().dtype.name), ((6, 8, 3), "uint8"))
        self.assertEqual(numpy.array(image)[5, 7, 2], 4)


class Rings(unittest.TestCase):
    def setUp(self):
        self.fake = FakeBoard()
        self.board = kvexa.Board(library=self.fake)
        self.board.configure("capture.dat")
        self.events = self.fake.events

    def ring(self, buffers=3):
        return self.board.ring(buffers=buffers, events=self.events)

    def testFramesComeInOrder(self):
        values = []
        with self.ring() as ring:
            for frame in ring:
                values.append(set(frame.data))
                if len(values) == 20:
                    break
        self.assertEqual(values, [{i} for i in range(1, 21)])
        self.assertEqual(self.fake.calls[-3:], ["kVexaSetBufSize", "kVexaMultiShotCapArrayStart",
                                                "kVexaMultiShotCapArrayStop"])
        self.assertEqual(self.events.open, {})

    def testFrameThatIsHeldIsNotOverwritten(self):
        with self.ring(2) as ring:
            frame = ring.next()
            self.fake.work()
            self.assertEqual((set(frame.data), self.fake.frames), ({1}, 2))

    def testFrameEndsWithTheNextOne(self):
        with self.ring() as ring:
            first = ring.next()
            view, kept = first.data, first.copy()
            ring.next()
            self.assertRaises(ValueError, lambda: view[0])
            for use in (lambda: first.data, lambda: first.samples, lambda: first.bayer_image("grbg"), first.copy):
                self.assertRaisesRegex(ValueError, "given back", use)
        self.assertEqual(set(kept.data), {1})

    @unittest.skipIf(numpy is None, "this Python has no NumPy")
    def testArraysOutliveTheirRing(self):
        with self.ring(1) as ring:
            frame = ring.next()
            copied, shared = frame.array(), frame.array(copy=False)
            ring.next()
        self.assertEqual((copied.max(), shared.max()), (1, 2))

    def testCountedFrames(self):
        self.assertEqual([frame.data[0] for frame in self.board.frames(5, events=self.events)], [1, 2, 3, 4, 5])
        self.assertIsNone(self.fake.ring)

    def testFramesThatAreLeftEarlyEndTheCapture(self):
        for frame in self.board.frames(events=self.events):
            break
        self.assertIsNone(self.fake.ring)
        self.assertEqual(self.events.open, {})

    def testBoardEndsItsRing(self):
        frames = self.board.frames(events=self.events)
        next(frames)
        self.board.close()
        self.assertIsNone(self.fake.ring)
        self.assertEqual(self.fake.calls[-2:], ["kVexaMultiShotCapArrayStop", "kVexaDevClose"])
        self.assertEqual(self.events.open, {})
        frames.close()
        self.assertEqual(self.fake.calls.count("kVexaMultiShotCapArrayStop"), 1)

    def testCtrlCEndsTheCapture(self):
        with self.assertRaises(KeyboardInterrupt):
            with self.ring() as ring:
                ring.next()
                raise KeyboardInterrupt()
        self.assertIsNone(self.fake.ring)
        self.assertEqual(self.events.open, {})

    def testCtrlCInTheStartEndsTheCapture(self):
        started = self.fake.kVexaMultiShotCapArrayStart

        def interrupted(*arguments):
            started(*arguments)
            raise KeyboardInterrupt()

        self.fake.kVexaMultiShotCapArrayStart = interrupted
        with self.assertRaises(KeyboardInterrupt):
            with self.ring():
                self.fail("the start was interrupted")
        self.assertIsNone(self.fake.ring)

    def testFrameThatDoesNotComeEndsTheLoopInAnError(self):
        with self.assertRaises(kvexa.KvexaError) as caught:
            with self.ring() as ring:
                for frame in ring:
                    if frame.data[0] == 4:
                        self.fake.comes = False
        self.assertEqual((caught.exception.call, caught.exception.result), ("the capture", -52))
        self.assertEqual(self.events.open, {})

    def testCaptureStartsAnew(self):
        with self.ring() as ring:
            self.fake.comes = False
            self.assertRaises(kvexa.KvexaError, ring.next)
            self.assertEqual(ring.result, kvexa.KVEXA_TIMED_OUT)
            self.fake.comes = True
            ring.start()
            self.assertEqual(ring.next().data[0], 1)
            self.assertEqual(self.fake.calls.count("kVexaMultiShotCapArrayStop"), 1)

    def testWaitWithALimitCanEndWithoutAFrame(self):
        with self.ring() as ring, mock.patch.object(self.fake, "work", lambda: None):
            self.assertIsNone(ring.next(0))

    def testStartThatFailsLeavesNothing(self):
        self.fake.results["kVexaMultiShotCapArrayStart"] = kvexa.KVEXA_NOT_ON_PCIE
        with self.assertRaisesRegex(kvexa.KvexaError, "PCIe boards do not have this function"):
            with self.ring():
                self.fail("there is no capture")
        self.assertEqual(self.events.open, {})
        self.assertNotIn("kVexaMultiShotCapArrayStop", self.fake.calls)

    def testMemoryOfAWorkerThatHangsIsKept(self):
        before = list(_ring._abandoned)
        self.fake.results["kVexaMultiShotCapArrayStop"] = kvexa.KVEXA_BUSY
        with self.assertRaisesRegex(kvexa.KvexaError, "kVexaMultiShotCapArrayStop returned -59"):
            with self.ring() as ring:
                ring.next()
        kept = [memory for memory in _ring._abandoned if memory not in before]
        self.assertEqual(len(kept), 1)
        self.assertEqual(len(self.events.open), 4)
        self.assertRaisesRegex(ValueError, "closed", lambda: ring.result)

    def testMemoryOfAWorkerThatEndedLateIsFreed(self):
        self.fake.results["kVexaMultiShotCapArrayStop"] = kvexa.KVEXA_BUSY
        with self.assertRaises(kvexa.KvexaError):
            with self.ring() as ring:
                ring.next()
                self.events.open[self.fake.ring["events"][-1]] = True
        self.assertEqual(self.events.open, {})

    def testDropsAreTold(self):
        with self.ring() as ring:
            self.assertFalse(ring.dropped)
            self.fake.results["kVexaIsDropFrame"] = 1
            self.assertTrue(ring.dropped)

    def testRingOfNothingIsRefused(self):
        self.assertRaises(ValueError, self.board.ring, 0)


class Import(unittest.TestCase):
    def testImportLoadsNothingElse(self):
        code = "import sys; sys.path.insert(0, sys.argv[1]); import kvexa; sys.exit('numpy' in sys.modules)"
        folder = str(pathlib.Path(kvexa.__file__).parents[1])
        self.assertEqual(subprocess.run([sys.executable, "-B", "-c", code, folder]).returncode, 0)


if __name__ == "__main__":
    unittest.main()
