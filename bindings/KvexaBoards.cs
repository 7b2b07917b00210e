// Boards, captures and frames for C# programs, over the functions of Kvexa.cs.
//
//     using (Board board = new Board(BoardType.Usb, 0))
//     {
//         board.PowerUp();
//         board.PlayRegisters("sensor.csv");
//         board.Configure("capture.dat");
//         board.Capture().BayerImage(BayerPattern.Grbg).Save("frame.bmp");
//     }
//
// At the end of the block the board is powered down and closed. What goes wrong is a KvexaException, whose Message
// and Advice say it in words, or a LibraryException when the DLL is missing or not for this program. Nothing has
// to be pinned. Written in C# 5, which the compiler of every Windows since 8 knows.
using System;
using System.Collections.Generic;

namespace Kvexa
{
    public enum BoardType
    {
        Usb = Constants.KVEXA_BOARD_USB,
        Pcie = Constants.KVEXA_BOARD_PCIE
    }

    /// <summary>
    /// An open board, for one thread. Disposing of it ends its captures, switches off what PowerUp switched on, and
    /// closes it; Close does the same and tells what failed.
    /// </summary>
    public sealed class Board : IDisposable
    {
        private delegate int Switch(ref BoardHandle board);

        // A USB board does not tell when no frame comes. A frame that is one of these through and through is not
        // the other one as well.
        private static readonly byte[] Marks = { 0xA5, 0x5A };

        /// <summary>For the functions of Native: ref board.Handle.</summary>
        public BoardHandle Handle;

        private readonly List<CaptureSession> sessions = new List<CaptureSession>();
        private FrameLayout layout;
        private bool powered;

        public Board(BoardType type, int index)
        {
            Library.Require();
            Handle = new BoardHandle();
            Results.Require("kVexaDevOpen", Native.kVexaDevOpen((uint)type, (uint)index, ref Handle));
        }

        /// <summary>How many boards of a type are present.</summary>
        public static int Count(BoardType type)
        {
            Library.Require();
            uint usb, pcie;
            Results.Require("kVexaDevNum", Native.kVexaDevNum(out usb, out pcie));
            return (int)(type == BoardType.Usb ? usb : pcie);
        }

        /// <summary>Supplies and clock on, then out of reset.</summary>
        public void PowerUp()
        {
            powered = true;
            Results.Require("kVexaPowerV1On", Native.kVexaPowerV1On(ref Handle));
            Results.Require("kVexaPowerV2On", Native.kVexaPowerV2On(ref Handle));
            Results.Require("kVexaClockOn", Native.kVexaClockOn(ref Handle));
            Results.Require("kVexaResetOff", Native.kVexaResetOff(ref Handle));
        }

        /// <summary>The way back, to its end whatever fails; then the first failure is thrown.</summary>
        public void PowerDown()
        {
            powered = false;
            KvexaException failure = null;
            TurnOff("kVexaResetOn", Native.kVexaResetOn, ref failure);
            TurnOff("kVexaClockOff", Native.kVexaClockOff, ref failure);
            TurnOff("kVexaPowerV2Off", Native.kVexaPowerV2Off, ref failure);
            TurnOff("kVexaPowerV1Off", Native.kVexaPowerV1Off, ref failure);
            if (failure != null) throw failure;
        }

        private void TurnOff(string call, Switch function, ref KvexaException failure)
        {
            int result = function(ref Handle);
            if (result < 0 && failure == null) failure = new KvexaException(call, result);
        }

        /// <summary>Plays a register-setting file into the sensor.</summary>
        public void PlayRegisters(string path)
        {
            Library.Named("kVexaSetI2cFile", path, () => Native.kVexaSetI2cFile(path, ref Handle));
        }

        /// <summary>Reads bytes from a device on the sensor bus. The mode is a KvexaAddressMode.</summary>
        public int[] ReadRegister(int slave, int address, int count = 1, int mode = Constants.KVEXA_SLAVE7_SUB16)
        {
            RefuseBoardItself(slave);
            uint[] words = new uint[count];
            Results.Require("kVexaRegRead",
                Native.kVexaRegRead(ref Handle, (uint)slave, (uint)address, (uint)mode, (uint)count, words));
            return Array.ConvertAll(words, word => unchecked((int)word));
        }

        /// <summary>Writes bytes to a device on the sensor bus. The mode is a KvexaAddressMode.</summary>
        public void WriteRegister(int slave, int address, byte[] values, int mode = Constants.KVEXA_SLAVE7_SUB16)
        {
            RefuseBoardItself(slave);
            uint[] words = Array.ConvertAll(values, value => (uint)value);
            Results.Require("kVexaRegWrite",
                Native.kVexaRegWrite(ref Handle, (uint)slave, (uint)address, (uint)mode, (uint)words.Length, words));
        }

        private static void RefuseBoardItself(int slave)
        {
            if (slave != Constants.KVEXA_SLAVE_BOARD) return;
            throw new ArgumentException(
                "the board's own registers are those of ReadBoardRegister and WriteBoardRegister", "slave");
        }

        /// <summary>A register of the board itself: 16 bits on USB boards, 32 on PCIe boards.</summary>
        public uint ReadBoardRegister(int address)
        {
            uint[] word = new uint[1];
            Results.Require("kVexaFpgaRead", Native.kVexaFpgaRead(ref Handle, (uint)address, 2, word));
            return word[0];
        }

        public void WriteBoardRegister(int address, uint value)
        {
            uint[] word = { value };
            Results.Require("kVexaFpgaWrite", Native.kVexaFpgaWrite(ref Handle, (uint)address, 2, word));
        }

        /// <summary>Sets the capture up by a capture-parameter file.</summary>
        public FrameLayout Configure(string path)
        {
            return Configure(Parameters.Read(path));
        }

        public FrameLayout Configure(CapParam parameters)
        {
            FrameLayout size = Parameters.LayoutOf(parameters);
            Results.Require("kVexaSetCapParam", Native.kVexaSetCapParam(ref Handle, ref parameters));
            layout = size;
            return size;
        }

        /// <summary>The size of a frame, once Configure has been called.</summary>
        public FrameLayout Layout
        {
            get
            {
                if (layout.Bytes == 0)
                    throw new InvalidOperationException("the size of a frame is not known: call Configure before");
                return layout;
            }
        }

        /// <summary>Frames a second that come in, as the board measures them; 0.0 when none come.</summary>
        public double FrameRate()
        {
            double rate = Native.kVexaGetFrameRate(ref Handle);
            if (rate < 0) throw new KvexaException("kVexaGetFrameRate", (int)rate);
            return rate;
        }

        /// <summary>
        /// One frame. When none comes within the time-out, in milliseconds, KvexaException with KVEXA_TIMED_OUT is
        /// thrown on either board.
        /// </summary>
        public Frame Capture(int timeout = 1000)
        {
            foreach (byte mark in Marks)
            {
                byte[] memory = new byte[Layout.Bytes];
                for (int i = 0; i < memory.Length; ++i) memory[i] = mark;
                Results.Require("kVexaOneShotCapture", Library.Pinned(memory, address =>
                    Native.kVexaOneShotCapture(ref Handle, (uint)memory.Length, address, (uint)timeout)));
                byte unwritten = mark;
                if (Handle.boardType != Constants.KVEXA_BOARD_USB || !Array.TrueForAll(memory, each => each == unwritten))
                    return new Frame(memory, layout);
            }
            throw new KvexaException("kVexaOneShotCapture", Constants.KVEXA_TIMED_OUT);
        }

        /// <summary>
        /// Begins a capture through a ring of buffers, of a USB board. boardMemory is the part of the board's memory,
        /// in MiB, where frames wait while the buffers are full; 0 leaves it as it is.
        /// </summary>
        public CaptureSession StartCapture(int buffers = 8, int timeout = 1000, double boardMemory = 31.0)
        {
            CaptureSession session = new CaptureSession(this, buffers, timeout, boardMemory);
            try
            {
                session.Start();
            }
            catch
            {
                session.Dispose();
                throw;
            }
            return session;
        }

        /// <summary>The next frames through a ring, as many as asked for.</summary>
        public IEnumerable<Frame> Frames(int count, int buffers = 8, int timeout = 1000, double boardMemory = 31.0)
        {
            using (CaptureSession session = StartCapture(buffers, timeout, boardMemory))
            {
                for (int i = 0; i < count; ++i) yield return session.Next();
                session.Stop();
            }
        }

        internal void Own(CaptureSession session)
        {
            if (!sessions.Contains(session)) sessions.Add(session);
        }

        internal void Disown(CaptureSession session)
        {
            sessions.Remove(session);
        }

        /// <summary>
        /// Ends captures, powers down, closes; each of them whatever the others do, then the first failure is thrown.
        /// Right for a board that is closed, too.
        /// </summary>
        public void Close()
        {
            KvexaException failure = null;
            foreach (CaptureSession session in sessions.ToArray()) Attempt(session.Close, ref failure);
            if (powered) Attempt(PowerDown, ref failure);
            if (Handle.driverHandle != IntPtr.Zero)
                Attempt(() => Results.Require("kVexaDevClose", Native.kVexaDevClose(ref Handle)), ref failure);
            if (failure != null) throw failure;
        }

        private static void Attempt(Action step, ref KvexaException failure)
        {
            try
            {
                step();
            }
            catch (KvexaException found)
            {
                if (failure == null) failure = found;
            }
        }

        public void Dispose()
        {
            try
            {
                Close();
            }
            catch (KvexaException)
            {
                // What ended the block is more to the point.
            }
        }
    }
}
