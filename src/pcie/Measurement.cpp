#include "pcie/Measurement.h"

#include <atomic>
#include <memory>
#include <new>

#include "board/FramePeriod.h"
#include "pcie/BoardAccess.h"
#include "pcie/BoardRegisters.h"
#include "pcie/Requests.h"

namespace kvexa::pcie {

namespace {

constexpr int frameRateReadings = 101;
constexpr DWORD frameRateInterval = 10;  // milliseconds

std::int32_t measure(HANDLE driver, AutoActual* actual, DWORD timeout, const StatusTable& statusTable) {
  if (actual == nullptr) return KVEXA_BAD_ARGUMENT;
  const auto request = makePending<MeasureRecord>();
  if (!request || !request->start(driver, Request::autoActual)) return KVEXA_REQUEST_FAILED;
  if (!request->wait(timeout)) {
    sendStop(driver);
    return KVEXA_TIMED_OUT;  // the request is kept until the driver is done with it
  }
  const MeasureRecord& record = request->record;
  const std::int32_t result = statusTable.resultOf(record.status);
  if (result != KVEXA_OK) return result;
  // A period whose low bits are 0 gives infinity. That is intended.
  *actual = {record.firstDimension, record.secondDimension,
             record.period != 0 ? framesPerSecond(record.period) : 0.0};
  return KVEXA_OK;
}

// The driver answers an interval request at any time, also when the library is gone: one record for each
// slot of the open boards, and one for boards that have none, made when they are first wanted and never
// freed. Null when there is no memory for them.
IntervalRecord* intervalRecord(HANDLE driver) {
  static std::atomic<IntervalRecord*> records{nullptr};
  if (records.load() == nullptr) {
    std::unique_ptr<IntervalRecord[]> made(new (std::nothrow) IntervalRecord[boardSlots + 1]());
    IntervalRecord* none = nullptr;
    if (records.compare_exchange_strong(none, made.get())) static_cast<void>(made.release());
  }
  const std::int32_t slot = findBoard(driver);
  IntervalRecord* const first = records.load();
  return first == nullptr || slot < 0 ? first : first + 1 + slot;
}

}  // namespace

double getFrameRate(HANDLE driver) {
  std::uint32_t period = 0;
  readRegister(driver, Register::framePeriod, period);
  const std::uint32_t first = period & frameToggle;
  for (int i = 0; i < frameRateReadings && (period & frameToggle) == first; ++i) {
    Sleep(frameRateInterval);
    readRegister(driver, Register::framePeriod, period);
  }
  const bool changed = (period & frameToggle) != first;
  readRegister(driver, Register::framePeriod, period);
  return changed && (period & framePeriodMask) != 0 ? framesPerSecond(period) : 0.0;
}

std::int32_t autoActual(HANDLE driver, AutoActual* actual) {
  return measure(driver, actual, INFINITE, measureStatus);
}

std::int32_t autoActualWithin(HANDLE driver, AutoActual* actual, std::uint32_t timeout) {
  return measure(driver, actual, timeout == 0 ? INFINITE : timeout, measureWithinStatus);
}

std::int32_t setInterval(HANDLE driver, std::uint32_t bytes) {
  writeRegister(driver, Register::intervalBytes, bytes & ~3U);
  return KVEXA_OK;  // whatever the write did; that is intended
}

std::int32_t waitInterval(HANDLE driver, void* overlapped) {
  if (overlapped == nullptr) return KVEXA_BAD_ARGUMENT;
  IntervalRecord* const record = intervalRecord(driver);
  if (record == nullptr) return KVEXA_REQUEST_FAILED;
  record->status = 0;
  DWORD returned = 0;
  const BOOL done = DeviceIoControl(driver, static_cast<DWORD>(Request::armInterval), record, sizeof *record,
                                    record, sizeof *record, &returned, static_cast<OVERLAPPED*>(overlapped));
  if (done == FALSE && GetLastError() != ERROR_IO_PENDING) return KVEXA_REQUEST_FAILED;
  return intervalStatus.resultOf(static_cast<volatile Word&>(record->status));
}

std::int32_t cancelInterval(HANDLE driver) { return sendCancelInterval(driver); }

}  // namespace kvexa::pcie
