#pragma once

namespace kvexa::test {

// Handles that this process holds. Counted from the system's list of handles, because Wine's
// GetProcessHandleCount always says 0.
unsigned processHandleCount();

}  // namespace kvexa::test
