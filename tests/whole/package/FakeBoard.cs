// A board of the tests' own in the place of the DLL's functions: its frame n holds n in every byte.
using System;
using System.Collections.Generic;
using System.Runtime.InteropServices;
using System.Threading;
using Kvexa;
using Microsoft.Win32.SafeHandles;

static class FakeBoard
{
    public static List<string> Calls;
    public static Dictionary<string, int> Returns;
    public static int FrameNumber;
    public static int FrameValue; // of every frame, when it is not negative
    public static int LastFrame;  // of a capture; what follows does not come
    public static string File;
    public static string Saved;
    public static uint[] Written;
    public static uint Pattern, Bits, Kind;
    public static Action InPath;
    public static Exception AtFirst; // what the run-time system throws at the first call, or null
    public static volatile bool Paused;

    private static Thread worker;
    private static volatile bool stopping;

    public static void Reset()
    {
        Calls = new List<string>();
        Returns = new Dictionary<string, int>();
        FrameNumber = 0;
        FrameValue = -1;
        LastFrame = int.MaxValue;
        InPath = null;
        AtFirst = null;
        Paused = false;
    }

    public static int Called(string name)
    {
        lock (Calls) Calls.Add(name);
        int result;
        return Returns.TryGetValue(name, out result) ? result : 0;
    }

    private static void Fill(IntPtr address, uint size)
    {
        ++FrameNumber;
        byte[] frame = new byte[size];
        for (int i = 0; i < frame.Length; ++i) frame[i] = (byte)(FrameValue < 0 ? FrameNumber : FrameValue);
        Marshal.Copy(frame, 0, address, frame.Length);
    }

    public static int kVexaDevNum(out uint usb, out uint pcie)
    {
        usb = 1;
        pcie = 2;
        return 3;
    }

    public static uint kVexaCalcFrameSize(ref CapParam parameters, uint alignment)
    {
        if (AtFirst != null) throw AtFirst;
        return 0;
    }

    public static int kVexaDevOpen(uint type, uint index, ref BoardHandle board)
    {
        Called("kVexaDevOpen");
        if (index != 0) return Constants.KVEXA_OPEN_FAILED;
        board.driverHandle = new IntPtr(0x1234);
        board.boardType = type;
        return 0;
    }

    public static int kVexaDevClose(ref BoardHandle board)
    {
        board.driverHandle = IntPtr.Zero;
        return Called("kVexaDevClose");
    }

    public static int kVexaGetCapFileParam(string path, ref CapParam parameters)
    {
        if (InPath != null) InPath();
        parameters.HCNT = 8;
        parameters.VCNT = 6;
        parameters.BITWIDTH = (ushort)(path == "wide.dat" ? 10 : 8);
        parameters.SMIAIN = (ushort)(path == "packed.dat" ? 5 : 0);
        return path == "no.dat" ? Constants.KVEXA_FILE_NOT_OPENED : 0;
    }

    public static int kVexaSetI2cFile(string path, ref BoardHandle board)
    {
        File = path;
        return Called("kVexaSetI2cFile");
    }

    public static int kVexaCalcFrameSizeEx(
        ref CapParam parameters, out uint bytes, out uint unit, out uint width, out uint height, uint alignment)
    {
        unit = parameters.BITWIDTH > 8 ? 2u : 1u;
        width = parameters.HCNT;
        height = parameters.VCNT;
        bytes = parameters.SMIAIN == 5 ? 32u : 512u;
        return alignment == Constants.KVEXA_ALIGN_512 ? 0 : -54;
    }

    public static int kVexaOneShotCapture(ref BoardHandle board, uint bytes, IntPtr buffer, uint timeout)
    {
        int result = Called("kVexaOneShotCapture");
        if (FrameNumber < LastFrame) Fill(buffer, bytes);
        return result;
    }

    public static int kVexaRegRead(ref BoardHandle board, uint slave, uint address, uint mode, uint count, uint[] words)
    {
        for (uint i = 0; i < count; ++i) words[i] = slave + address + mode + i;
        return 0;
    }

    public static int kVexaRegWrite(ref BoardHandle board, uint slave, uint address, uint mode, uint count, uint[] words)
    {
        Written = words;
        return count == words.Length && mode == Constants.KVEXA_SLAVE7_SUB16 ? 0 : -54;
    }

    public static int kVexaFpgaRead(ref BoardHandle board, uint address, uint count, uint[] words)
    {
        words[0] = 0x1000 + address;
        return 0;
    }

    public static int kVexaFpgaWrite(ref BoardHandle board, uint address, uint count, uint[] words)
    {
        Written = words;
        return 0;
    }

    public static int kVexaRaw8ToRgb888(byte[] source, byte[] destination, uint width, uint height, uint pattern)
    {
        Pattern = pattern;
        for (int i = 0; i < destination.Length; ++i) destination[i] = source[0];
        return destination.Length == 3 * width * height ? 0 : -54;
    }

    public static int kVexaRaw16ToRgb888(
        ushort[] source, byte[] destination, uint width, uint height, uint pattern, uint bits)
    {
        Pattern = pattern;
        Bits = bits;
        destination[0] = (byte)(source[width * height - 1] >> 8);
        return source.Length == width * height ? 0 : -54;
    }

    public static int kVexaYuyv8ToRgbT2(
        byte[] source, IntPtr destination, uint width, uint height, uint method, uint order, uint format)
    {
        Marshal.WriteByte(destination, (int)(3 * width * height) - 1, source[0]);
        return method == Constants.KVEXA_YUYV_INTEGER_STUDIO && format == Constants.KVEXA_FORMAT_BGR24 ? 0 : -54;
    }

    public static int kVexaSaveBmpFile(
        string path, IntPtr image, uint width, uint height, ref SaveRect rect, uint format, uint kind)
    {
        Saved = path;
        Kind = kind;
        Called("kVexaSaveBmpFile");
        return path == "no.bmp" ? -200 : rect.width == width && rect.height == height && rect.x == 0 ? 0 : -54;
    }

    public static int kVexaSaveJpegFile(
        string path, IntPtr image, uint width, uint height, ref SaveRect rect, uint format, uint quality)
    {
        Saved = path;
        Kind = quality;
        return Called("kVexaSaveJpegFile");
    }

    public static int kVexaMultiShotCapArrayStart(ref BoardHandle board, uint bytes, uint count, IntPtr buffers,
        uint timeout, IntPtr events, IntPtr result)
    {
        int code = Called("kVexaMultiShotCapArrayStart");
        if (code != 0) return code;
        stopping = false;
        worker = new Thread(() => Work(bytes, (int)count, buffers, events, result));
        worker.IsBackground = true;
        worker.Start();
        return 0;
    }

    private static ManualResetEvent EventAt(IntPtr events, int i)
    {
        ManualResetEvent found = new ManualResetEvent(false);
        found.SafeWaitHandle = new SafeWaitHandle(Marshal.ReadIntPtr(events, i * IntPtr.Size), false);
        return found;
    }

    private static void Work(uint bytes, int count, IntPtr buffers, IntPtr events, IntPtr result)
    {
        for (int i = 0; !stopping && FrameNumber < LastFrame; i = (i + 1) % count)
        {
            while (!stopping && (Paused || EventAt(events, i).WaitOne(0))) Thread.Yield();
            if (stopping) break;
            Fill(Marshal.ReadIntPtr(buffers, i * IntPtr.Size), bytes);
            EventAt(events, i).Set();
        }
        Marshal.WriteInt32(result, stopping ? Constants.KVEXA_OK : Constants.KVEXA_TIMED_OUT);
        EventAt(events, count).Set();
    }

    public static int kVexaMultiShotCapArrayStop(ref BoardHandle board)
    {
        int code = Called("kVexaMultiShotCapArrayStop");
        if (code == Constants.KVEXA_BUSY) return code;
        EndWorker();
        return code;
    }

    public static void EndWorker()
    {
        stopping = true;
        if (worker != null) worker.Join();
        worker = null;
    }
}
