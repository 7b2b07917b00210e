#include "cli/report/Page.h"

#include <kvexa.hpp>

#include <array>

#include "cli/base/Output.h"
#include "cli/files/RegisterFile.h"

namespace cli {

namespace {

// The dark and the light colours come from the style; nothing may be loaded, and no script may run.
constexpr char policy[] = "default-src 'none'; style-src 'unsafe-inline'; img-src data:";

bool hasFailed(const Json& found) { return !memberOf(found, "error").is_null(); }

std::string sizeOf(const Json& found) {
  return textOf(memberOf(found, "frame/width")) + " x " + textOf(memberOf(found, "frame/height"));
}

std::string boardName(const Json& found) {
  const std::string type = textOf(memberOf(found, "board/type"));
  return (type == "usb" ? "USB board " : "PCIe board ") + textOf(memberOf(found, "board/index"));
}

std::size_t failedCalls(const Json& found) {
  std::size_t count = 0;
  for (const Json& each : memberOf(found, "calls")) count += each["result"].get<int>() < 0 ? 1 : 0;
  return count;
}

// Registers that give back something else than what was written.
std::size_t differingRegisters(const Json& found) {
  std::size_t count = 0;
  for (const Json& each : memberOf(found, "writes")) {
    count += !each["read"].is_null() && each["read"] != each["values"] ? 1 : 0;
  }
  return count;
}

std::string placeOf(const Json& remark) {
  const std::string line = textOf(remark["line"]);
  const std::string subject = remark["subject"];
  return (line == "0" ? "whole file" : "line " + line) + (subject.empty() ? "" : ", " + subject);
}

// What a reader should not miss.
std::vector<std::string> remarksOf(const Json& found) {
  std::vector<std::string> remarks;
  const Json& measured = memberOf(found, "measured");
  if (measured.is_object()) {
    const std::string size = textOf(measured["width"]) + " x " + textOf(measured["height"]);
    if (size != sizeOf(found)) {
      remarks.push_back("The board measures frames of " + size + ", the capture takes " + sizeOf(found) +
                        ".");
    }
  }
  if (memberOf(found, "status/droppedFrames") == true) remarks.emplace_back("The board dropped frames.");
  if (const std::size_t count = differingRegisters(found)) {
    remarks.push_back(std::to_string(count) +
                      (count == 1 ? " line of the register-setting file reads"
                                  : " lines of the register-setting file read") +
                      " back as something else.");
  }
  for (const char* list : {"registerRemarks", "parameterRemarks"}) {
    const std::string file =
        textOf(memberOf(found, list[0] == 'r' ? "inputs/registers" : "inputs/parameters"));
    for (const Json& remark : memberOf(found, list)) {
      remarks.push_back(file + ", " + placeOf(remark) + ": " + textOf(remark["text"]) + ".");
    }
  }
  return remarks;
}

std::string verdict(const Json& found) {
  const bool failed = hasFailed(found);
  std::string html = std::string("<section id=\"verdict\" class=\"") + (failed ? "bad" : "good") +
                     "\" aria-label=\"Verdict\">\n";
  if (failed) {
    const std::string advice = textOf(memberOf(found, "error/advice"));
    html += "<p><strong>Failed.</strong> " + escaped(textOf(memberOf(found, "error/text"))) + ".</p>\n";
    if (!advice.empty()) html += paragraph("What to do: " + advice + ".");
  } else {
    html += "<p><strong>Frames come.</strong> " +
            escaped(textOf(memberOf(found, "frames")) + " of " + sizeOf(found) + " were captured.") +
            "</p>\n";
  }
  const auto remarks = remarksOf(found);
  if (!remarks.empty()) html += "<ul>\n";
  for (const std::string& remark : remarks) html += "<li>" + escaped(remark) + "</li>\n";
  return html + (remarks.empty() ? "" : "</ul>\n") + "</section>\n";
}

std::string fact(const std::string& name, const std::string& value) {
  return "<div><dt>" + escaped(name) + "</dt><dd>" + escaped(value) + "</dd></div>\n";
}

std::string facts(const Json& found) {
  const Json& edge = memberOf(found, "statistics/edge/results/0/sfr50");
  const Json& noise = memberOf(found, "statistics/channels/0/noise/temporal");
  std::string html = "<dl class=\"facts\">\n" + fact("Board", boardName(found)) +
                     fact("Frame", sizeOf(found) + ", " + textOf(memberOf(found, "frame/bits")) + " bits") +
                     fact("Frames a second", fixed(memberOf(found, "frameRate"), 2));
  html += fact("Temporal noise",
               noise.is_null()
                   ? "–"
                   : fixed(noise, 2) + " (" + textOf(memberOf(found, "statistics/channels/0/name")) + ")");
  html += fact("SFR50", edge.is_null() ? "–" : fixed(edge, 3) + " cycles a pixel");
  return html +
         fact("Calls",
              textOf(memberOf(found, "calls").size()) + ", failed " + std::to_string(failedCalls(found))) +
         "</dl>\n";
}

void supplyRow(Table& table, const Json& found, const char* name, const std::string& place) {
  const Json& supply = memberOf(found, "supplies/" + place);
  table.row({name,
             supply.is_null()       ? "–"
             : supply["on"] == true ? "on"
                                    : "off",
             textOf(memberOf(supply, "hardwareDip")), textOf(memberOf(supply, "softwareDip"))});
}

std::string boardSection(const Json& found) {
  Table versions({"Version", ""});
  const std::array<std::pair<const char*, const char*>, 6> names{{{"FPGA", "fpga"},
                                                                  {"Firmware", "firmware"},
                                                                  {"Driver", "driver"},
                                                                  {"Library", "library"},
                                                                  {"Tool", "tool"},
                                                                  {"Instruction set", "instructionSet"}}};
  versions.row({"Board", boardName(found)});
  for (const auto& [title, place] : names) {
    versions.row({title, textOf(memberOf(found, std::string("versions/") + place))});
  }
  Table supplies({"With the module powered", "", "DIP hardware", "DIP software"});
  supplyRow(supplies, found, "Supply V1", "v1");
  supplyRow(supplies, found, "Supply V2", "v2");
  supplyRow(supplies, found, "Clock", "clock");
  const Json& reset = memberOf(found, "supplies/reset");
  supplies.row({"Reset", reset.is_null() ? "–" : reset == true ? "active" : "released", "", ""});
  supplies.row({"Lines in", "0x" + hexadecimal(memberOf(found, "lines/in"), 4), "", ""});
  supplies.row({"Lines out", "0x" + hexadecimal(memberOf(found, "lines/out"), 4), "", ""});
  supplies.row({"DIP switches", "", "0x" + hexadecimal(memberOf(found, "dip/hardware"), 2),
                "0x" + hexadecimal(memberOf(found, "dip/software"), 2)});
  return section("board", "Board and module",
                 "<div class=\"grid\">\n" + versions.html() + supplies.html() + "</div>\n");
}

std::string parameterSection(const Json& found) {
  std::string html = "<dl class=\"columns\">\n";
  for (const auto& [key, value] : memberOf(found, "fields").items()) {
    html += "<div><dt>" + escaped(key) + "</dt><dd>" + escaped(textOf(value)) + "</dd></div>\n";
  }
  const Json& frame = memberOf(found, "frame");
  return section("parameters", "Capture parameters",
                 html + "</dl>\n" +
                     paragraph(textOf(memberOf(found, "inputs/parameters")) + ": frames of " + sizeOf(found) +
                                   ", " + textOf(frame["unitBytes"]) + " bytes a unit, " +
                                   textOf(frame["bytes"]) + " bytes a transfer.",
                               "note"));
}

std::string registerSection(const Json& found) {
  const Json& writes = memberOf(found, "writes");
  const std::string file = textOf(memberOf(found, "inputs/registers"));
  if (!writes.is_array() || writes.empty()) {
    return section("registers", "Registers", paragraph(file + " was not played.", "absent"));
  }
  const unsigned mode = memberOf(found, "mode").get<unsigned>() & 0xFFU;
  Table table({"Register", "Written", "Read back", "", "Line"}, "numbers");
  for (const Json& each : writes) {
    const bool isKnown = !each["read"].is_null();
    const bool isSame = each["read"] == each["values"];
    table.row({"0x" + hexadecimal(each["register"], 4), hexadecimals(each["values"], 2),
               hexadecimals(each["read"], 2),
               !isKnown ? ""
               : isSame ? "same"
                        : "differs",
               textOf(each["line"])},
              isKnown && !isSame ? "differs" : "");
  }
  return section(
      "registers", "Registers",
      table.html() + paragraph(file + ": slave 0x" + hexadecimal(memberOf(found, "slave"), 2) + ", " +
                                   (mode < addressModes.size() ? addressModes[mode] : "unknown mode") +
                                   ". Read back before the first frame.",
                               "note"));
}

std::string callSection(const Json& found) {
  std::string html = "<ol class=\"calls\">\n";
  for (const Json& each : memberOf(found, "calls")) {
    const int result = each["result"];
    const kvexa::ResultText* const known = result < 0 ? kvexa::findResult(result) : nullptr;
    html += result < 0 ? "<li class=\"differs\">" : "<li>";
    html += "<code>" + escaped(each["call"]) + "</code> <b>" + std::to_string(result);
    if (known != nullptr) html.append(" ").append(known->name);
    html += "</b></li>\n";
  }
  return section("calls", "Calls of the library", html + "</ol>\n");
}

std::string requestSection(const Json& found) {
  Table table({"Request", "Count", "Failed"}, "numbers");
  for (const Json& each : memberOf(found, "requests")) {
    table.row({each["request"], textOf(each["count"]), textOf(each["failed"])},
              each["failed"] != 0 ? "differs" : "");
  }
  std::string html = table.html();
  const Json& failures = memberOf(found, "failedRequests");
  if (!failures.empty()) {
    html += "<h3>Requests that failed</h3>\n<pre>";
    for (const Json& line : failures) html += escaped(line) + "\n";
    html += "</pre>\n";
  }
  return section("requests", "Requests to the driver", html);
}

std::string head(const std::string& title) {
  return std::string("<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n") +
         "<meta http-equiv=\"Content-Security-Policy\" content=\"" + policy + "\">\n" +
         "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n" +
         "<meta name=\"color-scheme\" content=\"light dark\">\n<link rel=\"icon\" href=\"data:,\">\n<title>" +
         escaped(title) + "</title>\n<style>" + pageStyle + "</style>\n</head>\n";
}

std::string header(const Json& found, const std::string& title) {
  std::string html = "<header>\n<h1>" + escaped(title) + "</h1>\n";
  html += paragraph(textOf(memberOf(found, "date")) + " · " + boardName(found), "date");
  const Json& note = memberOf(found, "note");
  if (!note.is_null()) html += paragraph(note);
  constexpr std::array<std::pair<const char*, const char*>, 10> parts{{{"picture", "Picture"},
                                                                       {"histograms", "Histograms"},
                                                                       {"statistics", "Statistics"},
                                                                       {"sharpness", "Sharpness"},
                                                                       {"rate", "Frame rate"},
                                                                       {"board", "Board"},
                                                                       {"registers", "Registers"},
                                                                       {"parameters", "Parameters"},
                                                                       {"calls", "Calls"},
                                                                       {"requests", "Requests"}}};
  html += "<nav aria-label=\"Parts\">";
  for (const auto& [id, name] : parts) html += "<a href=\"#" + std::string(id) + "\">" + name + "</a> ";
  return html + "</nav>\n</header>\n";
}

}  // namespace

std::string pageOf(const Json& found, const PagePicture& picture) {
  const Json& module = memberOf(found, "module");
  const std::string title = module.is_null() ? "Bring-up report" : "Bring-up of " + textOf(module);
  std::string html = head(title) + "<body>\n" + header(found, title) + "<main>\n" + verdict(found) +
                     facts(found) + pictureSection(found, picture) + histogramSection(found) +
                     statisticsSection(found) + sharpnessSection(found) + frameRateSection(found) +
                     boardSection(found) + registerSection(found) + parameterSection(found) +
                     callSection(found) + requestSection(found);
  html += "</main>\n<footer>" +
          paragraph("Written by kvexa " + textOf(memberOf(found, "versions/tool")) +
                    ". All numbers of this page stand in it as JSON, in the element \"report\".") +
          "</footer>\n";
  html += "<script type=\"application/json\" id=\"report\">" +
          inScript(found.dump(-1, ' ', false, Json::error_handler_t::replace)) + "</script>\n";
  return html + "</body>\n</html>\n";
}

}  // namespace cli
