// What a program that starts another one with simulated boards tells the boards in it, by the environment.
#pragma once

namespace sim::variables {

// One of the first two: the boards.
inline constexpr wchar_t description[] = L"KVEXA_SIM_DESCRIPTION";  // a TOML text
inline constexpr wchar_t file[] = L"KVEXA_SIM_FILE";                // the path of a TOML file
inline constexpr wchar_t trace[] = L"KVEXA_SIM_TRACE";              // the path of a trace file, or not there
inline constexpr wchar_t time[] = L"KVEXA_SIM_TIME";                // "simulated", or not there

inline constexpr const wchar_t* all[] = {description, file, trace, time};

// A description or a file makes kvexa_sim.dll start by itself when it is loaded.

// The event that kvexa_sim.dll sets when it is in a process; the process's number follows.
inline constexpr wchar_t readyEvent[] = L"Local\\kvexa_sim_ready_";

}  // namespace sim::variables
