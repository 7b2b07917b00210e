// A hash of image data, fast enough to be taken of every frame. It finds differences; it hides nothing.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace sim::record {

std::array<std::uint32_t, 4> imageHash(const void* data, std::size_t bytes);

}  // namespace sim::record
