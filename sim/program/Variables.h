// What a program that starts another one with simulated boards tells the boards in it, by the environment.
#pragma once

namespace sim::variables {

// One of the first two: the boards.
inline constexpr wchar_t description[] = L"KVEXA_SIM_DESCRIPTION";  // a TOML text
inline constexpr wchar_t file[] = L"KVEXA_SIM_FILE";                // the path of a TOML file
inline constexpr wchar_t trace[] = L"KVEXA_SIM_TRACE";              // the path of a trace file, or not there
inline constexpr wchar_t time[] = L"KVEXA_SIM_TIME";                // "simulated", or not there

// Instead of the first two: the real boards, or those of a recording.
inline constexpr wchar_t real[] = L"KVEXA_SIM_REAL";        // "1"
inline constexpr wchar_t replay[] = L"KVEXA_SIM_REPLAY";    // the path of a recording
inline constexpr wchar_t lenient[] = L"KVEXA_SIM_LENIENT";  // "1", or not there
inline constexpr wchar_t fast[] = L"KVEXA_SIM_FAST";        // "1", or not there
inline constexpr wchar_t outcome[] =
    L"KVEXA_SIM_OUTCOME";  // memory for what became of the replay, or not there
inline constexpr wchar_t record[] = L"KVEXA_SIM_RECORD";  // the path of a recording to write, or not there
inline constexpr wchar_t frames[] = L"KVEXA_SIM_FRAMES";  // "1", or not there

inline constexpr const wchar_t* all[] = {description, file, trace,   time,   real,  replay,
                                         lenient,     fast, outcome, record, frames};

// Each way to name boards makes kvexa_sim.dll start by itself when it is loaded.

// The exit code of a program that departs from the recording that it is replayed against.
inline constexpr unsigned departed = 124;

// The event that kvexa_sim.dll sets when it is in a process; the process's number follows.
inline constexpr wchar_t readyEvent[] = L"Local\\kvexa_sim_ready_";

}  // namespace sim::variables
