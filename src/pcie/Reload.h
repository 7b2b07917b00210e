// Restarting the PCIe board's device functions.
#pragma once

#include <cstdint>

namespace kvexa::pcie {

// 0, or KVEXA_RELOAD_FAILED less the number of the step that failed.
std::int32_t reloadDevice();

// The same, with a re-scan of the bus and one more attempt when a function is missing.
std::int32_t reloadDeviceEx();

}  // namespace kvexa::pcie
