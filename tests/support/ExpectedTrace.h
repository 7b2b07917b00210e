// Building blocks of expected traces. Each gives complete lines, so a sequence of requests is a sum:
//   out(3, {0x01, 0x81, 0x06}) + statusReading()
// The bytes that the board answers are left out of both sides of a comparison: tests look at what the
// library makes of them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kvexa::test {

// The lines as one text, without the bytes of inbound transfers.
std::string traceText(const std::vector<std::string>& lines);

std::string out(unsigned pipe, const std::vector<unsigned>& bytes);
std::string in(unsigned pipe, unsigned byteCount);
std::string sleep(unsigned milliseconds);
std::string repeat(unsigned times, const std::string& lines);

// The line of a request, as it looks when the driver refuses it with ERROR_GEN_FAILURE.
std::string refused(std::string line);

// One bulk read that brings all it asks for.
std::string imageRead(unsigned byteCount, unsigned timeout);

// The board's status block: 2 zero bytes out, 64 bytes in.
std::string statusReading();

// The reset of the command pipes after an error on the sensor bus.
std::string pipeReset();

// An extended command.
std::string command(unsigned number);

// A two-byte register of target 0x80, with a reading of the status before the transfer counts as done.
std::string polledWrite(unsigned subAddress, unsigned value);
std::string polledRead(unsigned subAddress);

// The same without polling; the status is checked at the end, once when the board is idle.
std::string simpleWrite(unsigned subAddress, unsigned value);
std::string simpleRead(unsigned subAddress);

// A 16-bit register of the board, through its address port and its data port.
std::string boardRead(unsigned address);
std::string boardWrite(unsigned address, unsigned value);

}  // namespace kvexa::test
