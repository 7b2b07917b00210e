// A simulation of the tests' own in the place of the DLL's functions: one USB and two PCIe boards.
using System;
using System.Collections.Generic;
using System.Text;
using Kvexa;

static class FakeSimulation
{
    public static List<string> Calls;
    public static Dictionary<string, int> Returns;
    public static string Sentence;
    public static bool Runs;
    public static ulong Now;
    public static Exception AtFirst; // what the run-time system throws at the first call, or null

    private static Dictionary<string, uint> registers;

    public static void Reset()
    {
        Calls = new List<string>();
        Returns = new Dictionary<string, int>();
        Sentence = "nothing failed";
        Runs = false;
        Now = (1UL << 40) + 7;
        AtFirst = null;
        registers = new Dictionary<string, uint>();
    }

    private static int Called(string name, params object[] arguments)
    {
        Calls.Add((name + " " + string.Join(" ", arguments)).TrimEnd());
        int result;
        return Returns.TryGetValue(name, out result) ? result : 0;
    }

    public static int Called(string name)
    {
        return Called(name, new object[0]);
    }

    // As the DLL reads it: up to the zero, which must be there.
    private static string TextOf(byte[] text)
    {
        return text == null ? "null" : Encoding.UTF8.GetString(text, 0, Array.IndexOf<byte>(text, 0));
    }

    private static int Failed(int result, string sentence)
    {
        Sentence = sentence;
        return result;
    }

    private static int Start(string name, byte[] text)
    {
        int result = Called(name, TextOf(text));
        if (result != 0) return result;
        if (Runs) return Failed(SimulationConstants.KVEXA_SIM_RUNNING, "a simulation runs already");
        Runs = true;
        return 0;
    }

    public static int kvexaSimStartFile(byte[] path) { return Start("kvexaSimStartFile", path); }
    public static int kvexaSimStartText(byte[] text) { return Start("kvexaSimStartText", text); }

    public static int kvexaSimStop()
    {
        Called("kvexaSimStop");
        if (!Runs) return Failed(SimulationConstants.KVEXA_SIM_NOT_RUNNING, "no simulation runs");
        Runs = false;
        return 0;
    }

    public static int kvexaSimLastError(byte[] text, uint size)
    {
        if (AtFirst != null) throw AtFirst;
        byte[] whole = Encoding.UTF8.GetBytes(Sentence);
        int count = Math.Min(whole.Length, (int)size - 1);
        Array.Copy(whole, text, count);
        text[count] = 0;
        return count == whole.Length ? 0 : SimulationConstants.KVEXA_SIM_TOO_SMALL;
    }

    public static int kvexaSimBoardCount(uint type)
    {
        if (!Runs) return Failed(SimulationConstants.KVEXA_SIM_NOT_RUNNING, "no simulation runs");
        return type == Constants.KVEXA_BOARD_USB ? 1 : 2;
    }

    public static int kvexaSimSetScene(uint type, uint index, byte[] scene)
    {
        return Called("kvexaSimSetScene", type, index, TextOf(scene));
    }

    private static int Read(string register, uint type, uint index, out uint value)
    {
        if (!registers.TryGetValue(register, out value)) value = 0;
        if (index < (type == Constants.KVEXA_BOARD_USB ? 1 : 2)) return 0;
        return Failed(SimulationConstants.KVEXA_SIM_NO_BOARD,
            "the simulation has no board of type " + type + " and index " + index);
    }

    public static int kvexaSimReadBoardRegister(uint type, uint index, uint address, out uint value)
    {
        return Read("board " + type + index + address, type, index, out value);
    }

    public static int kvexaSimReadSensorRegister(uint type, uint index, uint address, out uint value)
    {
        return Read("sensor " + type + index + address, type, index, out value);
    }

    public static int kvexaSimWriteBoardRegister(uint type, uint index, uint address, uint value)
    {
        registers["board " + type + index + address] = value;
        return 0;
    }

    public static int kvexaSimWriteSensorRegister(uint type, uint index, uint address, uint value)
    {
        registers["sensor " + type + index + address] = value;
        return 0;
    }

    public static int kvexaSimSetFault(uint type, uint index, uint request, uint andAfter, uint fault, uint value)
    {
        return Called("kvexaSimSetFault", type, index, request, andAfter, fault, value);
    }

    public static int kvexaSimSetConditions(uint type, uint index, uint acknowledge, uint frames)
    {
        return Called("kvexaSimSetConditions", type, index, acknowledge, frames);
    }

    public static int kvexaSimClearFaults(uint type, uint index) { return Called("kvexaSimClearFaults", type, index); }

    public static int kvexaSimPlug(uint type, uint index, uint plugged)
    {
        return Called("kvexaSimPlug", type, index, plugged);
    }

    public static int kvexaSimGetTime(out ulong microseconds)
    {
        microseconds = Now;
        return 0;
    }

    public static int kvexaSimAdvanceTime(ulong microseconds)
    {
        Now += microseconds;
        return 0;
    }

    public static int kvexaSimTrace(byte[] path) { return Called("kvexaSimTrace", TextOf(path)); }
}
