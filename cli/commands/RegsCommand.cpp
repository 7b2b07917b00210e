// kvexa regs: what a register-setting file does, playing it, and how two of them differ.
#include <kvexa.hpp>

#include <map>
#include <memory>
#include <optional>

#include "cli/base/Failure.h"
#include "cli/board/Board.h"
#include "cli/commands/Commands.h"
#include "cli/files/RegisterFile.h"
#include "cli/frames/FrameSetup.h"
#include "files/RegisterSettingReader.h"
#include "usb/registers/RegisterSettingPackets.h"

namespace cli {

namespace {

using kvexa::usb::TableKind;

void tellHeader(Output& output, const RegisterTableEntry& header, std::size_t lines) {
  const TableKind kind = kvexa::usb::tableKind(header);
  const unsigned mode = header.values[0] & 0xFFU;
  output.print("slave 0x%02X, address mode %u (%s), %s, %zu write%s\n", header.number, mode,
               mode < addressModes.size() ? addressModes[mode] : "unknown",
               kind == TableKind::words      ? "two bytes a value"
               : kind == TableKind::commands ? "extended commands"
                                             : "one byte a value",
               lines - 1, lines == 2 ? "" : "s");
}

void tellPackets(Output& output, const RegisterFile& file) {
  for (const WriteText& write : describeWrites(file)) {
    if (write.line == 0) {
      output.print("  %s\n", write.text.c_str());
    } else {
      output.print("  line %4zu  %s\n", write.line, write.text.c_str());
    }
  }
}

void putWrites(Output& output, const std::string& place, std::span<const RegisterTableEntry> entries) {
  output.putList(place);
  for (std::size_t i = 1; i < entries.size(); ++i) {
    const std::string write = place + "/" + std::to_string(i - 1);
    output.put(write + "/line", i + 1);
    output.put(write + "/register", entries[i].number);
    output.putList(write + "/values");
    for (std::uint32_t k = 0; k < entries[i].valueCount; ++k) {
      output.put(write + "/values/" + std::to_string(k), entries[i].values[k]);
    }
  }
}

void explain(Output& output, const std::string& path) {
  const RegisterFile file = readRegisterFile(path);
  const auto entries = file.entries();
  output.put("file", path);
  if (file.result == KVEXA_OK && !entries.empty()) {
    tellHeader(output, entries[0], entries.size());
    tellPackets(output, file);
    output.put("slave", entries[0].number);
    output.put("mode", entries[0].values[0]);
    putWrites(output, "writes", entries);
  }
  file.remarks.tell(output);
  if (file.result != KVEXA_OK) {
    const std::string& cause = file.remarks.fault();
    throw Failure(path + ": is refused: " + kvexa::describe(file.result) +
                  (cause.empty() ? "" : ": " + cause));
  }
}

struct PlayOptions {
  std::string file;
  bool power = false;
};

void play(Context& context, const PlayOptions& options) {
  checkReadable(options.file);
  const Board board(context);
  Powered power(board, options.power);
  playRegisters(board, options.file);
  context.output.put("file", options.file);
  context.interrupt->check();
  power.off();
}

// What stands in every register when a file has been played.
std::map<std::uint32_t, std::string> contentsOf(const std::string& path) {
  const RegisterFile file = readRegisterFile(path);
  require("kUsbIniFileToBuf", file.result, path);
  std::map<std::uint32_t, std::string> contents;
  for (const RegisterTableEntry& entry : file.entries().subspan(1)) {
    std::string values;
    for (std::uint32_t k = 0; k < entry.valueCount; ++k) {
      values += format("%s%02X", k == 0 ? "" : " ", entry.values[k]);
    }
    contents[entry.number] = values;
  }
  return contents;
}

std::string headerOf(const std::string& path) {
  const RegisterFile file = readRegisterFile(path);
  if (file.lines == 0) return "no header";
  return format("slave 0x%02X, address mode %u", file.table[0].number, file.table[0].values[0]);
}

struct DiffOptions {
  std::string first;
  std::string second;
};

void diff(Context& context, const DiffOptions& options) {
  Output& output = context.output;
  const auto first = contentsOf(options.first);
  const auto second = contentsOf(options.second);
  std::size_t count = 0;
  output.putList("differences");
  const auto tell = [&](std::uint32_t address, const std::string* a, const std::string* b) {
    const std::string place = "differences/" + std::to_string(count++);
    output.print("0x%04X  %s | %s\n", address, a == nullptr ? "-" : a->c_str(),
                 b == nullptr ? "-" : b->c_str());
    output.put(place + "/register", address);
    a == nullptr ? output.put(place + "/first", nullptr) : output.put(place + "/first", *a);
    b == nullptr ? output.put(place + "/second", nullptr) : output.put(place + "/second", *b);
  };
  const std::string headers[] = {headerOf(options.first), headerOf(options.second)};
  const bool hasSameHeader = headers[0] == headers[1];
  if (!hasSameHeader) output.print("header  %s | %s\n", headers[0].c_str(), headers[1].c_str());
  output.put("sameHeader", hasSameHeader);
  std::map<std::uint32_t, int> all;
  for (const auto& [address, values] : first) all[address] = 0;
  for (const auto& [address, values] : second) all[address] = 0;
  for (const auto& [address, unused] : all) {
    const auto a = first.find(address);
    const auto b = second.find(address);
    const bool isSame = a != first.end() && b != second.end() && a->second == b->second;
    if (!isSame)
      tell(address, a == first.end() ? nullptr : &a->second, b == second.end() ? nullptr : &b->second);
  }
  if (count == 0 && hasSameHeader) output.print("the files set the same registers to the same values\n");
  if (count != 0 || !hasSameHeader) context.exitCode = static_cast<std::uint32_t>(ExitCode::outOfLimits);
}

}  // namespace

Action regsExplainCommand(Options& options) {
  const auto file = std::make_shared<std::string>();
  options.text("FILE", *file, "the register-setting file").required();
  return [file](Context& context) { explain(context.output, *file); };
}

Action regsPlayCommand(Options& options) {
  const auto values = std::make_shared<PlayOptions>();
  options.text("FILE", values->file, "the register-setting file")
      .required()
      .flag("--power", values->power, "power the module up before and down afterwards");
  return [values](Context& context) { play(context, *values); };
}

Action regsDiffCommand(Options& options) {
  const auto values = std::make_shared<DiffOptions>();
  options.text("FIRST", values->first, "a register-setting file")
      .required()
      .text("SECOND", values->second, "another one")
      .required();
  return [values](Context& context) { diff(context, *values); };
}

}  // namespace cli
