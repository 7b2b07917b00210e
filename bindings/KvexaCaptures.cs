// Frame after frame for C# programs; belongs to KvexaBoards.cs.
using System;
using System.Collections;
using System.Collections.Generic;
using System.Runtime.InteropServices;
using System.Threading;

namespace Kvexa
{
    /// <summary>What the library's worker uses until it has set the last event: at addresses that stay.</summary>
    internal sealed class RingMemory
    {
        private static readonly List<RingMemory> Kept = new List<RingMemory>();

        public readonly byte[][] Frames;
        public readonly ManualResetEvent[] Events;
        public readonly IntPtr Addresses;
        public readonly IntPtr Handles;
        public readonly IntPtr ResultWord;

        private readonly int[] result = new int[1];
        private readonly List<GCHandle> pins = new List<GCHandle>();

        public RingMemory(int bytes, int count)
        {
            Frames = new byte[count][];
            Events = new ManualResetEvent[count + 1];
            IntPtr[] addresses = new IntPtr[count], handles = new IntPtr[count + 1];
            for (int i = 0; i < count; ++i)
            {
                Frames[i] = new byte[bytes];
                addresses[i] = Pin(Frames[i]);
            }
            for (int i = 0; i <= count; ++i)
            {
                Events[i] = new ManualResetEvent(false);
                handles[i] = Events[i].SafeWaitHandle.DangerousGetHandle();
            }
            Addresses = Pin(addresses);
            Handles = Pin(handles);
            ResultWord = Pin(result);
        }

        public ManualResetEvent End { get { return Events[Frames.Length]; } }
        public int Result { get { return Thread.VolatileRead(ref result[0]); } }

        private IntPtr Pin(object kept)
        {
            GCHandle pin = GCHandle.Alloc(kept, GCHandleType.Pinned);
            pins.Add(pin);
            return pin.AddrOfPinnedObject();
        }

        public void Free()
        {
            foreach (GCHandle pin in pins) pin.Free();
            pins.Clear();
            foreach (ManualResetEvent each in Events) each.Dispose();
        }

        /// <summary>Keeps it until the process ends: a worker that hangs in the driver may still write to it.</summary>
        public void Abandon()
        {
            lock (Kept) Kept.Add(this);
        }
    }

    /// <summary>
    /// Frames one after another into buffers that the board fills while earlier ones are looked at; Board.StartCapture
    /// makes it. A frame is the session's own memory until the next one is taken. A frame that does not come within the
    /// time-out ends the capture: Next then throws, and Start begins anew. One session a process at a time, for one
    /// thread.
    /// </summary>
    public sealed class CaptureSession : IDisposable, IEnumerable<Frame>
    {
        private readonly Board board;
        private readonly FrameLayout layout;
        private readonly int timeout;
        private readonly double boardMemory;
        private RingMemory memory;
        private Frame frame;
        private int current;
        private bool running;

        public CaptureSession(Board board, int buffers, int timeout, double boardMemory)
        {
            if (buffers < 1) throw new ArgumentOutOfRangeException("buffers");
            this.board = board;
            this.timeout = timeout;
            this.boardMemory = boardMemory;
            layout = board.Layout;
            memory = new RingMemory(layout.Bytes, buffers);
        }

        /// <summary>Begins the capture; what is left of an earlier one is over with it.</summary>
        public void Start()
        {
            Stop();
            RingMemory live = Live();
            if (boardMemory > 0)
                Results.Require("kVexaSetBufSize", Native.kVexaSetBufSize(ref board.Handle, boardMemory));
            current = 0;
            Results.Require("kVexaMultiShotCapArrayStart", Native.kVexaMultiShotCapArrayStart(ref board.Handle,
                (uint)layout.Bytes, (uint)live.Frames.Length, live.Addresses, (uint)timeout, live.Handles,
                live.ResultWord));
            running = true;
            board.Own(this);
        }

        /// <summary>
        /// Gives the last frame back, and waits for the next one. Null when the time, in milliseconds, is over before;
        /// KvexaException when the capture has ended by itself.
        /// </summary>
        public Frame Next(int milliseconds = Timeout.Infinite)
        {
            if (!running) throw new InvalidOperationException("no capture runs in this session");
            GiveBack();
            // The first one that is set counts, so frames that are there come before the end.
            WaitHandle[] either = { memory.Events[current], memory.End };
            int found = WaitHandle.WaitAny(either, milliseconds);
            if (found == WaitHandle.WaitTimeout) return null;
            if (found == 1) throw new KvexaException("the capture", memory.Result);
            frame = new Frame(memory.Frames[current], layout);
            return frame;
        }

        /// <summary>Frame after frame, until the capture is stopped.</summary>
        public IEnumerator<Frame> GetEnumerator()
        {
            while (running) yield return Next();
        }

        IEnumerator IEnumerable.GetEnumerator()
        {
            return GetEnumerator();
        }

        /// <summary>How the capture stands: KVEXA_OK, KVEXA_TIMED_OUT or KVEXA_BUSY.</summary>
        public int Result { get { return Live().Result; } }

        /// <summary>Whether the board lost frames because its memory was full.</summary>
        public bool Dropped
        {
            get { return Results.Require("kVexaIsDropFrame", Native.kVexaIsDropFrame(ref board.Handle)) != 0; }
        }

        /// <summary>Ends the capture. Right when none runs, too.</summary>
        public void Stop()
        {
            if (!running) return;
            running = false;
            EndFrame();
            int result = Native.kVexaMultiShotCapArrayStop(ref board.Handle);
            if (result == Constants.KVEXA_BUSY && !memory.End.WaitOne(timeout))
            {
                memory.Abandon();
                memory = null;
            }
            Results.Require("kVexaMultiShotCapArrayStop", result);
        }

        /// <summary>Ends the capture, gives the memory back, and tells what failed.</summary>
        public void Close()
        {
            try
            {
                Stop();
            }
            finally
            {
                if (memory != null) memory.Free();
                memory = null;
                board.Disown(this);
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

        private RingMemory Live()
        {
            if (memory == null) throw new ObjectDisposedException("CaptureSession");
            return memory;
        }

        private bool EndFrame()
        {
            if (frame == null) return false;
            frame.GiveBack();
            frame = null;
            return true;
        }

        private void GiveBack()
        {
            if (!EndFrame()) return;
            memory.Events[current].Reset();
            current = (current + 1) % memory.Frames.Length;
        }
    }
}
