// The classes of KvexaBoards.cs over a board of the tests' own. Ends with the number of checks that failed.
using System;
using System.Collections.Generic;
using System.Linq;
using Kvexa;

static class TestCsharp
{
    private static int failed;
    private static readonly string[] Up = { "kVexaPowerV1On", "kVexaPowerV2On", "kVexaClockOn", "kVexaResetOff" };
    private static readonly string[] Down = { "kVexaResetOn", "kVexaClockOff", "kVexaPowerV2Off", "kVexaPowerV1Off" };

    private static void Expect<T>(string what, T wanted, T found)
    {
        if (EqualityComparer<T>.Default.Equals(wanted, found)) return;
        Console.WriteLine(what + ": " + found + " instead of " + wanted);
        ++failed;
    }

    private static void ExpectThrown<T>(string what, string message, Action action) where T : Exception
    {
        try
        {
            action();
            Expect(what, message, "nothing thrown");
        }
        catch (T thrown)
        {
            if (!thrown.Message.Contains(message)) Expect(what, message, thrown.Message);
        }
    }

    private static string CallsFromEnd(int count)
    {
        return string.Join(" ", FakeBoard.Calls.Skip(FakeBoard.Calls.Count - count));
    }

    private static readonly string PoweredDownAndClosed = string.Join(" ", Down) + " kVexaDevClose";

    private static Board Configured(string parameters)
    {
        FakeBoard.Reset();
        Board board = new Board(BoardType.Usb, 0);
        board.Configure(parameters);
        return board;
    }

    private static void BlockPowersDownAndCloses()
    {
        using (Board board = new Board(BoardType.Usb, 0)) board.PowerUp();
        Expect("calls", "kVexaDevOpen " + string.Join(" ", Up) + " " + PoweredDownAndClosed,
            string.Join(" ", FakeBoard.Calls));
    }

    private static void BoardThatWasNotPoweredIsLeftAsItIs()
    {
        Board board = new Board(BoardType.Pcie, 0);
        Expect("type", 1u, board.Handle.boardType);
        board.Dispose();
        board.Dispose();
        Expect("calls", "kVexaDevOpen kVexaDevClose", string.Join(" ", FakeBoard.Calls));
    }

    private static void HalfPoweredBoardIsPoweredDown()
    {
        FakeBoard.Returns["kVexaClockOn"] = -51;
        ExpectThrown<KvexaException>("power up", "kVexaClockOn returned -51 (", () =>
        {
            using (Board board = new Board(BoardType.Usb, 0)) board.PowerUp();
        });
        Expect("calls", PoweredDownAndClosed, CallsFromEnd(5));
    }

    private static void FailureOfTheEndIsToldByCloseAlone()
    {
        FakeBoard.Returns["kVexaClockOff"] = -51;
        Board board = new Board(BoardType.Usb, 0);
        board.PowerUp();
        ExpectThrown<KvexaException>("close", "kVexaClockOff returned -51", board.Close);
        Expect("calls", PoweredDownAndClosed, CallsFromEnd(5));
        ExpectThrown<FormatException>("dispose", "reason", () =>
        {
            using (Board other = new Board(BoardType.Usb, 0))
            {
                other.PowerUp();
                throw new FormatException("reason");
            }
        });
        Expect("calls of dispose", PoweredDownAndClosed, CallsFromEnd(5));
    }

    private static void ErrorsTellWhatHappenedAndWhatToDo()
    {
        try
        {
            new Board(BoardType.Usb, 7);
            Expect("open", "failure", "nothing thrown");
        }
        catch (KvexaException failure)
        {
            Expect("message", "kVexaDevOpen returned -50 (no such board, or its driver would not open it)",
                failure.Message);
            Expect("name", "KVEXA_OPEN_FAILED", failure.Name);
            Expect("advice", true, failure.Advice.StartsWith("Compare the index"));
            Expect("call", "kVexaDevOpen", failure.Call);
        }
        Expect("no code", null, new KvexaException("call", -99).Advice);
    }

    private static void FilesAreNamedInTheMessage()
    {
        ExpectThrown<KvexaException>("parameters", "no.dat: kVexaGetCapFileParam returned -200",
            () => Parameters.Read("no.dat"));
        FakeBoard.InPath = () => { throw new ArgumentException("as the run-time system does for such names"); };
        ExpectThrown<ArgumentException>("name", "name.dat: the name is not in this computer's ANSI code page",
            () => Parameters.Read("name.dat"));
        ExpectThrown<ArgumentException>("no name", "missing", () => Parameters.Read(null));
    }

    // The first of all: later the library is known to be there.
    private static void MissingLibraryIsToldInWords()
    {
        FakeBoard.AtFirst = new DllNotFoundException();
        ExpectThrown<LibraryException>("no library", "put it beside the program", () => new Board(BoardType.Usb, 0));
        FakeBoard.AtFirst = new BadImageFormatException();
        ExpectThrown<LibraryException>("64 bits", "build the program for x86", () => Parameters.Read("capture.dat"));
        FakeBoard.AtFirst = new EntryPointNotFoundException();
        ExpectThrown<LibraryException>("version", "another version", () => new Image(4, 4));
        FakeBoard.AtFirst = null;
        Expect("boards", 2, Board.Count(BoardType.Pcie));
        Expect("boards", 1, Board.Count(BoardType.Usb));
    }

    private static void Registers()
    {
        Board board = new Board(BoardType.Usb, 0);
        Expect("read", "71 72 73", string.Join(" ", board.ReadRegister(0x36, 0x10, 3)));
        board.WriteRegister(0x36, 0x0104, new byte[] { 5, 0xFF });
        Expect("written", "5 255", string.Join(" ", FakeBoard.Written));
        Expect("board", 0x1021u, board.ReadBoardRegister(0x21));
        board.WriteBoardRegister(0x21, 77);
        Expect("board written", 77u, FakeBoard.Written[0]);
        ExpectThrown<ArgumentException>("board itself", "ReadBoardRegister", () => board.ReadRegister(0x80, 0));
        board.PlayRegisters("sensor.csv");
        Expect("file", "sensor.csv", FakeBoard.File);
        ExpectThrown<InvalidOperationException>("no size", "Configure", () => board.Capture());
    }

    private static void FramesOfBytes()
    {
        Frame frame = Configured("capture.dat").Capture();
        Expect("size", "8 x 6, 512", frame.Width + " x " + frame.Height + ", " + frame.Data.Length);
        Expect("sample", 1, frame.Sample(7, 5));
        ExpectThrown<ArgumentOutOfRangeException>("outside", "", () => frame.Sample(8, 0));
        Image image = frame.BayerImage(BayerPattern.Gbrg);
        Expect("pattern", (uint)Constants.KVEXA_BAYER_GBRG, FakeBoard.Pattern);
        Expect("pixels", "144 1", image.Pixels.Length + " " + image.Pixels[143]);
        image.Save("frame.bmp");
        Expect("bitmap", "frame.bmp 10000", FakeBoard.Saved + " " + FakeBoard.Kind);
        image.Save("frame.JPG", 70);
        Expect("picture", "frame.JPG 70", FakeBoard.Saved + " " + FakeBoard.Kind);
        ExpectThrown<KvexaException>("no folder", "no.bmp: kVexaSaveBmpFile returned -200", () => image.Save("no.bmp"));
    }

    private static void FramesOfWords()
    {
        Frame frame = Configured("wide.dat").Capture();
        Expect("sample", 0x0101, frame.Sample(7, 5));
        Expect("words", "48 257", frame.Words().Length + " " + frame.Words()[47]);
        frame.BayerImage(BayerPattern.Rggb);
        Expect("bits", 10u, FakeBoard.Bits);
        Expect("pair", 1, frame.YuyvImage().Pixels[143]);
        Frame packed = Configured("packed.dat").Capture();
        Expect("packed", 32, packed.Data.Length);
        ExpectThrown<InvalidOperationException>("packed", "packed", () => packed.BayerImage(BayerPattern.Grbg));
    }

    private static void FrameThatDoesNotComeIsAnError()
    {
        Board board = Configured("capture.dat");
        foreach (int value in new[] { 0xA5, 0x5A, 0 })
        {
            FakeBoard.FrameValue = value;
            Expect("mark", value, board.Capture().Sample(0, 0));
        }
        FakeBoard.LastFrame = 0;
        ExpectThrown<KvexaException>("no frame", "kVexaOneShotCapture returned -52", () => board.Capture(200));
    }

    private static void RingInOrder()
    {
        Board board = Configured("capture.dat");
        List<int> values = new List<int>();
        foreach (Frame frame in board.Frames(20, 3))
        {
            GC.Collect();
            values.Add(frame.Data.All(each => each == frame.Data[0]) ? frame.Data[0] : -1);
        }
        Expect("frames", string.Join(" ", Enumerable.Range(1, 20)), string.Join(" ", values));
        Expect("calls", "kVexaSetBufSize kVexaMultiShotCapArrayStart kVexaMultiShotCapArrayStop", CallsFromEnd(3));
    }

    private static void FrameEndsWithTheNextOne()
    {
        Board board = Configured("capture.dat");
        using (CaptureSession session = board.StartCapture(3))
        {
            Frame first = session.Next();
            Frame kept = first.Copy();
            session.Next();
            ExpectThrown<InvalidOperationException>("old frame", "given back", () => first.Data.ToString());
            Expect("kept", 1, kept.Sample(0, 0));
        }
    }

    private static void BreakEndsTheCapture()
    {
        Board board = Configured("capture.dat");
        foreach (Frame frame in board.Frames(20, 3)) break;
        using (CaptureSession session = board.StartCapture())
        {
            foreach (Frame frame in session) break;
        }
        Expect("stops", 2, FakeBoard.Calls.Count(each => each == "kVexaMultiShotCapArrayStop"));
        CaptureSession left = board.StartCapture();
        board.Close();
        Expect("calls", "kVexaMultiShotCapArrayStop kVexaDevClose", CallsFromEnd(2));
        left.Dispose();
        Expect("stops", 3, FakeBoard.Calls.Count(each => each == "kVexaMultiShotCapArrayStop"));
        ExpectThrown<InvalidOperationException>("closed", "", () => left.Next());
    }

    private static void FrameThatDoesNotComeEndsTheLoop()
    {
        Board board = Configured("capture.dat");
        FakeBoard.LastFrame = 4;
        int seen = 0;
        using (CaptureSession session = board.StartCapture(2))
        {
            ExpectThrown<KvexaException>("end", "the capture returned -52", () =>
            {
                foreach (Frame frame in session) seen = frame.Sample(0, 0);
            });
            Expect("last", 4, seen);
            Expect("result", Constants.KVEXA_TIMED_OUT, session.Result);
        }
        Expect("stopped", "kVexaMultiShotCapArrayStop", CallsFromEnd(1));
    }

    private static void WaitWithALimitCanEndWithoutAFrame()
    {
        Board board = Configured("capture.dat");
        FakeBoard.Paused = true;
        using (CaptureSession session = board.StartCapture(1))
        {
            Expect("no frame", null, session.Next(0));
            FakeBoard.Paused = false;
            Expect("frame", 1, session.Next().Sample(0, 0));
            Expect("dropped", false, session.Dropped);
            FakeBoard.Returns["kVexaIsDropFrame"] = 1;
            Expect("dropped", true, session.Dropped);
        }
    }

    private static void StartThatFailsLeavesNothing()
    {
        Board board = Configured("capture.dat");
        FakeBoard.Returns["kVexaMultiShotCapArrayStart"] = Constants.KVEXA_NOT_ON_PCIE;
        ExpectThrown<KvexaException>("start", "PCIe boards do not have this function", () => board.StartCapture());
        Expect("calls", "kVexaMultiShotCapArrayStart", CallsFromEnd(1));
    }

    private static void MemoryOfAWorkerThatHangsIsKept()
    {
        Board board = Configured("capture.dat");
        FakeBoard.Returns["kVexaMultiShotCapArrayStop"] = Constants.KVEXA_BUSY;
        CaptureSession session = board.StartCapture(2, 0);
        session.Next();
        ExpectThrown<KvexaException>("stop", "kVexaMultiShotCapArrayStop returned -59", session.Close);
        GC.Collect();
        FakeBoard.EndWorker(); // it writes into memory and sets an event that must be there still
        ExpectThrown<ObjectDisposedException>("closed", "", () => session.Result.ToString());
    }

    private static int Main()
    {
        Action[] tests =
        {
            MissingLibraryIsToldInWords, BlockPowersDownAndCloses, BoardThatWasNotPoweredIsLeftAsItIs,
            HalfPoweredBoardIsPoweredDown, FailureOfTheEndIsToldByCloseAlone, ErrorsTellWhatHappenedAndWhatToDo,
            FilesAreNamedInTheMessage, Registers, FramesOfBytes, FramesOfWords, FrameThatDoesNotComeIsAnError, RingInOrder,
            FrameEndsWithTheNextOne, BreakEndsTheCapture, FrameThatDoesNotComeEndsTheLoop,
            WaitWithALimitCanEndWithoutAFrame, StartThatFailsLeavesNothing, MemoryOfAWorkerThatHangsIsKept
        };
        foreach (Action test in tests)
        {
            FakeBoard.Reset();
            try
            {
                test();
            }
            catch (Exception failure)
            {
                Console.WriteLine(test.Method.Name + ": " + failure);
                ++failed;
            }
        }
        Console.WriteLine(tests.Length + " tests, " + failed + " checks failed");
        return failed;
    }
}
