// The classes of KvexaSimulation.cs over the DLLs that ship, without "kvexa run": script/clients runs it with .NET for
// Windows. Leaves frame.bmp. Ends with the number of checks that failed.
using System;
using System.Collections.Generic;
using System.IO;
using Kvexa;

static class RealSimulation
{
    private const string Boards = "time = 'simulated'\n[[board]]\ntype = 'usb'\n[[board]]\ntype = 'pcie'\ncount = 2\n";

    private static int failed;

    private static void Expect<T>(string what, T wanted, T found)
    {
        if (EqualityComparer<T>.Default.Equals(wanted, found)) return;
        Console.WriteLine(what + ": " + found + " instead of " + wanted);
        ++failed;
    }

    private static void ExpectRefused(string what, int result, string sentence, Action action)
    {
        try
        {
            action();
            Expect(what, sentence, "nothing thrown");
        }
        catch (SimulationException refused)
        {
            Expect(what, result, refused.Result);
            if (!refused.Message.Contains(sentence)) Expect(what, sentence, refused.Message);
        }
    }

    // Before the library is loaded for the first time, and after.
    private static void PictureIsTaken()
    {
        using (Simulation.FromText("[[board]]\ntype = 'usb'\n"))
        using (Board board = new Board(BoardType.Usb, 0))
        {
            board.PowerUp();
            board.PlayRegisters("sensor.csv");
            board.Configure("capture.dat");
            board.Capture().BayerImage(BayerPattern.Grbg).Save("frame.bmp");
        }
        Expect("boards afterwards", 0, Board.Count(BoardType.Usb));
    }

    private static void NamesAndSentencesHoldAnyCharacter()
    {
        File.WriteAllText("größe 表.toml", "größe = 1\n");
        ExpectRefused("description", SimulationConstants.KVEXA_SIM_BAD_DESCRIPTION, "größe 表.toml",
            () => Simulation.FromFile("größe 表.toml"));
        File.WriteAllText("größe 表.toml", Boards);
        using (Simulation simulation = Simulation.FromFile("größe 表.toml"))
        {
            Expect("boards", "1 2", simulation.Count(BoardType.Usb) + " " + simulation.Count(BoardType.Pcie));
            simulation.Trace("spur 表.txt");
            Expect("boards that the library finds", 2, Board.Count(BoardType.Pcie));
            using (Board board = new Board(BoardType.Pcie, 1)) board.ReadBoardRegister(0x20);
            simulation.Trace(null);
        }
        Expect("trace", true, File.ReadAllText("spur 表.txt").Contains("pcie1 readRegister [00000000 00000020 "));
    }

    private static void BoardsDoAsTheyAreTold(Simulation simulation)
    {
        SimulatedBoard board = simulation.Board(BoardType.Pcie, 0);
        board.WriteBoardRegister(0x504, 0xFEDCBA98);
        board.WriteSensorRegister(0x3000, 0xA5);
        Expect("board register", 0xFEDCBA98, board.ReadBoardRegister(0x504));
        Expect("sensor register", (byte)0xA5, board.ReadSensorRegister(0x3000));
        board.Plug(false);
        Expect("boards", 1, Board.Count(BoardType.Pcie));
        board.Plug(true);
        board.SetFault(SimulationFault.Refuse, 31, andAfter: true);
        board.SetConditions(frames: false);
        board.ClearFaults();
        board.Scene = "#8090a0";
        using (Board opened = new Board(BoardType.Pcie, 0))
            Expect("register of the open board", 0xFEDCBA98, opened.ReadBoardRegister(0x504));
    }

    private static void RefusalsAreTold(Simulation simulation)
    {
        SimulatedBoard board = simulation.Board(BoardType.Pcie, 0);
        ExpectRefused("scene", SimulationConstants.KVEXA_SIM_BAD_FILE, "kein 表.bmp", () => board.Scene = "kein 表.bmp");
        ExpectRefused("fault", SimulationConstants.KVEXA_SIM_BAD_ARGUMENT, "do not have the fault",
            () => board.SetFault(SimulationFault.Corrupt, 1));
        ExpectRefused("board", SimulationConstants.KVEXA_SIM_NO_BOARD, "no board of type 0 and index 1",
            () => simulation.Board(BoardType.Usb, 1));
        ExpectRefused("second", SimulationConstants.KVEXA_SIM_RUNNING, "", () => Simulation.FromText(Boards));
    }

    private static void TimePasses(Simulation simulation)
    {
        TimeSpan start = simulation.Time;
        simulation.Advance(TimeSpan.FromHours(3));
        Expect("time", TimeSpan.FromHours(3), simulation.Time - start);
    }

    private static int Main()
    {
        try
        {
            PictureIsTaken();
            NamesAndSentencesHoldAnyCharacter();
            using (Simulation simulation = Simulation.FromText(Boards))
            {
                BoardsDoAsTheyAreTold(simulation);
                RefusalsAreTold(simulation);
                TimePasses(simulation);
                using (Simulation running = Simulation.Running()) Expect("running", 1, running.Count(BoardType.Usb));
                simulation.Stop();
            }
            ExpectRefused("end", SimulationConstants.KVEXA_SIM_NOT_RUNNING, "no simulation runs", () => Simulation.Running());
        }
        catch (Exception failure)
        {
            Console.WriteLine(failure);
            ++failed;
        }
        return failed;
    }
}
