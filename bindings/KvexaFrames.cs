// Frames, pictures and capture parameters for C# programs; belongs to KvexaBoards.cs.
using System;
using System.Runtime.InteropServices;

namespace Kvexa
{
    /// <summary>The colours of the top-left four samples, row 0 first.</summary>
    public enum BayerPattern
    {
        Grbg = Constants.KVEXA_BAYER_GRBG,
        Rggb = Constants.KVEXA_BAYER_RGGB,
        Bggr = Constants.KVEXA_BAYER_BGGR,
        Gbrg = Constants.KVEXA_BAYER_GBRG
    }

    /// <summary>KVEXA_LIB.dll or kvexa_sim.dll is not there, or is not for this program.</summary>
    public class LibraryException : Exception
    {
        public LibraryException(string message, Exception inner) : base(message, inner)
        {
        }
    }

    internal static class Library
    {
        private static volatile bool isThere;

        /// <summary>Called before the first use: the run-time system's own words do not help a user.</summary>
        public static void Require()
        {
            if (isThere) return;
            First("KVEXA_LIB.dll", () =>
            {
                CapParam none = new CapParam();
                Native.kVexaCalcFrameSize(ref none, (uint)Constants.KVEXA_ALIGN_4);
            });
            isThere = true;
        }

        /// <summary>The first call into a DLL.</summary>
        public static void First(string name, Action call)
        {
            try
            {
                call();
            }
            catch (DllNotFoundException failure)
            {
                throw new LibraryException(name + " was not found: put it beside the program", failure);
            }
            catch (BadImageFormatException failure)
            {
                throw new LibraryException(name + " is a 32-bit library: build the program for x86", failure);
            }
            catch (EntryPointNotFoundException failure)
            {
                throw new LibraryException(name + " is another version than the program was built for", failure);
            }
        }

        /// <summary>A call that takes a file's name. .NET refuses names that the ANSI code page cannot hold.</summary>
        public static void Named(string call, string path, Func<int> function)
        {
            if (string.IsNullOrEmpty(path)) throw new ArgumentException("a file's name is missing", "path");
            Require();
            int result;
            try
            {
                result = function();
            }
            catch (ArgumentException failure)
            {
                throw new ArgumentException(path + ": the name is not in this computer's ANSI code page, in which the " +
                    "library takes file names; choose another name", failure);
            }
            if (result < 0) throw new KvexaException(call, result, path);
        }

        /// <summary>Calls a function with an address at which the object stays meanwhile.</summary>
        public static int Pinned(object kept, Func<IntPtr, int> function)
        {
            GCHandle pin = GCHandle.Alloc(kept, GCHandleType.Pinned);
            try
            {
                return function(pin.AddrOfPinnedObject());
            }
            finally
            {
                pin.Free();
            }
        }
    }

    /// <summary>The size of a frame.</summary>
    public struct FrameLayout
    {
        /// <summary>Bytes of a whole frame, as it is transferred.</summary>
        public readonly int Bytes;
        /// <summary>Bytes of one unit of a row.</summary>
        public readonly int Unit;
        public readonly int Width;
        public readonly int Height;
        /// <summary>Bits of a sample.</summary>
        public readonly int Bits;

        public FrameLayout(int bytes, int unit, int width, int height, int bits)
        {
            Bytes = bytes;
            Unit = unit;
            Width = width;
            Height = height;
            Bits = bits;
        }
    }

    /// <summary>Capture parameters. Needs no board.</summary>
    public static class Parameters
    {
        /// <summary>Reads a capture-parameter file.</summary>
        public static CapParam Read(string path)
        {
            CapParam parameters = new CapParam();
            Library.Named("kVexaGetCapFileParam", path, () => Native.kVexaGetCapFileParam(path, ref parameters));
            return parameters;
        }

        public static FrameLayout LayoutOf(CapParam parameters)
        {
            Library.Require();
            uint bytes, unit, width, height;
            Results.Require("kVexaCalcFrameSizeEx", Native.kVexaCalcFrameSizeEx(
                ref parameters, out bytes, out unit, out width, out height, (uint)Constants.KVEXA_ALIGN_512));
            return checked(new FrameLayout((int)bytes, (int)unit, (int)width, (int)height, parameters.BITWIDTH));
        }
    }

    /// <summary>
    /// One frame, as it came from the board. A frame of a CaptureSession is the session's own memory, filled anew when
    /// the next one is taken: from then on it throws InvalidOperationException. Copy gives what stays.
    /// </summary>
    public sealed class Frame
    {
        private byte[] memory;

        internal Frame(byte[] memory, FrameLayout layout)
        {
            this.memory = memory;
            Layout = layout;
        }

        public FrameLayout Layout { get; private set; }
        public int Width { get { return Layout.Width; } }
        public int Height { get { return Layout.Height; } }

        /// <summary>All bytes as they were transferred.</summary>
        public byte[] Data
        {
            get
            {
                if (memory == null)
                    throw new InvalidOperationException("this frame has been given back to its session; Copy keeps one");
                return memory;
            }
        }

        /// <summary>One sample of a frame of one or two bytes a sample.</summary>
        public int Sample(int x, int y)
        {
            if (x < 0 || x >= Width || y < 0 || y >= Height) throw new ArgumentOutOfRangeException("x");
            byte[] data = Bare();
            int place = Layout.Unit * (y * Width + x);
            return Layout.Unit == 2 ? data[place] | data[place + 1] << 8 : data[place];
        }

        /// <summary>The samples of a frame of two bytes a sample, row after row.</summary>
        public ushort[] Words()
        {
            byte[] data = Bare();
            ushort[] words = new ushort[Layout.Unit * Width * Height / 2];
            Buffer.BlockCopy(data, 0, words, 0, 2 * words.Length);
            return words;
        }

        private byte[] Bare()
        {
            if ((long)Layout.Unit * Width * Height > Layout.Bytes)
                throw new InvalidOperationException("the samples of this frame are packed: Data holds them as they came");
            return Data;
        }

        /// <summary>The same frame in memory of its own.</summary>
        public Frame Copy()
        {
            return new Frame((byte[])Data.Clone(), Layout);
        }

        /// <summary>The picture of a Bayer frame of one or two bytes a sample.</summary>
        public Image BayerImage(BayerPattern pattern)
        {
            Image image = new Image(Width, Height);
            uint width = (uint)Width, height = (uint)Height;
            if (Layout.Unit == 1)
                Results.Require("kVexaRaw8ToRgb888",
                    Native.kVexaRaw8ToRgb888(Bare(), image.Pixels, width, height, (uint)pattern));
            else if (Layout.Unit == 2)
                Results.Require("kVexaRaw16ToRgb888", Native.kVexaRaw16ToRgb888(
                    Words(), image.Pixels, width, height, (uint)pattern, (uint)Layout.Bits));
            else
                throw new InvalidOperationException("a Bayer frame has one or two bytes a sample, not " + Layout.Unit);
            return image;
        }

        /// <summary>
        /// The picture of a YUV 4:2:2 frame of 8-bit samples, by a KvexaYuyvMethod; order 0 is Y0, U, Y1, V, 1 is U,
        /// Y0, V, Y1.
        /// </summary>
        public Image YuyvImage(int method = Constants.KVEXA_YUYV_INTEGER_STUDIO, int order = 0)
        {
            if (2L * Width * Height > Layout.Bytes)
                throw new InvalidOperationException("a YUV 4:2:2 frame has two bytes a pixel, this one has less");
            Image image = new Image(Width, Height);
            Results.Require("kVexaYuyv8ToRgbT2", Library.Pinned(image.Pixels, pixels => Native.kVexaYuyv8ToRgbT2(Data,
                pixels, (uint)Width, (uint)Height, (uint)method, (uint)order, (uint)Constants.KVEXA_FORMAT_BGR24)));
            return image;
        }

        internal void GiveBack()
        {
            memory = null;
        }
    }

    /// <summary>A picture of three bytes a pixel (blue, green, red), top row first.</summary>
    public sealed class Image
    {
        public readonly int Width;
        public readonly int Height;
        public readonly byte[] Pixels;

        public Image(int width, int height)
        {
            Library.Require();
            Width = width;
            Height = height;
            Pixels = new byte[checked(3 * width * height)];
        }

        /// <summary>A JPEG file when the name ends in jpg or jpeg, else a Windows bitmap.</summary>
        public void Save(string path, int quality = 90)
        {
            if (path != null && (Ends(path, ".jpg") || Ends(path, ".jpeg")))
                Write("kVexaSaveJpegFile", path, (uint)quality, Native.kVexaSaveJpegFile);
            else
                Write("kVexaSaveBmpFile", path, (uint)Constants.KVEXA_BMP_24_BITS, Native.kVexaSaveBmpFile);
        }

        private delegate int Writer(
            string path, IntPtr image, uint width, uint height, ref SaveRect rect, uint format, uint kind);

        private void Write(string call, string path, uint kind, Writer writer)
        {
            SaveRect all = new SaveRect { width = (uint)Width, height = (uint)Height };
            Library.Named(call, path, () => Library.Pinned(Pixels, pixels => writer(
                path, pixels, all.width, all.height, ref all, (uint)Constants.KVEXA_FORMAT_BGR24, kind)));
        }

        private static bool Ends(string path, string ending)
        {
            return path.EndsWith(ending, StringComparison.OrdinalIgnoreCase);
        }
    }
}
