// Parts of a recording as recordings of their own.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "sim/record/replay/Script.h"

namespace sim::record {

// Steps of a script that belong together, ascending.
using Part = std::vector<std::uint32_t>;

// What a program asks in one go: a list of devices, a command with its answer, a frame, an opened board with
// its closing. Marks, of which replays of parts take no notice, and completions of requests that are not
// there are in none.
std::vector<Part> dialogues(const Script& script);

// The calls of the steps, each with its completion.
std::vector<Part> singleCalls(const Script& script, const std::vector<std::uint32_t>& steps);

// All steps of some of the parts, ascending.
std::vector<std::uint32_t> stepsOf(const std::vector<Part>& parts, const std::vector<std::uint32_t>& chosen);

enum class KeptFrames : std::uint8_t {
  inPlace,  // where they are: the file beside the recording is made by the caller
  copied,   // those of the steps into a file beside the new recording
  none
};

// Writes the steps, ascending, as a complete recording. The path in UTF-8; what is there is overwritten.
// Throws RecordingError.
void writePart(const Script& script, const std::vector<std::uint32_t>& steps, KeptFrames frames,
               const std::string& path);

}  // namespace sim::record
