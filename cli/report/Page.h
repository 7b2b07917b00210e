// The page of a bring-up: one file of HTML with everything in it, without a script.
#pragma once

#include <string>

#include "cli/report/Html.h"

namespace cli {

// The picture as a page has it.
struct PagePicture {
  std::string uri;  // "data:image/jpeg;base64,..."; empty for none
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::uint32_t reducedBy = 1;  // so many pixels became one, along each side
};

// Of what was found, with the members of the command's JSON.
std::string pageOf(const Json& found, const PagePicture& picture);

// Parts of it.
std::string pictureSection(const Json& found, const PagePicture& picture);
std::string histogramSection(const Json& found);
std::string statisticsSection(const Json& found);
std::string sharpnessSection(const Json& found);
std::string frameRateSection(const Json& found);

// What the page looks like.
extern const char pageStyle[];

}  // namespace cli
