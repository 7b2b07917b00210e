// kvexa reg: single registers of the sensor or the board.
#include <memory>

#include "cli/base/Failure.h"
#include "cli/board/Board.h"
#include "cli/board/Registers.h"
#include "cli/commands/Commands.h"

namespace cli {

namespace {

constexpr std::size_t dumpColumns = 16;

struct RegOptions {
  RegisterOptions registers;
  std::vector<std::string> words;
  bool verify = false;
  std::uint32_t interval = 500;  // milliseconds
  std::uint32_t count = 0;
};

bool isUsb(const Context& context) { return context.common.boardType == KVEXA_BOARD_USB; }

std::vector<RegisterRange> parseRanges(const std::vector<std::string>& words) {
  std::vector<RegisterRange> ranges;
  ranges.reserve(words.size());
  for (const std::string& word : words) ranges.push_back(parseRange(word));
  return ranges;
}

std::vector<Register> readAll(const Board& board, const RegisterAccess& access,
                              const std::vector<RegisterRange>& ranges) {
  std::vector<Register> registers;
  for (const RegisterRange& range : ranges) {
    const auto some = access.read(board, range);
    registers.insert(registers.end(), some.begin(), some.end());
  }
  return registers;
}

void put(Output& output, const std::vector<Register>& registers) {
  output.putList("registers");
  for (std::size_t i = 0; i < registers.size(); ++i) {
    output.put("registers/" + std::to_string(i) + "/address", registers[i].address);
    output.put("registers/" + std::to_string(i) + "/value", registers[i].value);
  }
}

void print(Output& output, const RegisterAccess& access, const std::vector<Register>& registers) {
  for (const Register& each : registers) {
    output.print("0x%04X  %s\n", each.address, access.valueText(each.value).c_str());
  }
}

void get(Context& context, const RegOptions& options) {
  const RegisterAccess access(options.registers, isUsb(context));
  const auto ranges = parseRanges(options.words);
  const Board board(context);
  Powered power(board, options.registers.power);
  const auto registers = readAll(board, access, ranges);
  power.off();
  put(context.output, registers);
  print(context.output, access, registers);
}

void verify(const Board& board, const RegisterAccess& access, const RegisterWrite& write,
            std::vector<Register>& wrong) {
  const auto last = write.address + static_cast<std::uint32_t>(write.values.size()) - 1;
  RegisterRange range{write.address, last};
  for (std::size_t i = 0; i < write.values.size(); ++i) {
    if (access.largestValue() != 0xFF) {
      const std::uint32_t step = access.largestValue() == 0xFFFF ? 2 : 4;
      range.first = range.last = write.address + static_cast<std::uint32_t>(i) * step;
    } else if (i != 0) {
      break;
    }
    const auto found = access.read(board, range);
    for (std::size_t k = 0; k < found.size(); ++k) {
      if (found[k].value != write.values[i + k]) wrong.push_back(found[k]);
    }
  }
}

void set(Context& context, const RegOptions& options) {
  const RegisterAccess access(options.registers, isUsb(context));
  std::vector<RegisterWrite> writes;
  writes.reserve(options.words.size());
  for (const std::string& word : options.words) writes.push_back(parseWrite(word, access.largestValue()));
  const Board board(context);
  Powered power(board, options.registers.power);
  std::vector<Register> wrong;
  for (const RegisterWrite& write : writes) {
    access.write(board, write);
    if (options.verify) verify(board, access, write, wrong);
  }
  power.off();
  context.output.put("writes", writes.size());
  if (wrong.empty()) return;
  put(context.output, wrong);
  throw Failure(format("register 0x%04X reads back as 0x%s", wrong[0].address,
                       access.valueText(wrong[0].value).c_str()),
                ExitCode::outOfLimits, "it may be read-only, or change by itself");
}

void dump(Context& context, const RegOptions& options) {
  const RegisterAccess access(options.registers, isUsb(context));
  const auto ranges = parseRanges(options.words);
  const Board board(context);
  Powered power(board, options.registers.power);
  const auto registers = readAll(board, access, ranges);
  power.off();
  put(context.output, registers);
  for (std::size_t i = 0; i < registers.size(); i += dumpColumns) {
    std::string line = format("0x%04X ", registers[i].address);
    for (std::size_t k = i; k < std::min(i + dumpColumns, registers.size()); ++k) {
      line.append(1, ' ').append(access.valueText(registers[k].value));
    }
    context.output.print("%s\n", line.c_str());
  }
}

// Those that differ from the reading before; all of the first one.
std::vector<Register> changed(const std::vector<Register>& now, const std::vector<Register>& before) {
  if (before.empty()) return now;
  std::vector<Register> differing;
  for (std::size_t i = 0; i < now.size(); ++i) {
    if (now[i].value != before[i].value) differing.push_back(now[i]);
  }
  return differing;
}

void watch(Context& context, const RegOptions& options) {
  const RegisterAccess access(options.registers, isUsb(context));
  const auto ranges = parseRanges(options.words);
  Output& output = context.output;
  const Board board(context);
  Powered power(board, options.registers.power);
  std::vector<Register> before;
  bool isComplete = false;
  for (std::uint32_t reading = 1; options.count == 0 || reading <= options.count; ++reading) {
    const auto now = readAll(board, access, ranges);
    const auto news = changed(now, before);
    before = now;
    output.put("reading", reading);
    put(output, news);
    output.put("end", false);
    print(output, access, news);
    output.endLine();
    isComplete = reading == options.count;
    if (output.isReaderGone() || isComplete) break;
    if (context.interrupt->wait(options.interval)) break;
  }
  power.off();
  output.put("end", true);
  if (options.count != 0 && !isComplete) context.interrupt->check();
}

std::shared_ptr<RegOptions> withAddresses(Options& options, const char* help) {
  auto values = std::make_shared<RegOptions>();
  options.texts("ADDRESS", values->words, help).required();
  addRegisterOptions(options, values->registers);
  return values;
}

constexpr const char* addressHelp = "registers: 0x0100, 0x0100-0x0107 or 0x0100+8, several if you like";

}  // namespace

Action regGetCommand(Options& options) {
  const auto values = withAddresses(options, addressHelp);
  return [values](Context& context) { get(context, *values); };
}

Action regSetCommand(Options& options) {
  const auto values = std::make_shared<RegOptions>();
  options.texts("ADDRESS=VALUE", values->words, "0x0100=1, or 0x0104=5,0 for registers in a row")
      .required()
      .flag("--verify", values->verify, "read every register back");
  addRegisterOptions(options, values->registers);
  return [values](Context& context) { set(context, *values); };
}

Action regDumpCommand(Options& options) {
  const auto values = withAddresses(options, addressHelp);
  return [values](Context& context) { dump(context, *values); };
}

Action regWatchCommand(Options& options) {
  const auto values = withAddresses(options, addressHelp);
  options.number("--every", values->interval, 0, 3600000, "milliseconds between two readings")
      .number("--count", values->count, 1, 999999999, "readings; without it there is no end");
  return [values](Context& context) { watch(context, *values); };
}

}  // namespace cli
