// Single frames: whole, of the right size, and what the area and the reduction make of them.
#include <algorithm>
#include <vector>

#include "cli/selftest/Check.h"
#include "cli/selftest/Frames.h"
#include "cli/selftest/Rig.h"

namespace cli::selftest {

namespace {

using Bytes = std::vector<std::uint8_t>;

// Bytes at the end that no frame reached: they hold the mark of either capture.
std::size_t untouched(const Bytes& one, std::uint8_t oneMark, const Bytes& other, std::uint8_t otherMark) {
  std::size_t end = one.size();
  while (end > 0 && one[end - 1] == oneMark && other[end - 1] == otherMark) --end;
  return one.size() - end;
}

// The bytes of a frame before it is filled up.
std::size_t wholeBytes(const kvexa::FrameLayout& layout) {
  return std::size_t{layout.width} * layout.height * layout.unit;
}

void oneShot(Rig& rig) {
  rig.stream();
  const kvexa::FrameLayout layout = rig.layout();
  constexpr std::uint8_t mark = 0xA5;
  constexpr std::uint8_t otherMark = 0x5A;
  const Bytes one = rig.oneShot(layout.bytes, mark);
  const Bytes other = rig.oneShot(layout.bytes, otherMark);
  const std::size_t filled = layout.bytes - untouched(one, mark, other, otherMark);
  expect(filled >= wholeBytes(layout), "a frame of " + std::to_string(wholeBytes(layout)) + " bytes",
         std::to_string(filled));
}

// A frame of the board's that is longer than it should be comes to light where there is room for it.
void frameEnd(Rig& rig) {
  rig.stream();
  const kvexa::FrameLayout layout = rig.layout();
  constexpr std::uint8_t mark = 0xA5;
  constexpr std::uint8_t otherMark = 0x5A;
  const std::uint32_t room = layout.bytes + 16 * 512;
  const Bytes one = rig.oneShot(room, mark);
  const Bytes other = rig.oneShot(room, otherMark);
  const std::size_t filled = room - untouched(one, mark, other, otherMark);
  expect(filled <= layout.bytes, "the end of the frame behind " + std::to_string(layout.bytes) + " bytes",
         std::to_string(filled));
}

void oneShotsFollow(Rig& rig) {
  rig.stream();
  const std::uint32_t bytes = rig.layout().bytes;
  std::uint32_t before = drawnNumber(rig.oneShot(bytes, 0));
  for (unsigned i = 0; i < 8; ++i) {
    const std::uint32_t number = drawnNumber(rig.oneShot(bytes, 0));
    expect(number > before, "a frame behind frame " + std::to_string(before), std::to_string(number));
    before = number;
  }
}

// Two shots of a scene that stands still differ in nothing but the number.
void samePicture(Rig& rig) {
  if (!rig.sensor().standsStill) throw LeftOut("what is in front of the sensor may move");
  rig.stream();
  const kvexa::FrameLayout layout = rig.layout();
  const std::size_t below = std::size_t{layout.width} * layout.unit * 4;
  const Bytes one = rig.oneShot(layout.bytes, 0);
  for (unsigned i = 0; i < 6; ++i) {
    const Bytes other = rig.oneShot(layout.bytes, 0);
    for (std::size_t at = below; at < one.size(); ++at) {
      expect(one[at] == other[at], "the same picture in every frame",
             "byte " + std::to_string(at) + " as " + hex(one[at], 2) + " and " + hex(other[at], 2));
    }
  }
}

struct Part {
  CapParam parameters;
  std::uint32_t left, top, columnStep, lineStep;
};

// A part of the picture is the same as it is in the whole one.
void expectPart(Rig& rig, const Part& part) {
  if (!rig.sensor().standsStill) throw LeftOut("what is in front of the sensor may move");
  const CapParam& all = *rig.sensor().parameters;
  const kvexa::FrameLayout whole = rig.layoutOf(all);
  if (whole.unit != 1) throw LeftOut("samples of more than a byte");
  rig.stream(all);
  const Bytes picture = rig.oneShot(whole.bytes, 0);
  expectOk("kVexaSetCapParam", kVexaSetCapParam(rig.board(), &part.parameters));
  const kvexa::FrameLayout layout = rig.layoutOf(part.parameters);
  const Bytes cut = rig.oneShot(layout.bytes, 0);
  for (std::uint32_t line = 0; line < layout.height; ++line) {
    for (std::uint32_t column = 0; column < layout.width; ++column) {
      const std::uint32_t x = part.left + column * part.columnStep;
      const std::uint32_t y = part.top + line * part.lineStep;
      if (y < 4) continue;  // the number changes
      const std::uint8_t wanted = picture[std::size_t{y} * whole.width + x];
      const std::uint8_t found = cut[std::size_t{line} * layout.width + column];
      expect(wanted == found,
             "column " + std::to_string(x) + ", line " + std::to_string(y) + " of the whole picture, " +
                 hex(wanted, 2) + ", in column " + std::to_string(column) + ", line " + std::to_string(line),
             hex(found, 2));
    }
  }
}

void area(Rig& rig) {
  Part part{*rig.sensor().parameters, 32, 24, 1, 1};
  part.parameters.HOFF = static_cast<std::uint16_t>(part.parameters.HOFF + part.left);
  part.parameters.VOFF = static_cast<std::uint16_t>(part.parameters.VOFF + part.top);
  part.parameters.HCNT = static_cast<std::uint16_t>(part.parameters.HCNT / 2);
  part.parameters.VCNT = static_cast<std::uint16_t>(part.parameters.VCNT / 2);
  expectPart(rig, part);
}

void reduction(Rig& rig) {
  Part part{*rig.sensor().parameters, 0, 0, 2, 4};
  part.parameters.HREDUCT = 1;
  part.parameters.VREDUCT = 3;
  expectPart(rig, part);
}

void skippedFrames(Rig& rig) {
  CapParam parameters = *rig.sensor().parameters;
  parameters.FRMSKP = 2;
  rig.stream(parameters);
  const std::uint32_t bytes = rig.layout().bytes;
  const double period = rig.framePeriod();
  // In front of a frame two are passed over.
  std::uint32_t shortest = 0xFFFFFFFF;
  for (unsigned i = 0; i < 3; ++i) {
    const std::uint64_t begin = rig.pace().now();
    rig.oneShot(bytes, 0);
    shortest = std::min(shortest, static_cast<std::uint32_t>((rig.pace().now() - begin) / 1000));
  }
  expectOk("kVexaSetCapParam", kVexaSetCapParam(rig.board(), &*rig.sensor().parameters));
  const auto wanted = static_cast<std::uint32_t>(2.9 * period);
  expect(shortest >= wanted,
         "a frame behind two that are skipped, after " + std::to_string(wanted) + " ms or more",
         std::to_string(shortest) + " ms");
}

constexpr Check checks[] = {
    {"one-shot", bothBoards, writes | frames, oneShot},
    {"frame-end", bothBoards, writes | frames, frameEnd},
    {"one-shots-follow", bothBoards, writes | frames | numbers, oneShotsFollow},
    {"same-picture", bothBoards, writes | frames, samePicture},
    {"area", bothBoards, writes | frames, area},
    {"reduction", bothBoards, writes | frames, reduction},
    {"skipped-frames", bothBoards, writes | frames, skippedFrames},
};

}  // namespace

std::span<const Check> frameChecks() { return checks; }

}  // namespace cli::selftest
