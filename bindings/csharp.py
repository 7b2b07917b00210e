"""Writes Kvexa.cs and KvexaSim.cs, the libraries for C# programs built for x86."""
from xml.sax.saxutils import escape

SCALARS = {"int32_t": "int", "uint32_t": "uint", "uint16_t": "ushort", "uint8_t": "byte",
           "uint64_t": "ulong", "double": "double"}

# Pointers to these arguments are arrays; every other pointer to a number is one number.
ARRAYS = {"words", "kernels", "matrix", "values", "source", "destination", "image", "block"}

# A capture goes on using these after the call: the caller pins them, so they are addresses here.
KEPT = {"resultWord"}

RESERVED = {"params", "ref", "out", "event", "object", "string", "in"}

HEAD = '''// KVEXA_LIB.dll for C# programs. Generated from kvexa.h {version}; do not edit.
//
// Build the program for x86: the library is a 32-bit DLL. KvexaBoards.cs, which belongs to it, has classes for
// boards, captures and frames. Addresses that a capture uses after the call returned (buffers, arrays of events,
// the result word) are IntPtr here: those who call Native themselves take them from Marshal.AllocHGlobal or from
// a pinned GCHandle, so that they do not move.
using System;
using System.Runtime.InteropServices;

namespace Kvexa
{{
'''

ERROR = '''
    /// <summary>A negative result of the library: what was called, the code, what it means and what to do.</summary>
    public class KvexaException : Exception
    {
        public readonly string Call;
        public readonly int Result;

        public KvexaException(string call, int result) : this(call, result, null)
        {
        }

        /// <summary>The subject is the file that it is about.</summary>
        public KvexaException(string call, int result, string subject)
            : base((subject == null ? "" : subject + ": ") + call + " returned " + Results.Describe(result))
        {
            Call = call;
            Result = result;
        }

        /// <summary>The code's name, or null for a number that is no code.</summary>
        public string Name { get { return Results.Name(Result); } }

        /// <summary>What to do about it, or null for a number that is no code.</summary>
        public string Advice { get { return Results.Advice(Result); } }
    }

    /// <summary>Result codes in words.</summary>
    public static class Results
    {
        /// <summary>The code's name, or null for a number that is no code.</summary>
        public static string Name(int result) { string[] found = Find(result); return found == null ? null : found[0]; }

        /// <summary>What to do about it, or null for a number that is no code.</summary>
        public static string Advice(int result) { string[] found = Find(result); return found == null ? null : found[2]; }

        public static string Describe(int result)
        {
            string[] found = Find(result);
            return found == null ? result.ToString() : result + " (" + found[1] + ")";
        }

        /// <summary>Throws KvexaException for a negative result, and gives any other one back.</summary>
        public static int Require(string call, int result)
        {
            if (result < 0) throw new KvexaException(call, result);
            return result;
        }

        private static string[] Find(int result)
        {
            switch (result)
            {
'''


SIMULATION_HEAD = '''// kvexa_sim.dll for C# programs. Generated from kvexa_sim.h {version}; do not edit.
//
// Build the program for x86: the library is a 32-bit DLL. KvexaSimulation.cs has classes above these functions.
// Texts are byte[] here: UTF-8, ended with a zero.
using System.Runtime.InteropServices;

namespace Kvexa
{{
'''


def nameOf(name):
    return "@" + name if name in RESERVED else name


def summary(text, indent):
    if not text:
        return ""
    lines = "".join(f"{indent}/// {escape(line)}\n".replace("///  ", "///  ") for line in text.split("\n"))
    return f"{indent}/// <summary>\n{lines}{indent}/// </summary>\n"


def parameter(argument, records):
    kind, name = argument.type, nameOf(argument.name)
    bare = kind.replace("const ", "").replace("*", "").strip()
    if kind == "const char*":
        return f"[MarshalAs(UnmanagedType.LPStr)] string {name}"
    if not kind.endswith("*"):
        return f"{SCALARS[kind]} {name}"
    if bare == "void" or "* const*" in kind or argument.name in KEPT:
        return f"IntPtr {name}"
    if bare in records:
        if argument.name == "table":
            return f"[{'In' if kind.startswith('const') else 'In, Out'}] {bare}[] {name}"
        return f"ref {bare} {name}"
    if argument.name in ARRAYS:
        return f"[{'In' if kind.startswith('const') else 'In, Out'}] {SCALARS[bare]}[] {name}"
    return f"{'ref' if kind.startswith('const') else 'out'} {SCALARS[bare]} {name}"


def writeEnums(enums, name="Constants", header="kvexa.h"):
    text = f"    /// <summary>The constants of {header}.</summary>\n    public static class {name}\n    {{\n"
    for enum in enums:
        for constant in enum.constants:
            text += summary(constant.text, "        ") + f"        public const int {constant.name} = {constant.value};\n"
    return text + "    }\n"


def writeRecords(records):
    names = {record.name for record in records}
    text = ""
    for record in records:
        text += "\n" + summary(record.text, "    ")
        text += f"    [StructLayout(LayoutKind.Sequential)]\n    public struct {record.name}\n    {{\n"
        for field in record.fields:
            bare = field.type.replace("const ", "").strip()
            kind = "IntPtr" if bare.endswith("*") else SCALARS.get(bare) or (bare if bare in names else None)
            if kind is None:
                raise ValueError(f"no C# type for {field.type}")
            if field.count:
                text += f"        [MarshalAs(UnmanagedType.ByValArray, SizeConst = {field.count})]\n"
                kind += "[]"
            text += f"        public {kind} {nameOf(field.name)};\n"
        text += "    }\n"
    return text


def writeResults(results):
    text = ERROR
    for result in results:
        quoted = ", ".join('"' + part.replace('"', '\\"') + '"' for part in (result.name, result.text, result.advice))
        text += f"                case {result.value}: return new[] {{ {quoted} }};\n"
    return text + "                default: return null;\n            }\n        }\n    }\n"


def declaration(function, arguments, options=""):
    convention = "Cdecl" if function.convention == "CDECL" else "StdCall"
    return ("\n" + summary(function.text, "        ") +
            f'        [DllImport(Library, EntryPoint = "{function.decorated}", ExactSpelling = true, '
            f"CallingConvention = CallingConvention.{convention}{options})]\n"
            f"        public static extern {SCALARS[function.result]} {function.name}({', '.join(arguments)});\n")


def writeFunctions(functions, records):
    names = {record.name for record in records}
    text = ("\n    /// <summary>The functions of KVEXA_LIB.dll.</summary>\n    public static class Native\n    {\n"
            "        private const string Library = \"KVEXA_LIB.dll\";\n")
    for function in functions:
        # A letter that the ANSI code page lacks is an exception: a similar one would name another file.
        named = any(argument.type == "const char*" for argument in function.arguments)
        strict = ", BestFitMapping = false, ThrowOnUnmappableChar = true" if named else ""
        text += declaration(function, [parameter(argument, names) for argument in function.arguments], strict)
    return text + "    }\n"


def write(interface):
    return (HEAD.format(version=interface.version) + writeEnums(interface.enums) + writeRecords(interface.records) +
            writeResults(interface.results) + writeFunctions(interface.functions, interface.records) + "}\n")


def simulationParameter(argument):
    texts = {"const char*": "[In] byte[]", "char*": "[In, Out] byte[]"}
    if argument.type in texts:
        return f"{texts[argument.type]} {argument.name}"
    return parameter(argument, ())


def writeSimulation(interface):
    text = (SIMULATION_HEAD.format(version=interface.version) +
            writeEnums(interface.enums, "SimulationConstants", "kvexa_sim.h") +
            "\n    /// <summary>The functions of kvexa_sim.dll.</summary>\n"
            "    public static class SimulationNative\n    {\n"
            "        private const string Library = \"kvexa_sim.dll\";\n")
    for function in interface.functions:
        text += declaration(function, map(simulationParameter, function.arguments))
    text += ("\n        /// <summary>The name of a code, or null for a number that is none.</summary>\n"
             "        public static string NameOf(int result)\n        {\n            switch (result)\n            {\n")
    for constant in interface.results:
        text += f'                case {constant.value}: return "{constant.name}";\n'
    return text + "                default: return null;\n            }\n        }\n    }\n}\n"
