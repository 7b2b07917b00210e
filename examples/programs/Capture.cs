// Captures one frame of the first USB board and saves it as a bitmap: Capture.exe [sensor.csv capture.dat frame.bmp]
// With a number behind them it then looks at as many frames through a ring: ... frame.bmp 100
//
// Without arguments it plays the two files that stand beside the program, and writes frame.bmp into the current
// folder. KVEXA_LIB.dll must stand beside the program.
//
//   csc /platform:x86 Capture.cs ..\bindings\*.cs
using System;
using System.IO;
using Kvexa;

static class Capture
{
    private static volatile bool stopped;

    private static void Stream(Board board, int count)
    {
        int number = 0;
        foreach (Frame frame in board.Frames(count))
        {
            if (stopped) break;
            // Whenever garbage is collected, the buffers of the ring stay where they are.
            GC.Collect();
            Console.WriteLine("frame " + ++number + ": first sample " + frame.Sample(0, 0));
        }
    }

    private static void Run(string registers, string parameters, string picture, int count)
    {
        CapParam param = Parameters.Read(parameters);
        using (Board board = new Board(BoardType.Usb, 0))
        {
            board.PowerUp();
            board.PlayRegisters(registers);
            board.Configure(param);
            int[] width = board.ReadRegister(0x36, 0x0104, 2);
            Console.WriteLine("the sensor's width: " + (width[0] << 8 | width[1]));
            if (stopped) return;
            board.Capture().BayerImage(BayerPattern.Grbg).Save(picture);
            Console.WriteLine(picture);
            if (!stopped) Stream(board, count);
        }
    }

    private static int Main(string[] arguments)
    {
        int count = 0;
        if (arguments.Length > 4 || arguments.Length == 4 && !int.TryParse(arguments[3], out count))
        {
            Console.Error.WriteLine("Capture [sensor.csv capture.dat frame.bmp [100]]");
            return 2;
        }
        // Ctrl-C: the program goes on to the end of its block, which powers the board down.
        Console.CancelKeyPress += (sender, key) => { stopped = key.Cancel = true; };
        string folder = AppDomain.CurrentDomain.BaseDirectory;
        try
        {
            Run(arguments.Length > 0 ? arguments[0] : Path.Combine(folder, "sensor.csv"),
                arguments.Length > 1 ? arguments[1] : Path.Combine(folder, "capture.dat"),
                arguments.Length > 2 ? arguments[2] : "frame.bmp", count);
            return stopped ? 1 : 0;
        }
        catch (KvexaException failure)
        {
            Console.Error.WriteLine(failure.Message);
            Console.Error.WriteLine(failure.Advice);
        }
        catch (Exception failure)
        {
            Console.Error.WriteLine(failure.Message);
        }
        return 1;
    }
}
