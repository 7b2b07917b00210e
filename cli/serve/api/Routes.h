// The operations of the interface, by method and path.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "cli/serve/Parts.h"

namespace cli::serve {

struct Route {
  enum class Needs { looks, writes, acts };

  std::string_view method;
  std::string_view path;  // "{id}" stands for a number
  asio::awaitable<Answer> (*answer)(Parts& parts, Request request);
  Needs needs;
};

// Fills the id of the request in. Throws Problem when there is no such path, or not with this method.
const Route& findRoute(Request& request);

// The path as the table has it: clients cannot make up names without end.
std::string routePath(const std::string& path);

// The quality that is encoded for the one that a client asks for.
std::uint32_t sharedQuality(std::uint32_t quality);

// One function for each line of routes.inc.
#define KVEXA_ROUTE(method, path, function, needs) \
  asio::awaitable<Answer> function(Parts& parts, Request request);
#include "cli/serve/api/routes.inc"
#undef KVEXA_ROUTE

}  // namespace cli::serve
