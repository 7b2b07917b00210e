#include "cli/serve/http/Page.h"

#include <windows.h>

namespace cli::serve {

namespace {

struct Embedded {
  std::string_view path;
  int resource;
};

// Path and number of every file, as the build found them.
constexpr Embedded files[] = {
#include "serve_page.inc"
};

struct Ending {
  std::string_view text;
  std::string_view type;
};

constexpr Ending endings[] = {{".html", "text/html; charset=utf-8"},
                              {".js", "text/javascript; charset=utf-8"},
                              {".css", "text/css; charset=utf-8"},
                              {".svg", "image/svg+xml"},
                              {".json", "application/json"},
                              {".png", "image/png"},
                              {".webmanifest", "application/manifest+json"}};

constexpr std::string_view start = "/index.html";
constexpr std::string_view description = "openapi.json";

std::string_view contentOf(int resource) {
  // NOLINTNEXTLINE(performance-no-int-to-ptr): the number of a resource is given as an address
  const HRSRC place =
      FindResourceA(nullptr, MAKEINTRESOURCEA(resource), reinterpret_cast<const char*>(RT_RCDATA));
  if (place == nullptr) return {};
  const HGLOBAL loaded = LoadResource(nullptr, place);
  const void* const bytes = loaded == nullptr ? nullptr : LockResource(loaded);
  if (bytes == nullptr) return {};
  return {static_cast<const char*>(bytes), SizeofResource(nullptr, place)};
}

std::string_view typeOf(std::string_view path) {
  for (const Ending& each : endings) {
    if (path.ends_with(each.text)) return each.type;
  }
  return "application/octet-stream";
}

}  // namespace

std::optional<PageFile> pageFile(std::string_view path) {
  if (path == "/") path = start;
  for (const Embedded& each : files) {
    if (each.path == path && each.path != description)
      return PageFile{typeOf(path), contentOf(each.resource)};
  }
  return std::nullopt;
}

std::string_view interfaceDescription() {
  for (const Embedded& each : files) {
    if (each.path == description) return contentOf(each.resource);
  }
  return {};
}

}  // namespace cli::serve
