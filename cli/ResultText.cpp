#include "ResultText.h"

#include <kvexa.h>

#include <algorithm>
#include <array>

namespace cli {

namespace {

struct ResultText {
  std::int32_t result;
  const char* text;
};

constexpr std::array<ResultText, 20> texts{{
    {KVEXA_OK, "success"},
    {KVEXA_FAILED, "failed"},
    {KVEXA_OPEN_FAILED, "no such board, or its driver would not open it"},
    {KVEXA_REQUEST_FAILED, "the driver refused a request; is the board still plugged in?"},
    {KVEXA_TIMED_OUT, "the board did not answer, or no frame came, in time"},
    {KVEXA_MEASURE_FAILED, "the driver could not measure"},
    {KVEXA_BAD_ARGUMENT, "an argument is out of its range, or the board is not open"},
    {KVEXA_BAD_FILE, "not a capture-parameter file, or one with keys missing"},
    {KVEXA_TOO_LARGE, "more than there is memory for"},
    {KVEXA_NO_ACKNOWLEDGE,
     "the device on the sensor bus did not acknowledge; is it powered, clocked and out of "
     "reset?"},
    {KVEXA_ABORTED, "the capture was aborted"},
    {KVEXA_BUSY, "a frame is still on its way"},
    {KVEXA_NO_DEVICE_PATH, "the board is listed, but its device path does not exist"},
    {KVEXA_DRIVER_1001, "driver status 0x1001"},
    {KVEXA_DRIVER_3000, "driver status 0x3000"},
    {KVEXA_DRIVER_3001, "driver status 0x3001"},
    {KVEXA_DRIVER_1004, "driver status 0x1004"},
    {KVEXA_NOT_ON_PCIE, "PCIe boards do not have this function"},
    {KVEXA_NOT_ON_USB, "USB boards do not have this function"},
    {KVEXA_FILE_NOT_OPENED, "the file cannot be opened"},
}};

}  // namespace

std::string describe(std::int32_t result) {
  const auto* const found = std::ranges::find_if(
      texts, [result](const ResultText& candidate) { return candidate.result == result; });
  const std::string number = std::to_string(result);
  return found == texts.end() ? number : number + " (" + found->text + ")";
}

}  // namespace cli
