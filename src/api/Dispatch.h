// How an exported board function finds the back end that serves it.
#pragma once

#include <cstdint>
#include <type_traits>

#include "kvexa.h"

#define KVEXA_EXPORT(result) extern "C" KVEXA_API result KVEXA_CALL

namespace kvexa::api {

// Takes the place of a back end's operation: the board does not have the function, and this is its
// result.
struct Fixed {
  std::int32_t result;

  template <class... Arguments>
  std::int32_t operator()(Arguments...) const {
    return result;
  }
};

inline bool isOpen(const BoardHandle* board) { return board != nullptr && board->driverHandle != nullptr; }

// Most operations take the driver handle; those that keep state for each board take the whole record.
template <class Operation, class... Arguments>
auto call(Operation operation, const BoardHandle& board, Arguments... arguments) {
  if constexpr (std::is_invocable_v<Operation, const BoardHandle&, Arguments...>) {
    return operation(board, arguments...);
  } else {
    return operation(board.driverHandle, arguments...);
  }
}

// Calls the operation of the board's type with the arguments. A handle that is refused gives
// KVEXA_BAD_ARGUMENT in the USB operation's result type.
template <class Usb, class Pcie, class... Arguments>
auto dispatch(const BoardHandle* board, Usb usbOperation, Pcie pcieOperation, Arguments... arguments)
    -> decltype(call(usbOperation, *board, arguments...)) {
  using Result = decltype(call(usbOperation, *board, arguments...));
  if (!isOpen(board)) return static_cast<Result>(KVEXA_BAD_ARGUMENT);
  switch (board->boardType) {
    case KVEXA_BOARD_USB: return call(usbOperation, *board, arguments...);
    case KVEXA_BOARD_PCIE: return static_cast<Result>(call(pcieOperation, *board, arguments...));
    default: return static_cast<Result>(KVEXA_BAD_ARGUMENT);
  }
}

// What a board answers to the other type's functions: to most controls of USB boards, to captures and
// buffer settings of USB boards, to functions of PCIe boards.
constexpr Fixed ignored{KVEXA_OK};
constexpr Fixed notOnPcie{KVEXA_NOT_ON_PCIE};
constexpr Fixed notOnUsb{KVEXA_NOT_ON_USB};

}  // namespace kvexa::api
