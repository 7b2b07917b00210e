// Simulated boards for C# programs, over the functions of KvexaSim.cs.
//
//     using (Simulation simulation = Simulation.FromFile("boards.toml"))
//     using (Board board = new Board(BoardType.Usb, 0))
//     {
//         ...
//         simulation.Board(BoardType.Usb, 0).Scene = "street.jpg";
//     }
//
// From its start on KVEXA_LIB.dll finds the simulated boards instead of real ones; at the end of the block the
// simulation is stopped, and boards that a block inside it opened are closed before. kvexa_sim.dll lies beside
// KVEXA_LIB.dll. What goes wrong is a SimulationException, whose Message says it in words. Written in C# 5.
using System;
using System.Text;

namespace Kvexa
{
    /// <summary>What kvexa_sim.dll refused, in its words: what was called, and the code.</summary>
    public class SimulationException : Exception
    {
        public readonly string Call;
        public readonly int Result;

        public SimulationException(string call, int result, string sentence)
            : base(sentence.Length == 0 ? call + " returned " + result : sentence)
        {
            Call = call;
            Result = result;
        }

        /// <summary>The code's name, or null for a number that is no code.</summary>
        public string Name { get { return SimulationNative.NameOf(Result); } }
    }

    /// <summary>What happens to a driver request.</summary>
    public enum SimulationFault
    {
        Refuse = SimulationConstants.KVEXA_SIM_FAULT_REFUSE,
        KeepStatus = SimulationConstants.KVEXA_SIM_FAULT_KEEP_STATUS,
        Shorten = SimulationConstants.KVEXA_SIM_FAULT_SHORTEN,
        Corrupt = SimulationConstants.KVEXA_SIM_FAULT_CORRUPT,
        Unplug = SimulationConstants.KVEXA_SIM_FAULT_UNPLUG,
        Answer = SimulationConstants.KVEXA_SIM_FAULT_ANSWER,
        AnswerLater = SimulationConstants.KVEXA_SIM_FAULT_ANSWER_LATER
    }

    internal static class SimulationCalls
    {
        private static volatile bool isThere;

        /// <summary>Calls a function; a negative result throws, any other one is given back.</summary>
        public static int Require(string call, Func<int> function)
        {
            if (!isThere)
            {
                Library.First("kvexa_sim.dll", () => SimulationNative.kvexaSimLastError(new byte[1], 1));
                isThere = true;
            }
            int result = function();
            if (result < 0) throw new SimulationException(call, result, LastError());
            return result;
        }

        private static string LastError()
        {
            for (uint size = 1024; ; size *= 2)
            {
                byte[] text = new byte[size];
                if (SimulationNative.kvexaSimLastError(text, size) != SimulationConstants.KVEXA_SIM_TOO_SMALL)
                    return Encoding.UTF8.GetString(text, 0, Array.IndexOf<byte>(text, 0));
            }
        }

        /// <summary>A text or a file's name as the DLL takes it.</summary>
        public static byte[] Utf8(string text, string name)
        {
            if (text == null) throw new ArgumentNullException(name);
            if (text.IndexOf('\0') >= 0) throw new ArgumentException("it has a zero in it, at which it would end", name);
            // A half of a character would become another one, and a file's name that of another file.
            return new UTF8Encoding(false, true).GetBytes(text + "\0");
        }
    }

    /// <summary>A board of a simulation, which is there whether a program has opened it or not.</summary>
    public sealed class SimulatedBoard
    {
        private readonly uint type;
        private readonly uint index;

        internal SimulatedBoard(BoardType type, int index)
        {
            this.type = (uint)type;
            this.index = checked((uint)index);
        }

        /// <summary>Plugs the board in, or pulls it out; its registers stay.</summary>
        public void Plug(bool plugged)
        {
            Require("kvexaSimPlug", () => SimulationNative.kvexaSimPlug(type, index, plugged ? 1u : 0u));
        }

        /// <summary>
        /// What the sensor sees from now on: "chart", a colour such as "#8090a0", or the path of a BMP or JPEG file.
        /// </summary>
        public string Scene
        {
            set
            {
                byte[] scene = SimulationCalls.Utf8(value, "value");
                Require("kvexaSimSetScene", () => SimulationNative.kvexaSimSetScene(type, index, scene));
            }
        }

        /// <summary>A register without a driver request: 16 bits on USB boards, 32 on PCIe boards.</summary>
        public uint ReadBoardRegister(uint address)
        {
            uint value = 0;
            Require("kvexaSimReadBoardRegister",
                () => SimulationNative.kvexaSimReadBoardRegister(type, index, address, out value));
            return value;
        }

        public void WriteBoardRegister(uint address, uint value)
        {
            Require("kvexaSimWriteBoardRegister",
                () => SimulationNative.kvexaSimWriteBoardRegister(type, index, address, value));
        }

        /// <summary>A register of the sensor without the bus, whether the sensor is powered or not.</summary>
        public byte ReadSensorRegister(int address)
        {
            uint value = 0, place = checked((uint)address);
            Require("kvexaSimReadSensorRegister",
                () => SimulationNative.kvexaSimReadSensorRegister(type, index, place, out value));
            return (byte)value;
        }

        /// <summary>What is written is lost when the sensor loses its supply or is reset.</summary>
        public void WriteSensorRegister(int address, byte value)
        {
            uint place = checked((uint)address);
            Require("kvexaSimWriteSensorRegister",
                () => SimulationNative.kvexaSimWriteSensorRegister(type, index, place, value));
        }

        /// <summary>
        /// Lets a driver request go wrong, counted from 1 for the next one, or with andAfter every later one as well.
        /// The value is that of the fault, such as the Windows error of Refuse.
        /// </summary>
        public void SetFault(SimulationFault fault, uint value = 0, int request = 1, bool andAfter = false)
        {
            uint number = checked((uint)request);
            Require("kvexaSimSetFault", () => SimulationNative.kvexaSimSetFault(
                type, index, number, andAfter ? 1u : 0u, (uint)fault, value));
        }

        /// <summary>Whether the sensor acknowledges, and whether frames reach the board, until it is set again.</summary>
        public void SetConditions(bool acknowledge = true, bool frames = true)
        {
            Require("kvexaSimSetConditions", () => SimulationNative.kvexaSimSetConditions(
                type, index, acknowledge ? 1u : 0u, frames ? 1u : 0u));
        }

        /// <summary>Forgets the faults and conditions of the board.</summary>
        public void ClearFaults()
        {
            Require("kvexaSimClearFaults", () => SimulationNative.kvexaSimClearFaults(type, index));
        }

        private static void Require(string call, Func<int> function)
        {
            SimulationCalls.Require(call, function);
        }
    }

    /// <summary>
    /// The boards of a description, for this whole process; one simulation runs at a time. Disposing of it stops it.
    /// </summary>
    public sealed class Simulation : IDisposable
    {
        private bool runs;

        private Simulation(bool runs)
        {
            this.runs = runs;
        }

        /// <summary>Starts the boards of a description in TOML.</summary>
        public static Simulation FromFile(string path)
        {
            byte[] name = SimulationCalls.Utf8(path, "path");
            SimulationCalls.Require("kvexaSimStartFile", () => SimulationNative.kvexaSimStartFile(name));
            return new Simulation(true);
        }

        /// <summary>The same for a text. Files that it names are found from the working folder.</summary>
        public static Simulation FromText(string description)
        {
            byte[] text = SimulationCalls.Utf8(description, "description");
            SimulationCalls.Require("kvexaSimStartText", () => SimulationNative.kvexaSimStartText(text));
            return new Simulation(true);
        }

        /// <summary>
        /// The simulation that runs already, as in a program under kvexa run. Disposing of it does not stop it.
        /// </summary>
        public static Simulation Running()
        {
            Simulation found = new Simulation(false);
            found.Count(BoardType.Usb);
            return found;
        }

        /// <summary>How many boards of a type the simulation has, plugged or not.</summary>
        public int Count(BoardType type)
        {
            return SimulationCalls.Require("kvexaSimBoardCount", () => SimulationNative.kvexaSimBoardCount((uint)type));
        }

        /// <summary>A board; one that is not there is told here.</summary>
        public SimulatedBoard Board(BoardType type, int index)
        {
            SimulatedBoard board = new SimulatedBoard(type, index);
            board.ReadSensorRegister(0);
            return board;
        }

        /// <summary>The time of the boards since the start.</summary>
        public TimeSpan Time
        {
            get
            {
                ulong microseconds = 0;
                SimulationCalls.Require("kvexaSimGetTime", () => SimulationNative.kvexaSimGetTime(out microseconds));
                return TimeSpan.FromTicks(checked((long)microseconds * TicksPerMicrosecond));
            }
        }

        private const long TicksPerMicrosecond = TimeSpan.TicksPerMillisecond / 1000;

        /// <summary>Lets simulated time pass, in whole microseconds; boards in real time refuse it.</summary>
        public void Advance(TimeSpan time)
        {
            ulong microseconds = checked((ulong)(time.Ticks / TicksPerMicrosecond));
            SimulationCalls.Require("kvexaSimAdvanceTime", () => SimulationNative.kvexaSimAdvanceTime(microseconds));
        }

        /// <summary>Writes every driver request to a file from now on, behind what is in it; null ends that.</summary>
        public void Trace(string path)
        {
            byte[] name = path == null ? null : SimulationCalls.Utf8(path, "path");
            SimulationCalls.Require("kvexaSimTrace", () => SimulationNative.kvexaSimTrace(name));
        }

        /// <summary>Pulls the boards out and ends the simulation, whoever has started it.</summary>
        public void Stop()
        {
            runs = false;
            SimulationCalls.Require("kvexaSimStop", SimulationNative.kvexaSimStop);
        }

        public void Dispose()
        {
            if (!runs) return;
            try
            {
                Stop();
            }
            catch (SimulationException)
            {
                // It has ended already, and what ended the block is more to the point.
            }
        }
    }
}
