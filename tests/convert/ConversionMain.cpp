// Runs the tests on the instruction set that is asked for. Where the machine lacks it the library would use
// a narrower one, and every test would pass without testing the one that was meant: then none is run, and the
// program prints this, returns a code of its own and counts as skipped.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>

#include "MachineSets.h"

namespace {

constexpr int skipped = 77;  // the SKIP_RETURN_CODE of these tests

// Beside the framework's own results, if it was asked for any.
void writeSkippedCase(const std::string& program, const std::string& set) {
  const std::string output = testing::GTEST_FLAG(output);
  if (output.rfind("xml:", 0) != 0) return;
  std::ofstream file(output.substr(4) + program + "_without_" + set + ".xml");
  file << "<testsuites tests=\"1\"><testsuite name=\"" << program << "\" tests=\"1\">\n"
       << "<testcase name=\"" << set << "\" classname=\"" << program
       << "\" status=\"notrun\" result=\"skipped\"/>\n</testsuite></testsuites>\n";
}

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  const std::string set = kvexa::test::setUnderTest();
  if (!kvexa::test::machineHas(set)) {
    std::printf("skipped: this machine does not have the instruction set %s\n", set.c_str());
    writeSkippedCase(KVEXA_TEST_PROGRAM, set);
    return skipped;
  }
  std::printf("instruction set %s\n", set.c_str());
  return RUN_ALL_TESTS();
}
