#include <gtest/gtest.h>

#include <kvexa.hpp>

namespace kvexa::test {

namespace {

std::wstring backFromAnsi(const std::string& name) {
  std::wstring back(10, L'\0');
  const int length =
      MultiByteToWideChar(CP_ACP, 0, name.data(), static_cast<int>(name.size()), back.data(), 10);
  back.resize(static_cast<std::size_t>(length));
  return back;
}

}  // namespace

// Whatever the code page of this computer is: a name comes back as it went in, or is refused.
TEST(FileName, NoNameBecomesAnother) {
  unsigned refused = 0;
  for (wchar_t letter = 1; letter < 0xD800; ++letter) {
    const std::wstring name{L'a', letter, L'.'};
    try {
      ASSERT_EQ(backFromAnsi(ansi(name)), name) << "letter " << static_cast<unsigned>(letter);
    } catch (const std::invalid_argument&) {
      ASSERT_GT(letter, 0x7F);
      ++refused;
    }
  }
  if (GetACP() == CP_UTF8) {
    EXPECT_EQ(refused, 0U);
  } else {
    EXPECT_GT(refused, 20000U);
  }
}

TEST(FileName, NamesThatAreNoneAreRefused) {
  EXPECT_THROW(ansi(L""), std::invalid_argument);
  EXPECT_THROW(ansi(std::wstring(L"a\0b", 3)), std::invalid_argument);
}

}  // namespace kvexa::test
