// The classes of KvexaSimulation.cs over a simulation of the tests' own. Ends with the number of checks that failed.
using System;
using System.Collections.Generic;
using System.Linq;
using System.Text;
using Kvexa;

static class TestSimulation
{
    private static int failed;

    private static void Expect<T>(string what, T wanted, T found)
    {
        if (EqualityComparer<T>.Default.Equals(wanted, found)) return;
        Console.WriteLine(what + ": " + found + " instead of " + wanted);
        ++failed;
    }

    private static T ExpectThrown<T>(string what, string message, Action action) where T : Exception
    {
        try
        {
            action();
        }
        catch (T thrown)
        {
            if (!thrown.Message.Contains(message)) Expect(what, message, thrown.Message);
            return thrown;
        }
        Expect(what, message, "nothing thrown");
        return null;
    }

    private static string Calls { get { return string.Join("; ", FakeSimulation.Calls); } }

    // The first of all: later the library is known to be there.
    private static void MissingLibraryIsToldInWords()
    {
        FakeSimulation.AtFirst = new DllNotFoundException();
        ExpectThrown<LibraryException>("no library", "kvexa_sim.dll was not found: put it beside the program",
            () => Simulation.FromFile("a.toml"));
        FakeSimulation.AtFirst = new BadImageFormatException();
        ExpectThrown<LibraryException>("64 bits", "kvexa_sim.dll is a 32-bit", () => Simulation.FromText(""));
        FakeSimulation.AtFirst = new EntryPointNotFoundException();
        ExpectThrown<LibraryException>("version", "kvexa_sim.dll is another version", () => Simulation.Running());
        Expect("calls", "", Calls);
    }

    private static void BlockStartsAndStops()
    {
        using (Simulation.FromFile("größe.toml")) Expect("runs", true, FakeSimulation.Runs);
        using (Simulation.FromText("# Ж")) Expect("runs", true, FakeSimulation.Runs);
        Expect("calls", "kvexaSimStartFile größe.toml; kvexaSimStop; kvexaSimStartText # Ж; kvexaSimStop", Calls);
    }

    private static void TextsThatWouldBeOthersAreRefused()
    {
        ExpectThrown<ArgumentNullException>("null", "path", () => Simulation.FromFile(null));
        ExpectThrown<ArgumentException>("zero", "zero", () => Simulation.FromFile("a\0b"));
        ExpectThrown<EncoderFallbackException>("half", "", () => Simulation.FromText("\ud800"));
        Expect("calls", "", Calls);
    }

    private static void ErrorsHaveTheSentenceOfTheLibrary()
    {
        FakeSimulation.Returns["kvexaSimStartText"] = SimulationConstants.KVEXA_SIM_BAD_DESCRIPTION;
        FakeSimulation.Sentence = "description:1:8: unknown key \"größe\"";
        SimulationException failure = ExpectThrown<SimulationException>(
            "start", FakeSimulation.Sentence, () => Simulation.FromText(""));
        Expect("call", "kvexaSimStartText", failure.Call);
        Expect("result", -2, failure.Result);
        Expect("name", "KVEXA_SIM_BAD_DESCRIPTION", failure.Name);
        foreach (int length in new[] { 1022, 1023, 1024, 5000 })
        {
            FakeSimulation.Sentence = new string('x', length);
            failure = ExpectThrown<SimulationException>("long", "x", () => Simulation.FromText(""));
            Expect("length", length, failure.Message.Length);
        }
        FakeSimulation.Sentence = "";
        ExpectThrown<SimulationException>("none", "kvexaSimStartText returned -2", () => Simulation.FromText(""));
        Expect("no code", null, new SimulationException("call", -99, "").Name);
    }

    private static void SecondSimulationIsRefusedAndLeavesTheFirstOne()
    {
        using (Simulation.FromText(""))
        {
            ExpectThrown<SimulationException>("second", "runs already", () => Simulation.FromText(""));
            Expect("runs", true, FakeSimulation.Runs);
        }
        Expect("runs", false, FakeSimulation.Runs);
    }

    private static void SimulationThatRunsIsNotStopped()
    {
        ExpectThrown<SimulationException>("none", "no simulation runs", () => Simulation.Running());
        FakeSimulation.Runs = true;
        Simulation running = Simulation.Running();
        using (running) Expect("boards", 2, running.Count(BoardType.Pcie));
        Expect("runs", true, FakeSimulation.Runs);
        running.Stop();
        Expect("runs", false, FakeSimulation.Runs);
    }

    private static void SimulationIsStoppedOnce()
    {
        Simulation simulation = Simulation.FromText("");
        using (simulation) simulation.Stop();
        simulation.Dispose();
        Expect("stops", 1, FakeSimulation.Calls.Count(each => each == "kvexaSimStop"));
        ExpectThrown<SimulationException>("stop", "no simulation runs", simulation.Stop);
    }

    private static void FailureOfTheEndDoesNotHideTheReason()
    {
        ExpectThrown<FormatException>("dispose", "reason", () =>
        {
            using (Simulation.FromText(""))
            {
                FakeSimulation.Runs = false;
                throw new FormatException("reason");
            }
        });
        Expect("stops", 1, FakeSimulation.Calls.Count(each => each == "kvexaSimStop"));
    }

    private static void TimeIsExact()
    {
        Simulation simulation = Simulation.FromText("");
        Expect("time", 10L * ((1L << 40) + 7), simulation.Time.Ticks);
        simulation.Advance(TimeSpan.FromMilliseconds(5));
        Expect("advanced", 10L * ((1L << 40) + 5007), simulation.Time.Ticks);
        ExpectThrown<OverflowException>("back", "", () => simulation.Advance(TimeSpan.FromMilliseconds(-1)));
        FakeSimulation.Now = ulong.MaxValue;
        ExpectThrown<OverflowException>("too late", "", () => simulation.Time.ToString());
    }

    private static void TraceBeginsAndEnds()
    {
        Simulation simulation = Simulation.FromText("");
        simulation.Trace("ä.txt");
        simulation.Trace(null);
        Expect("calls", "kvexaSimStartText; kvexaSimTrace ä.txt; kvexaSimTrace null", Calls);
    }

    private static SimulatedBoard SecondPcieBoard()
    {
        SimulatedBoard board = Simulation.FromText("").Board(BoardType.Pcie, 1);
        FakeSimulation.Calls.Clear();
        return board;
    }

    private static void BoardThatIsNotThereIsTold()
    {
        Simulation simulation = Simulation.FromText("");
        SimulationException failure = ExpectThrown<SimulationException>(
            "board", "no board of type 0 and index 1", () => simulation.Board(BoardType.Usb, 1));
        Expect("name", "KVEXA_SIM_NO_BOARD", failure.Name);
        ExpectThrown<OverflowException>("number", "", () => simulation.Board(BoardType.Usb, -1));
    }

    private static void BoardsArePluggedAndSee()
    {
        SimulatedBoard board = SecondPcieBoard();
        board.Plug(false);
        board.Plug(true);
        board.Scene = "straße.jpg";
        Expect("calls", "kvexaSimPlug 1 1 0; kvexaSimPlug 1 1 1; kvexaSimSetScene 1 1 straße.jpg", Calls);
        ExpectThrown<ArgumentNullException>("null", "value", () => board.Scene = null);
    }

    private static void Registers()
    {
        SimulatedBoard board = SecondPcieBoard();
        board.WriteBoardRegister(0x214, 0xFFFFFFFF);
        board.WriteSensorRegister(0x214, 0xA5);
        Expect("board", 0xFFFFFFFF, board.ReadBoardRegister(0x214));
        Expect("sensor", (byte)0xA5, board.ReadSensorRegister(0x214));
        Expect("other", 0u, board.ReadBoardRegister(0x218));
        ExpectThrown<OverflowException>("address", "", () => board.ReadSensorRegister(-1));
    }

    private static void FaultsAndConditions()
    {
        SimulatedBoard board = SecondPcieBoard();
        board.SetFault(SimulationFault.Refuse, 31);
        board.SetFault(SimulationFault.AnswerLater, 7, request: 3, andAfter: true);
        board.SetFault(SimulationFault.Unplug);
        board.SetConditions(acknowledge: false);
        board.SetConditions(frames: false);
        board.SetConditions();
        board.ClearFaults();
        Expect("calls", "kvexaSimSetFault 1 1 1 0 0 31; kvexaSimSetFault 1 1 3 1 6 7; kvexaSimSetFault 1 1 1 0 4 0; " +
            "kvexaSimSetConditions 1 1 0 1; kvexaSimSetConditions 1 1 1 0; kvexaSimSetConditions 1 1 1 1; " +
            "kvexaSimClearFaults 1 1", Calls);
        ExpectThrown<OverflowException>("request", "", () => board.SetFault(SimulationFault.Refuse, 31, -1));
    }

    private static int Main()
    {
        Action[] tests =
        {
            MissingLibraryIsToldInWords, BlockStartsAndStops, TextsThatWouldBeOthersAreRefused,
            ErrorsHaveTheSentenceOfTheLibrary, SecondSimulationIsRefusedAndLeavesTheFirstOne,
            SimulationThatRunsIsNotStopped, SimulationIsStoppedOnce, FailureOfTheEndDoesNotHideTheReason, TimeIsExact,
            TraceBeginsAndEnds, BoardThatIsNotThereIsTold, BoardsArePluggedAndSee, Registers, FaultsAndConditions
        };
        foreach (Action test in tests)
        {
            FakeSimulation.Reset();
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
