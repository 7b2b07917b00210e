#include "usb/link/Boards.h"

#include <array>
#include <mutex>

namespace kvexa::usb {

namespace {

struct Place {
  HANDLE driver = nullptr;
  unsigned uses = 0;
  Board board;
};

// Held for a look at the table, never over a request.
win32::Lock tableLock;
std::array<Place, mostBoards> places;

std::size_t placeOf(HANDLE driver) {
  std::size_t place = 0;
  while (place < mostBoards && places[place].driver != driver) ++place;
  return place;
}

}  // namespace

void rememberBoard(HANDLE driver) {
  const std::lock_guard guard(tableLock);
  for (Place& place : places) {
    if (place.driver != nullptr || place.uses != 0) continue;
    place.driver = driver;
    return;
  }
}

void forgetBoard(HANDLE driver) {
  const std::lock_guard guard(tableLock);
  const std::size_t place = placeOf(driver);
  if (place < mostBoards) places[place].driver = nullptr;
}

BoardUse::BoardUse(HANDLE driver) {
  const std::lock_guard guard(tableLock);
  place_ = driver != nullptr ? placeOf(driver) : mostBoards;
  if (place_ < mostBoards) ++places[place_].uses;
}

BoardUse::~BoardUse() {
  if (place_ == mostBoards) return;
  const std::lock_guard guard(tableLock);
  --places[place_].uses;
}

Board* BoardUse::operator->() const { return &places[place_].board; }

}  // namespace kvexa::usb
