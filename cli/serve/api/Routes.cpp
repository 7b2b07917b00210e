#include "cli/serve/api/Routes.h"

#include <algorithm>
#include <cctype>

namespace cli::serve {

namespace {

constexpr Route table[] = {
#define KVEXA_ROUTE(method, path, function, needs) {method, path, function, Route::Needs::needs},
#include "cli/serve/api/routes.inc"
#undef KVEXA_ROUTE
};

constexpr std::string_view placeholder = "{id}";
constexpr std::size_t longestId = 9;

// Whether the path is the route's, and what stands for its id.
bool matches(std::string_view path, std::string_view route, std::string& id) {
  const std::size_t place = route.find(placeholder);
  if (place == std::string_view::npos) return path == route;
  const std::string_view before = route.substr(0, place);
  const std::string_view behind = route.substr(place + placeholder.size());
  if (path.size() <= before.size() + behind.size() || !path.starts_with(before) || !path.ends_with(behind))
    return false;
  const std::string_view found = path.substr(before.size(), path.size() - before.size() - behind.size());
  const bool isNumber = found.size() <= longestId &&
                        std::ranges::all_of(found, [](unsigned char c) { return std::isdigit(c) != 0; });
  if (isNumber) id = found;
  return isNumber;
}

}  // namespace

std::string routePath(const std::string& path) {
  std::string id;
  for (const Route& each : table) {
    if (matches(path, each.path, id)) return std::string(each.path);
  }
  return "page";
}

const Route& findRoute(Request& request) {
  std::string allowed;
  for (const Route& each : table) {
    if (!matches(request.path, each.path, request.id)) continue;
    if (each.method == request.method) return each;
    allowed += (allowed.empty() ? "" : ", ") + std::string(each.method);
  }
  if (allowed.empty()) throw Problem(404, "not-found", "there is nothing at this path");
  Problem problem(405, "other-method", "this path takes " + allowed);
  problem.fields.emplace_back("Allow", allowed);
  throw problem;
}

}  // namespace cli::serve
