#include "cli/selftest/Report.h"

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

namespace cli::selftest {

namespace {

struct Word {
  const char* text;  // for people, padded
  const char* key;   // in JSON
};

Word wordOf(Outcome outcome) {
  switch (outcome) {
    case Outcome::ok: return {"ok        ", "ok"};
    case Outcome::failed: return {"failed    ", "failed"};
    case Outcome::leftOut: break;
  }
  return {"left out  ", "left-out"};
}

std::string explanationOf(const Finding& finding) {
  if (finding.outcome == Outcome::leftOut) return finding.reason;
  if (finding.outcome == Outcome::ok) return {};
  return finding.expectation.empty() ? finding.finding
                                     : "expected " + finding.expectation + ", found " + finding.finding;
}

std::string escaped(const std::string& text) {
  std::string out;
  for (const char each : text) {
    switch (each) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '"': out += "&quot;"; break;
      default: out += static_cast<unsigned char>(each) < ' ' ? ' ' : each;
    }
  }
  return out;
}

std::string secondsText(double seconds) {
  char text[32];
  std::snprintf(text, sizeof text, "%.3f", seconds);
  return text;
}

}  // namespace

unsigned Report::count(Outcome outcome) const {
  return static_cast<unsigned>(std::ranges::count(findings, outcome, &Finding::outcome));
}

std::string lineOf(const Finding& finding) {
  const std::string explanation = explanationOf(finding);
  return wordOf(finding.outcome).text + std::string(finding.check) + (explanation.empty() ? "" : ": ") +
         explanation;
}

std::string summaryOf(const Report& report) {
  return std::to_string(report.findings.size()) + " checks of board " + report.board + ": " +
         std::to_string(report.count(Outcome::ok)) + " ok, " + std::to_string(report.count(Outcome::failed)) +
         " failed, " + std::to_string(report.count(Outcome::leftOut)) + " left out";
}

std::string jsonOf(const Report& report) {
  nlohmann::ordered_json checks = nlohmann::ordered_json::array();
  for (const Finding& each : report.findings) {
    nlohmann::ordered_json check{{"name", std::string(each.check)}, {"outcome", wordOf(each.outcome).key}};
    if (each.outcome == Outcome::leftOut) check["reason"] = each.reason;
    if (each.outcome == Outcome::failed && !each.expectation.empty()) check["expected"] = each.expectation;
    if (each.outcome == Outcome::failed) check["found"] = each.finding;
    check["seconds"] = each.seconds;
    checks.push_back(std::move(check));
  }
  const nlohmann::ordered_json all{{"version", 1},
                                   {"board", report.board},
                                   {"simulated", report.simulated},
                                   {"readOnly", report.readOnly},
                                   {"ok", report.count(Outcome::ok)},
                                   {"failed", report.count(Outcome::failed)},
                                   {"leftOut", report.count(Outcome::leftOut)},
                                   {"checks", checks}};
  // A message of Windows may hold bytes that are no UTF-8.
  return all.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

std::string junitOf(const Report& report) {
  std::string out = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuite name=\"kvexa selftest " +
                    escaped(report.board) + "\" tests=\"" + std::to_string(report.findings.size()) +
                    "\" failures=\"" + std::to_string(report.count(Outcome::failed)) + "\" skipped=\"" +
                    std::to_string(report.count(Outcome::leftOut)) + "\">\n";
  for (const Finding& each : report.findings) {
    out += "  <testcase name=\"" + escaped(std::string(each.check)) + "\" time=\"" +
           secondsText(each.seconds) + "\"";
    const std::string message = escaped(explanationOf(each));
    switch (each.outcome) {
      case Outcome::ok: out += "/>\n"; break;
      case Outcome::failed: out += "><failure message=\"" + message + "\"/></testcase>\n"; break;
      case Outcome::leftOut: out += "><skipped message=\"" + message + "\"/></testcase>\n"; break;
    }
  }
  return out + "</testsuite>\n";
}

}  // namespace cli::selftest
