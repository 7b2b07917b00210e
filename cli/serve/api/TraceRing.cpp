#include "cli/serve/api/TraceRing.h"

#include <algorithm>

namespace cli::serve {

Json TraceRing::after(std::uint64_t number) const {
  const std::lock_guard lock(mutex_);
  const std::uint64_t first = last_ - lines_.size() + 1;
  Json lines = Json::array();
  for (std::uint64_t each = std::max(first, number == UINT64_MAX ? number : number + 1); each <= last_;
       ++each) {
    lines.push_back({{"number", each}, {"text", lines_[static_cast<std::size_t>(each - first)]}});
  }
  return {{"last", last_}, {"lines", lines}};
}

}  // namespace cli::serve
