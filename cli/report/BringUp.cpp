#include "cli/report/BringUp.h"

#include "cli/base/Failure.h"
#include "cli/board/Board.h"
#include "cli/board/BoardFacts.h"
#include "cli/board/BoardNames.h"
#include "cli/files/ParameterFile.h"
#include "cli/files/RegisterFile.h"
#include "cli/frames/OneShot.h"
#include "files/CapParamReader.h"
#include "usb/registers/RegisterSettingPackets.h"

namespace cli {

namespace {

// The bytes of one line of a register-setting file as they stand in the sensor; null where it does not give
// them back.
void putReadings(const Board& board, const std::string& place, const RegisterTableEntry& header,
                 const RegisterTableEntry& entry) {
  Output& output = board.output();
  output.put(place, nullptr);
  std::vector<std::uint32_t> words(entry.valueCount);
  const std::int32_t result = kVexaRegRead(board.handle(), header.number, entry.number,
                                           header.values[0] & 0xFFU, entry.valueCount, words.data());
  output.record("kVexaRegRead", result);
  if (result == KVEXA_NO_ACKNOWLEDGE) return;
  require("kVexaRegRead", result);
  for (std::size_t i = 0; i < words.size(); ++i) output.put(place + "/" + std::to_string(i), words[i]);
}

// Registers without an address are streams of bytes: there is nothing to read back.
bool canBeRead(const RegisterTableEntry& header) {
  const std::uint32_t mode = header.values[0] & 0xFFU;
  return kvexa::usb::tableKind(header) == kvexa::usb::TableKind::bytes && mode != KVEXA_SLAVE7_NO_SUB &&
         mode != KVEXA_SLAVE10_NO_SUB;
}

}  // namespace

BringUp::BringUp(const Context& context, const ReportOptions& options, Output& found)
    : context_(context),
      options_(options),
      found_(found),
      parameters_(readParameters(found, options.parameters)),
      layout_(layoutOf(found, parameters_)),
      maker_(options.picture, parameters_, layout_),
      writer_(maker_, options.picture, layout_),
      statistics_(options.edge, options.picture, maker_, layout_) {
  if (!maker_.hindrance().empty()) found_.put("pictureHindrance", maker_.hindrance());
  if (!options.samples.empty()) files_.emplace(options.samples, options.frames);
  if (files_ && !writer_.hindrance(files_->kind()).empty()) {
    throw Failure(options.samples + ": there can be no picture: " + writer_.hindrance(files_->kind()));
  }
  tellFiles();
}

void BringUp::tellFiles() {
  found_.put("inputs/registers", options_.registers);
  found_.put("inputs/parameters", options_.parameters);
  for (const auto& key : kvexa::files::capParamKeys) {
    found_.put("fields/" + std::string(key.name), parameters_.*key.field);
  }
  examineParameters(readTextFile(options_.parameters)).put(found_, "parameterRemarks");
  readRegisterFile(options_.registers).remarks.put(found_, "registerRemarks");
}

void BringUp::run() {
  const Board board(found_, context_.common.boardType, context_.common.boardIndex);
  isOpen_ = true;
  found_.put("board/type", typeName(board.type()));
  found_.put("board/index", board.handle()->boardIndex);
  tellVersions(board);
  Powered power(board);
  setUpSensor(board, options_.registers, parameters_);
  tellSupplies(board);
  tellLines(board);
  tellDips(board);
  tellWrites(board);
  measure(board);
  takeFrames(board);
  tellUsbStatus(board);
  power.off();
}

void BringUp::tellWrites(const Board& board) {
  const RegisterFile file = readRegisterFile(options_.registers);
  const auto entries = file.entries();
  found_.putList("writes");
  if (file.result != KVEXA_OK || entries.empty()) return;
  found_.put("slave", entries[0].number);
  found_.put("mode", entries[0].values[0]);
  const bool isReadable = canBeRead(entries[0]);
  for (std::size_t i = 1; i < entries.size(); ++i) {
    const std::string place = "writes/" + std::to_string(i - 1);
    found_.put(place + "/line", i + 1);
    found_.put(place + "/register", entries[i].number);
    found_.putList(place + "/values");
    for (std::uint32_t k = 0; k < entries[i].valueCount; ++k) {
      found_.put(place + "/values/" + std::to_string(k), entries[i].values[k]);
    }
    found_.put(place + "/read", nullptr);
    if (isReadable && entries[i].valueCount != 0) putReadings(board, place + "/read", entries[0], entries[i]);
  }
}

void BringUp::measure(const Board& board) {
  start_ = context_.session->seconds();
  found_.putList("frameRates");
  const double rate = measureRate(board);
  measureFrames(board, rate, options_.timeout);
}

void BringUp::tellRate(const Board& board) {
  const double rate = measureRate(board);
  const std::string place = "frameRates/" + std::to_string(rates_++);
  found_.put(place + "/seconds", context_.session->seconds() - start_);
  found_.put(place + "/rate", rate);
}

void BringUp::takeFrames(const Board& board) {
  for (std::uint32_t i = 1; i <= options_.frames; ++i) {
    context_.interrupt->check();
    const auto raw = captureFrame(board, layout_, options_.timeout);
    if (i == 1 && maker_.hindrance().empty()) {
      const std::string call = maker_.make(raw.data(), picture_);
      if (!call.empty()) found_.record(call, KVEXA_OK);
    }
    statistics_.add(raw);
    found_.put("frames", i);
    if (files_) files_->save(i, raw.data(), writer_);
    tellRate(board);
  }
}

}  // namespace cli
