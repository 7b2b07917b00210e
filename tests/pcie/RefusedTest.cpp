// Calls of PCIe boards that end before a request is sent: without memory, and with arguments that no
// request can carry.
#include <functional>

#include "tests/pcie/PcieFixture.h"

namespace kvexa::test {
namespace {

class PcieRefused : public PcieFixture {
 protected:
  std::uint32_t words[4] = {untouched, untouched, untouched, untouched};
  AutoActual actual{};
};

TEST_F(PcieRefused, WithoutMemoryForARequestNothingIsSent) {
  const struct {
    const char* name;
    std::function<std::int32_t()> call;
  } rows[] = {
      {"sensor registers read", [this] { return kVexaRegRead(&handle, 0x6C, 0, 1, 2, words); }},
      {"sensor registers written", [this] { return kVexaRegWrite(&handle, 0x6C, 0, 1, 2, words); }},
      {"measurement", [this] { return kVexaAutoActual(&handle, &actual); }},
      {"measurement with a limit", [this] { return kVexaAutoActualEx(&handle, &actual, 100); }},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    for (const auto kind : {sim::Resources::Kind::event, sim::Resources::Kind::globalMemory}) {
      machine.resources().fail(kind, 1);
      EXPECT_EQ(KVEXA_REQUEST_FAILED, row.call());
      EXPECT_EQ("", trace());
    }
    machine.resources().failBlocksFrom(1);
    const std::int32_t result = row.call();
    machine.resources().failBlocksFrom(0);
    EXPECT_EQ(KVEXA_REQUEST_FAILED, result);
    EXPECT_EQ("", trace());
    EXPECT_EQ(untouched, words[0]);
  }
}

TEST_F(PcieRefused, WordsWithoutMemoryForThemAreRefused) {
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaRegRead(&handle, 0x6C, 0, 1, 1, nullptr));
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaRegWrite(&handle, 0x6C, 0, 1, 1, nullptr));
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaRegReadS(&handle, 0x6D, 0, 1, 1, nullptr));
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaRegWriteS(&handle, 0x6C, 0, 1, 1, nullptr));
  EXPECT_EQ("", trace());
}

TEST_F(PcieRefused, NoWordsNeedNoMemory) {
  EXPECT_EQ(KVEXA_OK, kVexaRegRead(&handle, 0x6C, 0, 1, 0, nullptr));
  EXPECT_EQ(KVEXA_OK, kVexaRegWrite(&handle, 0x6C, 0, 1, 0, nullptr));
  EXPECT_EQ(KVEXA_OK, kVexaRegReadS(&handle, 0x6D, 0, 1, 0, nullptr));
  EXPECT_EQ(KVEXA_OK, kVexaRegWriteS(&handle, 0x6C, 0, 1, 0, nullptr));
  EXPECT_EQ("", trace());
}

}  // namespace
}  // namespace kvexa::test
