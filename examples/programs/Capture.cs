// Captures one frame into a file: Capture.exe sensor.csv capture.dat frame.raw
// csc /platform:x86 Capture.cs Kvexa.cs, with KVEXA_LIB.dll beside the program
using System;
using System.IO;
using System.Runtime.InteropServices;
using Kvexa;

static class Capture
{
    static void Check(string call, int result)
    {
        Console.WriteLine(call + ": " + Results.Describe(Results.Require(call, result)));
    }

    static byte[] Frame(ref BoardHandle board, ref CapParam param)
    {
        uint bytes, unit, width, height;
        Check("kVexaCalcFrameSizeEx", Native.kVexaCalcFrameSizeEx(
            ref param, out bytes, out unit, out width, out height, (uint)Constants.KVEXA_ALIGN_512));
        byte[] frame = new byte[bytes];
        GCHandle pinned = GCHandle.Alloc(frame, GCHandleType.Pinned);
        try
        {
            Check("kVexaOneShotCapture",
                Native.kVexaOneShotCapture(ref board, bytes, pinned.AddrOfPinnedObject(), 1000));
        }
        finally
        {
            pinned.Free();
        }
        return frame;
    }

    static int Main(string[] arguments)
    {
        BoardHandle board = new BoardHandle();
        CapParam param = new CapParam();
        try
        {
            Check("kVexaGetCapFileParam", Native.kVexaGetCapFileParam(arguments[1], ref param));
            Check("kVexaDevOpen", Native.kVexaDevOpen((uint)Constants.KVEXA_BOARD_USB, 0, ref board));
            Check("kVexaPowerV1On", Native.kVexaPowerV1On(ref board));
            Check("kVexaPowerV2On", Native.kVexaPowerV2On(ref board));
            Check("kVexaClockOn", Native.kVexaClockOn(ref board));
            Check("kVexaResetOff", Native.kVexaResetOff(ref board));
            Check("kVexaSetI2cFile", Native.kVexaSetI2cFile(arguments[0], ref board));
            Check("kVexaSetCapParam", Native.kVexaSetCapParam(ref board, ref param));
            File.WriteAllBytes(arguments[2], Frame(ref board, ref param));
            return 0;
        }
        catch (KvexaException failure)
        {
            Console.Error.WriteLine(failure.Message);
            return 1;
        }
        finally
        {
            if (board.driverHandle != IntPtr.Zero) Native.kVexaDevClose(ref board);
        }
    }
}
