// The description in TOML: what each key means, and the sentence for each that is wrong.
#include "sim/bench/Description.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>

#include "sim/bench/Files.h"

namespace {

using sim::BoardEvent;
using sim::Description;
using sim::DescriptionError;
using sim::Fault;
using sim::SensorRegister::framePeriod;

Description parse(const std::string& text, const std::string& folder = "C:\\lab") {
  return sim::parseDescription(text, "boards.toml", folder);
}

const std::string usb = "[[board]]\ntype = \"usb\"\n";
const std::string pcie = "[[board]]\ntype = \"pcie\"\n";

sim::BoardDescription board(const std::string& text) { return parse(text).boards.at(0); }

// The value of a sensor register after reset; -1 when the description does not set it.
int reset(const std::string& sensor, std::uint16_t address) {
  int value = -1;
  for (const sim::SensorReset& each : board(usb + "[board.sensor]\n" + sensor).sensorResets) {
    if (each.address == address) value = each.value;
  }
  return value;
}

int resetPair(const std::string& sensor, std::uint16_t address) {
  const int high = reset(sensor, address);
  return high < 0 ? high : high * 256 + reset(sensor, static_cast<std::uint16_t>(address + 1));
}

struct Wrong {
  const char* name;
  std::string text;
  std::string sentence;  // behind "boards.toml:"
};

std::string errorOf(const std::string& text) {
  try {
    parse(text);
  } catch (const DescriptionError& error) {
    return error.what();
  }
  return "no error";
}

// ---- What is right ----

TEST(Description, OfNothingIsAComputerWithoutBoardsInRealTime) {
  const Description empty = parse("");
  EXPECT_TRUE(empty.boards.empty());
  EXPECT_EQ(sim::Pace::real, empty.pace);
  EXPECT_EQ("", empty.trace);
  EXPECT_FALSE(empty.usbDriver);
  EXPECT_FALSE(empty.pcieDriver);
}

TEST(Description, Time) {
  EXPECT_EQ(sim::Pace::real, parse("time = \"real\"").pace);
  EXPECT_EQ(sim::Pace::simulated, parse("time = \"simulated\"").pace);
}

TEST(Description, DriversHaveVersionsOrNone) {
  const Description both = parse("[drivers]\nusb = \"1.2.3.4\"\npcie = \"\"\n");
  EXPECT_EQ("1.2.3.4", both.usbDriver);
  EXPECT_EQ("", both.pcieDriver);
  EXPECT_FALSE(parse("[drivers]\nusb = \"1.2.3.4\"\n").pcieDriver);
}

TEST(Description, BoardHasWhatItHasWhenNothingIsSaid) {
  const auto plain = board(usb);
  EXPECT_EQ(0U, plain.type);
  EXPECT_EQ("chart", plain.scene);
  EXPECT_TRUE(plain.plugged);
  EXPECT_EQ(0x36, plain.address.slave);
  EXPECT_EQ(16U, plain.address.registerBits);
  EXPECT_TRUE(plain.sensorResets.empty() && plain.registers.empty() && plain.faults.empty() &&
              plain.events.empty());
  EXPECT_EQ(1U, board(pcie).type);
}

TEST(Description, CountMakesBoardsThatAreAlike) {
  const Description made = parse(usb + "count = 3\nplugged = false\n" + pcie + "count = 252\n");
  ASSERT_EQ(255U, made.boards.size());
  EXPECT_FALSE(made.boards[2].plugged);
  EXPECT_EQ(1U, made.boards[3].type);
  EXPECT_TRUE(made.boards[254].plugged);
}

TEST(Description, FilesLieInTheFolderOfTheDescription) {
  EXPECT_EQ("C:\\lab\\a.bmp", board(usb + "scene = \"a.bmp\"").scene);
  EXPECT_EQ("C:\\lab\\t\\a.bmp", board(usb + "scene = 't\\a.bmp'").scene);
  EXPECT_EQ("D:\\a.bmp", board(usb + "scene = 'D:\\a.bmp'").scene);
  EXPECT_EQ("D:/a.bmp", board(usb + "scene = 'D:/a.bmp'").scene);
  EXPECT_EQ("\\\\server\\a.bmp", board(usb + "scene = '\\\\server\\a.bmp'").scene);
  EXPECT_EQ("/a.bmp", board(usb + "scene = '/a.bmp'").scene);
  EXPECT_EQ("#8090a0", board(usb + "scene = \"#8090a0\"").scene);
  EXPECT_EQ("C:\\lab\\t.txt", parse("trace = \"t.txt\"").trace);
  EXPECT_EQ("C:\\lab\\t.txt", parse("trace = \"t.txt\"", "C:\\lab\\").trace);
  EXPECT_EQ("C:\\lab\\\xE3\x82\xAB.bmp", board(usb + "scene = \"\xE3\x82\xAB.bmp\"").scene);
}

TEST(Description, FolderOfAFile) {
  EXPECT_EQ("C:\\a\\", sim::folderOf("C:\\a\\b.toml"));
  EXPECT_EQ("C:/a/", sim::folderOf("C:/a/b.toml"));
  EXPECT_EQ("C:", sim::folderOf("C:b.toml"));
  EXPECT_EQ("C:b.bmp", sim::inFolder(sim::folderOf("C:b.toml"), "b.bmp"));
  EXPECT_EQ(".", sim::folderOf("b.toml"));
  EXPECT_EQ(".\\b.bmp", sim::inFolder(sim::folderOf("b.toml"), "b.bmp"));
}

TEST(Description, SensorSettingsAreResetValues) {
  EXPECT_EQ(1280, resetPair("width = 1280", sim::SensorRegister::width));
  EXPECT_EQ(65535, resetPair("height = 65535", sim::SensorRegister::height));
  EXPECT_EQ(12, reset("bits = 12", sim::SensorRegister::bits));
  EXPECT_EQ(255, reset("noise = 255", sim::SensorRegister::noise));
  EXPECT_EQ(7, reset("noise_seed = 7", sim::SensorRegister::noiseSeed));
  EXPECT_EQ(1, reset("frame_counter = true", sim::SensorRegister::frameCounter));
  EXPECT_EQ(0, reset("frame_counter = false", sim::SensorRegister::frameCounter));
  EXPECT_EQ(1, reset("format = \"yuv\"", sim::SensorRegister::format));
  EXPECT_EQ(0, reset("format = \"bayer\"", sim::SensorRegister::format));
  const char* patterns[] = {"grbg", "rggb", "bggr", "gbrg"};
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(i, reset("pattern = \"" + std::string(patterns[i]) + "\"", sim::SensorRegister::pattern));
  }
}

TEST(Description, FrameRateIsTheNearestPeriod) {
  EXPECT_EQ(333, resetPair("frames_per_second = 30", framePeriod));
  EXPECT_EQ(334, resetPair("frames_per_second = 29.97", framePeriod));
  EXPECT_EQ(1, resetPair("frames_per_second = 10000", framePeriod));
  EXPECT_EQ(1, resetPair("frames_per_second = 9000.5", framePeriod));
  EXPECT_EQ(0xFFFF, resetPair("frames_per_second = 0.152590219", framePeriod));
  EXPECT_EQ(10000, resetPair("frames_per_second = 1", framePeriod));
}

TEST(Description, SensorAddress) {
  for (const unsigned bits : {0U, 8U, 16U}) {
    const auto made = board(usb + "[board.sensor]\nslave = 0x3FF\nregister_bits = " + std::to_string(bits));
    EXPECT_EQ(0x3FF, made.address.slave);
    EXPECT_EQ(bits, made.address.registerBits);
  }
}

TEST(Description, SensorRegistersComeLast) {
  EXPECT_EQ(9, reset("bits = 12\nregisters = {\"0x0103\" = 9, \"256\" = 1}", sim::SensorRegister::bits));
  EXPECT_EQ(1, reset("registers = {\"0x0103\" = 9, \"256\" = 0x01}", sim::SensorRegister::streaming));
}

TEST(Description, BoardRegisters) {
  const auto made = board(usb + "registers = {\"0xFFFF\" = 0xffff}");
  ASSERT_EQ(1U, made.registers.size());
  EXPECT_EQ(0xFFFFU, made.registers[0].first);
  EXPECT_EQ(0xFFFFU, made.registers[0].second);
  EXPECT_EQ(0xFFFFFFFFU, board(pcie + "registers = {\"0X20\" = 4294967295}").registers.at(0).second);
}

TEST(Description, FaultsOfBothBoardTypes) {
  struct Word {
    const char* name;
    Fault::Kind kind;
    bool hasValue;
    bool onUsb;
    bool onPcie;
  };
  const Word words[] = {{"refuse", Fault::Kind::refuse, true, true, true},
                        {"keep-status", Fault::Kind::keepStatus, false, true, true},
                        {"shorten", Fault::Kind::shorten, true, true, true},
                        {"corrupt", Fault::Kind::corrupt, true, true, false},
                        {"unplug", Fault::Kind::unplug, false, true, true},
                        {"answer", Fault::Kind::answer, true, false, true},
                        {"answer-later", Fault::Kind::answerLater, true, false, true}};
  for (const Word& word : words) {
    const std::string text = "[[board.fault]]\nrequest = 3\ndo = \"" + std::string(word.name) + "\"\n" +
                             (word.hasValue ? "value = 255\n" : "");
    for (const bool isUsb : {true, false}) {
      if (!(isUsb ? word.onUsb : word.onPcie)) {
        EXPECT_NE("no error", errorOf((isUsb ? usb : pcie) + text)) << text;
        continue;
      }
      const auto made = board((isUsb ? usb : pcie) + text).faults.at(0);
      EXPECT_EQ(3U, made.request);
      EXPECT_FALSE(made.andAllAfter);
      EXPECT_EQ(word.kind, made.fault.kind) << word.name;
      EXPECT_EQ(word.hasValue ? 255U : 0U, made.fault.value) << word.name;
    }
  }
}

TEST(Description, FaultFromARequestOnAndItsUsualError) {
  const auto made = board(usb + "[[board.fault]]\nfrom_request = 2147483647\ndo = \"refuse\"").faults.at(0);
  EXPECT_EQ(0x7FFFFFFFU, made.request);
  EXPECT_TRUE(made.andAllAfter);
  EXPECT_EQ(31U, made.fault.value);
}

TEST(Description, DefectsOfBothBoardTypes) {
  using sim::Defect;
  EXPECT_TRUE(board(usb).defects.empty());
  EXPECT_EQ((std::vector<Defect>{Defect::stuckBit, Defect::longFrame}),
            board(usb + "defect = ['stuck-bit', 'long-frame']").defects);
  EXPECT_EQ(std::vector<Defect>{Defect::looseUnlock}, board(pcie + "defect = ['loose-unlock']").defects);
  for (const sim::DefectName& each : sim::defectNames()) {
    const std::string defect = "defect = ['" + std::string(each.name) + "']";
    EXPECT_EQ(each.onUsb, errorOf(usb + defect) == "no error") << each.name;
    EXPECT_EQ(each.onPcie, errorOf(pcie + defect) == "no error") << each.name;
  }
}

TEST(Description, WrongDefectIsToldWithItsPlace) {
  EXPECT_EQ(
      0U,
      errorOf(usb + "defect = 'stuck-bit'").rfind("boards.toml:3:10: \"defect\" must be a list of words", 0));
  EXPECT_EQ(0U, errorOf(usb + "defect = ['stuck-bit', 7]")
                    .rfind("boards.toml:3:24: \"defect\" must be a list of words", 0));
  const std::string unknown = errorOf(usb + "defect = ['stuck-bit', 'tired']");
  EXPECT_EQ(0U, unknown.rfind("boards.toml:3:24: \"defect\" must be of \"stuck-bit\", ", 0)) << unknown;
  EXPECT_NE(std::string::npos, unknown.find("not \"tired\"")) << unknown;
}

TEST(Description, Events) {
  const std::pair<const char*, BoardEvent::Kind> words[] = {
      {"unplug", BoardEvent::Kind::unplug},
      {"plug", BoardEvent::Kind::plug},
      {"no-acknowledge", BoardEvent::Kind::holdAcknowledge},
      {"acknowledge", BoardEvent::Kind::releaseAcknowledge},
      {"no-frames", BoardEvent::Kind::holdFrames},
      {"frames", BoardEvent::Kind::releaseFrames},
      {"refuse", BoardEvent::Kind::refuse},
      {"clear-faults", BoardEvent::Kind::clear}};
  for (const auto& [name, kind] : words) {
    const auto made =
        board(usb + "[[board.event]]\nat = 0.25\ndo = \"" + std::string(name) + "\"").events.at(0);
    EXPECT_EQ(kind, made.kind) << name;
    EXPECT_EQ(250000U, made.moment);
  }
  EXPECT_EQ(31U, board(usb + "[[board.event]]\nat = 0\ndo = \"refuse\"").events.at(0).value);
  EXPECT_EQ(5U, board(usb + "[[board.event]]\nat = 0\ndo = \"refuse\"\nvalue = 5").events.at(0).value);
  EXPECT_EQ(10000000000000U, board(usb + "[[board.event]]\nat = 1e7\ndo = \"plug\"").events.at(0).moment);
}

// ---- What is wrong ----

class WrongDescription : public ::testing::TestWithParam<Wrong> {};

TEST_P(WrongDescription, IsToldWithItsPlaceAndReason) {
  EXPECT_EQ("boards.toml:" + GetParam().sentence, errorOf(GetParam().text));
}

constexpr char sensorKeys[] =
    "\"slave\", \"register_bits\", \"width\", \"height\", \"bits\", \"noise\", \"noise_seed\", "
    "\"frames_per_second\", \"pattern\", \"format\", \"frame_counter\" or \"registers\"";

std::string sensor(const std::string& line) { return usb + "[board.sensor]\n" + line; }
std::string fault(const std::string& lines) { return usb + "[[board.fault]]\n" + lines; }
std::string event(const std::string& lines) { return usb + "[[board.event]]\n" + lines; }

const Wrong wrongs[] = {
    {"UnknownKeyAtTheTop", "boards = 3",
     "1:1: \"boards\" is unknown in the description, which has \"time\", \"trace\", \"drivers\" or "
     "\"board\""},
    {"TimeThatIsNoText", "time = 3", "1:8: \"time\" must be a text in quotes"},
    {"TimeThatIsNone", "\n  time = 'fast'", "2:10: \"time\" must be \"real\" or \"simulated\", not \"fast\""},
    {"TraceThatIsNoText", "trace = true", "1:9: \"trace\" must be a text in quotes"},
    {"DriversThatAreNoTable", "drivers = \"1.0\"", "1:11: \"drivers\" must be a table"},
    {"DriverThatIsNoText", "[drivers]\nusb = 1", "2:7: \"usb\" must be a text in quotes"},
    {"PcieDriverThatIsNoText", "[drivers]\npcie = [1]", "2:8: \"pcie\" must be a text in quotes"},
    {"UnknownDriver", "[drivers]\nisa = \"1\"",
     "2:1: \"isa\" is unknown in [drivers], which has \"usb\" or \"pcie\""},
    {"BoardThatIsATable", "[board]\ntype = \"usb\"",
     "1:1: \"board\" must be tables, each after a line [[board]]"},
    {"BoardThatIsANumber", "board = 1", "1:9: \"board\" must be tables, each after a line [[board]]"},
    {"BoardOfMixedThings", "board = [1, {}]", "1:9: \"board\" must be tables, each after a line [[board]]"},
    {"TypeThatIsMissing", "\n[[board]]\ncount = 1", "2:1: \"type\" is missing: \"usb\" or \"pcie\""},
    {"TypeThatIsNone", "[[board]]\ntype = \"USB\"", "2:8: \"type\" must be \"usb\" or \"pcie\", not \"USB\""},
    {"CountOfZero", usb + "count = 0", "3:9: \"count\" must be a whole number from 1 to 255"},
    {"CountTooLarge", usb + "count = 256", "3:9: \"count\" must be a whole number from 1 to 255"},
    {"CountThatIsNoWholeNumber", usb + "count = 1.0", "3:9: \"count\" must be a whole number from 1 to 255"},
    {"TooManyBoards", usb + "count = 255\n" + pcie, "4:1: there are more than 255 boards"},
    {"SceneThatIsNoText", usb + "scene = 1", "3:9: \"scene\" must be a text in quotes"},
    {"PluggedThatIsNoBoolean", usb + "plugged = 1", "3:11: \"plugged\" must be true or false"},
    {"UnknownKeyOfABoard", usb + "colour = 1",
     "3:1: \"colour\" is unknown in [[board]], which has \"type\", \"count\", \"scene\", \"plugged\", "
     "\"sensor\", \"registers\", \"defect\", \"fault\" or \"event\""},
    {"SensorThatIsNoTable", usb + "sensor = 1", "3:10: \"sensor\" must be a table"},
    {"UnknownKeyOfASensor", sensor("gain = 1"),
     "4:1: \"gain\" is unknown in [sensor], which has " + std::string(sensorKeys)},
    {"SlaveTooLarge", sensor("slave = 0x400"), "4:9: \"slave\" must be a whole number from 0 to 1023"},
    {"SlaveNegative", sensor("slave = -1"), "4:9: \"slave\" must be a whole number from 0 to 1023"},
    {"RegisterBitsBetween", sensor("register_bits = 9"), "4:17: \"register_bits\" must be 0, 8 or 16"},
    {"WidthOfZero", sensor("width = 0"), "4:9: \"width\" must be a whole number from 1 to 65535"},
    {"WidthTooLarge", sensor("width = 65536"), "4:9: \"width\" must be a whole number from 1 to 65535"},
    {"HeightOfZero", sensor("height = 0"), "4:10: \"height\" must be a whole number from 1 to 65535"},
    {"BitsTooFew", sensor("bits = 7"), "4:8: \"bits\" must be a whole number from 8 to 16"},
    {"BitsTooMany", sensor("bits = 17"), "4:8: \"bits\" must be a whole number from 8 to 16"},
    {"NoiseTooLarge", sensor("noise = 256"), "4:9: \"noise\" must be a whole number from 0 to 255"},
    {"SeedTooLarge", sensor("noise_seed = 256"), "4:14: \"noise_seed\" must be a whole number from 0 to 255"},
    {"RateOfZero", sensor("frames_per_second = 0"),
     "4:21: \"frames_per_second\" must be a number from 0.152590219 to 10000"},
    {"RateThatIsNoNumber", sensor("frames_per_second = nan"),
     "4:21: \"frames_per_second\" must be a number from 0.152590219 to 10000"},
    {"RateThatIsAText", sensor("frames_per_second = \"30\""),
     "4:21: \"frames_per_second\" must be a number from 0.152590219 to 10000"},
    {"RateTooLarge", sensor("frames_per_second = 10000.1"),
     "4:21: \"frames_per_second\" must be a number from 0.152590219 to 10000"},
    {"PatternThatIsNone", sensor("pattern = \"rgb\""),
     "4:11: \"pattern\" must be \"grbg\", \"rggb\", \"bggr\" or \"gbrg\", not \"rgb\""},
    {"FormatThatIsNone", sensor("format = \"jpeg\""),
     "4:10: \"format\" must be \"bayer\" or \"yuv\", not \"jpeg\""},
    {"CounterThatIsNoBoolean", sensor("frame_counter = 1"), "4:17: \"frame_counter\" must be true or false"},
    {"SensorRegistersThatAreNone", sensor("registers = []"), "4:13: \"registers\" must be a table"},
    {"SensorRegisterTooHigh", sensor("registers = {\"0x10000\" = 1}"),
     "4:14: \"0x10000\" must be an address up to 0xffff"},
    {"SensorRegisterWithoutANumber", sensor("registers = {gain = 1}"),
     "4:14: \"gain\" must be an address up to 0xffff"},
    {"SensorRegisterOfNoDigits", sensor("registers = {\"0x\" = 1}"),
     "4:14: \"0x\" must be an address up to 0xffff"},
    {"SensorRegisterNegative", sensor("registers = {\"-1\" = 1}"),
     "4:14: \"-1\" must be an address up to 0xffff"},
    {"SensorValueTooLarge", sensor("registers = {\"1\" = 256}"),
     "4:20: the value of register \"1\" must be a whole number up to 0xff"},
    {"SensorValueNegative", sensor("registers = {\"1\" = -1}"),
     "4:20: the value of register \"1\" must be a whole number up to 0xff"},
    {"BoardRegisterTooHigh", usb + "[board.registers]\n0x10000 = 1",
     "4:1: \"0x10000\" must be an address up to 0xffff"},
    {"UsbValueTooLarge", usb + "[board.registers]\n2 = 0x10000",
     "4:5: the value of register \"2\" must be a whole number up to 0xffff"},
    {"PcieValueTooLarge", pcie + "[board.registers]\n2 = 0x100000000",
     "4:5: the value of register \"2\" must be a whole number up to 0xffffffff"},
    {"FaultThatIsATable", usb + "[board.fault]\nrequest = 1",
     "3:1: \"fault\" must be tables, each after a line [[fault]]"},
    {"FaultWithoutAnAct", fault("request = 1"), "3:1: \"do\" is missing: what happens to the request"},
    {"FaultThatIsNone", fault("request = 1\ndo = \"explode\""),
     "5:6: \"do\" must be \"refuse\", \"keep-status\", \"shorten\", \"corrupt\" or \"unplug\", not "
     "\"explode\""},
    {"FaultThatOnlyPcieBoardsHave", fault("request = 1\ndo = \"answer\"\nvalue = 1"),
     "5:6: \"do\" must be \"refuse\", \"keep-status\", \"shorten\", \"corrupt\" or \"unplug\", not "
     "\"answer\""},
    {"FaultThatOnlyUsbBoardsHave", pcie + "[[board.fault]]\nrequest = 1\ndo = \"corrupt\"\nvalue = 1",
     "5:6: \"do\" must be \"refuse\", \"keep-status\", \"shorten\", \"unplug\", \"answer\" or "
     "\"answer-later\", not \"corrupt\""},
    {"FaultOfRequestZero", fault("request = 0\ndo = \"refuse\""),
     "4:11: \"request\" must be a whole number from 1 to 2147483647"},
    {"FaultFromRequestZero", fault("from_request = 0\ndo = \"refuse\""),
     "4:16: \"from_request\" must be a whole number from 1 to 2147483647"},
    {"FaultOfNoRequest", fault("do = \"refuse\""),
     "3:1: a fault has either \"request\" or \"from_request\", the number of a request from 1"},
    {"FaultOfTwoRequests", fault("do = \"refuse\"\nrequest = 1\nfrom_request = 1"),
     "3:1: a fault has either \"request\" or \"from_request\", the number of a request from 1"},
    {"FaultWithoutItsValue", fault("request = 1\ndo = \"shorten\""), "3:1: \"value\" is missing"},
    {"FaultWithAValueTooMany", fault("request = 1\ndo = \"unplug\"\nvalue = 1"),
     "6:9: this takes no \"value\""},
    {"FaultWithAValueTooLarge", fault("request = 1\ndo = \"corrupt\"\nvalue = 256"),
     "6:9: \"value\" must be a whole number from 0 to 255"},
    {"RefusalWithAValueTooLarge", fault("request = 1\ndo = \"refuse\"\nvalue = 4294967296"),
     "6:9: \"value\" must be a whole number from 0 to 4294967295"},
    {"UnknownKeyOfAFault", fault("request = 1\ndo = \"refuse\"\nwhen = 1"),
     "6:1: \"when\" is unknown in [[fault]], which has \"do\", \"request\", \"from_request\" or \"value\""},
    {"EventWithoutAMoment", event("do = \"plug\""), "3:1: \"at\" is missing: seconds after the start"},
    {"EventBeforeTheStart", event("at = -0.1\ndo = \"plug\""),
     "4:6: \"at\" must be a number from 0 to 10000000"},
    {"EventTooLate", event("at = 10000001\ndo = \"plug\""),
     "4:6: \"at\" must be a number from 0 to 10000000"},
    {"EventWithoutAnAct", event("at = 1"), "3:1: \"do\" is missing: what happens to the board"},
    {"EventThatIsNone", event("at = 1\ndo = \"dance\""),
     "5:6: \"do\" must be \"unplug\", \"plug\", \"no-acknowledge\", \"acknowledge\", \"no-frames\", "
     "\"frames\", "
     "\"refuse\" or \"clear-faults\", not \"dance\""},
    {"EventWithAValueTooMany", event("at = 1\ndo = \"plug\"\nvalue = 1"), "6:9: this takes no \"value\""},
    {"EventWithAnErrorTooLarge", event("at = 1\ndo = \"refuse\"\nvalue = -1"),
     "6:9: \"value\" must be a whole number from 0 to 4294967295"},
    {"UnknownKeyOfAnEvent", event("at = 1\ndo = \"plug\"\nuntil = 2"),
     "6:1: \"until\" is unknown in [[event]], which has \"at\" or \"do\""},
    {"UnknownKeyOfAnEventWithAValue", event("at = 1\ndo = \"refuse\"\nuntil = 2"),
     "6:1: \"until\" is unknown in [[event]], which has \"at\", \"do\" or \"value\""},
};

INSTANTIATE_TEST_SUITE_P(Keys, WrongDescription, ::testing::ValuesIn(wrongs),
                         [](const auto& each) { return std::string(each.param.name); });

// What is no TOML is told by the parser, but in one line and with its place.
TEST(Description, ThatIsNoTomlIsToldInOneLine) {
  const std::string texts[] = {"time = ",
                               "time = 'a\nb'",
                               "[[board]\n",
                               "time = 'a'\ntime = 'b'",
                               "\x01",
                               "time = \"\xFF\"",
                               "a = 99999999999999999999999",
                               "= 1",
                               std::string("a\0b", 3)};
  for (const std::string& text : texts) {
    const std::string error = errorOf(text);
    EXPECT_EQ(0U, error.rfind("boards.toml:", 0)) << error;
    EXPECT_EQ(std::string::npos, error.find_first_of("\r\n")) << error;
  }
  EXPECT_EQ(0U, errorOf("time = 'real'\ntime = 'real'\n").rfind("boards.toml:2:", 0));
}

// Nor does a key with odd characters in it break the line.
TEST(Description, SentenceStaysOneLineWhateverItsWordsHold) {
  for (const std::string& text : {std::string("\"a\\nb\" = 1"), std::string("time = \"a\\r\\nb\""),
                                  usb + "[board.registers]\n\"1\\n\" = 1"}) {
    const std::string error = errorOf(text);
    EXPECT_EQ(0U, error.rfind("boards.toml:", 0)) << error;
    EXPECT_EQ(std::string::npos, error.find_first_of("\r\n")) << error;
  }
}

TEST(Description, NestedWithoutEndIsRefused) {
  EXPECT_EQ(0U, errorOf("a = " + std::string(100000, '[')).rfind("boards.toml:1:", 0));
}

// ---- Files ----

class DescriptionFile : public ::testing::Test {
 protected:
  DescriptionFile() {
    wchar_t folder[MAX_PATH];
    GetTempPathW(MAX_PATH, folder);
    folder_ = folder + std::to_wstring(GetCurrentProcessId()) + L"-\x30ab\x30e1\x30e9";
    CreateDirectoryW(folder_.c_str(), nullptr);
  }
  ~DescriptionFile() override {
    DeleteFileW((folder_ + L"\\boards.toml").c_str());
    RemoveDirectoryW(folder_.c_str());
  }

  std::string write(const std::string& content) {
    const std::wstring path = folder_ + L"\\boards.toml";
    const HANDLE file =
        CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    DWORD written = 0;
    EXPECT_TRUE(WriteFile(file, content.data(), static_cast<DWORD>(content.size()), &written, nullptr));
    CloseHandle(file);
    return sim::utf8Text(path);
  }

  std::string folder() const { return sim::utf8Text(folder_); }

 private:
  std::wstring folder_;
};

TEST_F(DescriptionFile, NamesFilesOfItsFolder) {
  const auto read = sim::readDescription(write(usb + "scene = \"\xE3\x82\xAB.bmp\"\n"));
  EXPECT_EQ(folder() + "\\\xE3\x82\xAB.bmp", read.boards.at(0).scene);
  EXPECT_EQ(folder() + "\\boards.toml:3:9", read.boards.at(0).scenePlace);
}

TEST_F(DescriptionFile, MayBeginWithAMark) {
  EXPECT_EQ(1U, sim::readDescription(write("\xEF\xBB\xBF" + usb)).boards.size());
}

TEST_F(DescriptionFile, MayHaveTheLinesOfWindows) {
  EXPECT_EQ(1U, sim::readDescription(write("[[board]]\r\ntype = \"usb\"\r\n")).boards.size());
}

TEST_F(DescriptionFile, ThatIsMissingOrTooLargeIsTold) {
  const std::string missing = folder() + "\\none.toml";
  for (const std::string& path : {missing, folder(), write(std::string((1 << 20) + 1, '\n'))}) {
    try {
      sim::readDescription(path);
      ADD_FAILURE() << path;
    } catch (const DescriptionError& error) {
      EXPECT_EQ(path + ": cannot be read, or is no text of at most 1 MiB", error.what());
    }
  }
  EXPECT_TRUE(sim::readDescription(write(std::string(1 << 20, '\n'))).boards.empty());
}

}  // namespace
