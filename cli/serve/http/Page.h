// The files of the page, which are part of the program.
#pragma once

#include <optional>
#include <string_view>

namespace cli::serve {

struct PageFile {
  std::string_view type;
  std::string_view content;
};

// By its path: "/app.js", and "/" for the page itself.
std::optional<PageFile> pageFile(std::string_view path);

// The description of the interface.
std::string_view interfaceDescription();

}  // namespace cli::serve
