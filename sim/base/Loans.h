// Memory and events that a program has lent to a simulated driver, until the driver completes the request.
#pragma once

#include <windows.h>

#include <atomic>
#include <cstddef>
#include <list>
#include <mutex>

namespace sim {

class Loans {
 public:
  struct Loan {
    void* record = nullptr;
    std::size_t bytes = 0;
    OVERLAPPED* overlapped = nullptr;
    HANDLE event = nullptr;
    bool lost = false;     // the program has freed some of it
    bool settled = false;  // the driver writes no more
  };
  using Ticket = std::list<Loan>::iterator;

  Ticket take(const Loan& loan);

  // The driver is done with it.
  void giveBack(Ticket ticket);

  // The driver's last access to the memory: runs `write` unless the program has freed the memory; it cannot
  // do so meanwhile.
  template <class Write>
  void settle(Ticket ticket, Write write) {
    const std::lock_guard lock(mutex_);
    if (!ticket->lost) write();
    ticket->settled = true;
  }

  bool any() const { return count_.load() != 0; }
  bool holdsEvent(HANDLE event) const;

  // Comes before the program frees the block.
  void noteFree(const void* block, std::size_t bytes);

  // How often the program has freed memory that the driver still wrote to.
  unsigned lostLoans() const;

 private:
  mutable std::mutex mutex_;
  std::list<Loan> loans_;
  std::atomic<std::size_t> count_ = 0;
  unsigned lost_ = 0;
};

}  // namespace sim
