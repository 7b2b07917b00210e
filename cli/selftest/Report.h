// What the self-test found, as lines for people, as JSON and as JUnit XML.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace cli::selftest {

enum class Outcome { ok, failed, leftOut };

struct Finding {
  std::string_view check;
  Outcome outcome = Outcome::ok;
  std::string reason;       // of one that was left out
  std::string expectation;  // of one that failed; empty when an error was all that came
  std::string finding;
  double seconds = 0;  // of the computer's time
};

struct Report {
  std::string board;  // "usb 0"
  bool simulated = false;
  bool readOnly = false;
  std::vector<Finding> findings;

  unsigned count(Outcome outcome) const;
};

// "failed    ring: expected frame 7, found 8"
std::string lineOf(const Finding& finding);
std::string summaryOf(const Report& report);
std::string jsonOf(const Report& report);
std::string junitOf(const Report& report);

}  // namespace cli::selftest
