// How an exported board function finds the back end that serves it.
#pragma once

#include <cstdint>
#include <type_traits>

#include "kvexa.h"

#define KVEXA_EXPORT(result) extern "C" KVEXA_API result KVEXA_CALL

namespace kvexa::frame {

// Stands where a back end's operation would: the board does not have the function, and this is what
// it answers.
struct Fixed {
  std::int32_t result;

  template <class... Arguments>
  std::int32_t operator()(Arguments...) const {
    return result;
  }
};

inline bool isOpen(const BoardHandle* board) { return board != nullptr && board->driverHandle != nullptr; }

// Calls the operation of the board's type with the driver handle and the arguments. A handle that is
// refused gives KVEXA_BAD_ARGUMENT in the USB operation's result type. No exception gets past here.
template <class Usb, class Pcie, class... Arguments>
auto dispatch(const BoardHandle* board, Usb usbOperation, Pcie pcieOperation, Arguments... arguments) noexcept
    -> std::invoke_result_t<Usb, void*, Arguments...> {
  using Result = std::invoke_result_t<Usb, void*, Arguments...>;
  if (!isOpen(board)) return static_cast<Result>(KVEXA_BAD_ARGUMENT);
  try {
    switch (board->boardType) {
      case KVEXA_BOARD_USB: return usbOperation(board->driverHandle, arguments...);
      case KVEXA_BOARD_PCIE: return static_cast<Result>(pcieOperation(board->driverHandle, arguments...));
      default: return static_cast<Result>(KVEXA_BAD_ARGUMENT);
    }
  } catch (...) {
    return static_cast<Result>(KVEXA_FAILED);
  }
}

// For functions that take no board.
template <class Operation, class... Arguments>
auto guarded(Operation operation, Arguments... arguments) noexcept
    -> std::invoke_result_t<Operation, Arguments...> {
  try {
    return operation(arguments...);
  } catch (...) {
    return static_cast<std::invoke_result_t<Operation, Arguments...>>(KVEXA_FAILED);
  }
}

// What a PCIe board answers where its own side of a function that both boards have is not there yet.
constexpr Fixed notServed{KVEXA_BAD_ARGUMENT};

// What a PCIe board answers to the controls that only USB boards have.
constexpr Fixed ignored{KVEXA_OK};

}  // namespace kvexa::frame
