#include "sim/pcie/Driver.h"

namespace sim::pcie {

// A record is input and output at once, of the same length.
Answer Driver::control(const ControlRequest& request) {
  const Shape* const shape = findShape(request.code);
  if (shape == nullptr) return {ERROR_INVALID_FUNCTION, 0};
  const std::uint32_t bytes = shape->words * sizeof(std::uint32_t);
  if (request.in == nullptr || request.out == nullptr || request.inLength != bytes ||
      request.outLength != bytes || (shape->overlapped && request.overlapped == nullptr)) {
    return {ERROR_INVALID_PARAMETER, 0};
  }
  return board().control(*shape, request);
}

}  // namespace sim::pcie
