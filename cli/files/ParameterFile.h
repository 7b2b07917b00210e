// What is wrong or suspicious in a capture-parameter file.
#pragma once

#include <kvexa.h>

#include <string>
#include <string_view>

#include "cli/files/FileRemarks.h"

namespace cli {

Remarks examineParameters(std::string_view content);

// Why the library refuses a file, with its line; empty when nothing is found.
std::string causeOfRefusal(const std::string& path);

// The fields that the size of a frame depends on, for people.
std::string describeFormat(const CapParam& parameters);

}  // namespace cli
