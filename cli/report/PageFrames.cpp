// What the page tells of the frames.
#include <algorithm>

#include "cli/analysis/SlantedEdge.h"
#include "cli/base/Output.h"
#include "cli/report/Page.h"
#include "cli/report/Plot.h"

namespace cli {

namespace {

constexpr double halfResponse = 0.5;
constexpr std::size_t shownDefects = 20;

std::string hindranceOf(const Json& found) {
  const std::string reason = textOf(memberOf(found, "statisticsHindrance"));
  return paragraph("Not told: " + reason + ".", "absent");
}

std::string channelClass(const std::string& name) { return "channel-" + name; }

// A wave of one step a bin, so that each keeps its width.
Curve histogramCurve(const Json& channel, double binWidth) {
  const std::string name = channel["name"];
  Curve curve{name, channelClass(name), {}};
  double from = 0;
  for (const Json& count : channel["histogram"]) {
    curve.points.emplace_back(from, count.get<double>());
    from += binWidth;
    curve.points.emplace_back(from, count.get<double>());
  }
  return curve;
}

std::string histogramOf(const Json& channel, unsigned bits) {
  const std::string name = channel["name"];
  const double range = static_cast<double>(1U << bits);
  const auto bins = static_cast<double>(channel["histogram"].size());
  Plot plot;
  plot.id = "histogram-" + name;
  plot.title = name == "grey" ? "Samples" : "Channel " + name;
  plot.description = "Histogram from " + textOf(channel["least"]) + " to " + textOf(channel["greatest"]) +
                     ", mean " + fixed(channel["mean"], 2);
  plot.x = {"value of the sample", 0, range, false};
  double most = 10;
  for (const Json& count : channel["histogram"]) most = std::max(most, count.get<double>());
  plot.y = {"samples", 0, most, true};
  plot.curves.push_back(histogramCurve(channel, range / bins));
  plot.isFilled = true;
  plot.verticals.push_back(channel["mean"].get<double>());
  plot.width = 420;
  plot.height = 210;
  return figureOf(plot);
}

std::string valuesOf(const Json& statistics) {
  Table table({"Channel", "Least", "Greatest", "Mean", "Sigma", "Black", "Saturated", "Beyond depth"});
  for (const Json& channel : statistics["channels"]) {
    table.row({channel["name"], textOf(channel["least"]), textOf(channel["greatest"]),
               fixed(channel["mean"], 2), fixed(channel["sigma"], 3), percent(channel["blackShare"], 3),
               percent(channel["saturatedShare"], 3), textOf(channel["beyondDepth"])});
  }
  return "<h3>Values</h3>\n" + table.html();
}

std::string noiseOf(const Json& statistics) {
  std::string html = "<h3>Noise</h3>\n";
  if (statistics["frames"] == 1) {
    Table table({"Channel", "At most"});
    for (const Json& channel : statistics["channels"]) {
      table.row({channel["name"], fixed(channel["noise"]["upperBound"], 3)});
    }
    return html + table.html() +
           paragraph("One frame cannot tell noise from fixed pattern, and detail of the scene adds to both.",
                     "note");
  }
  Table table({"Channel", "Temporal", "Fixed pattern"});
  for (const Json& channel : statistics["channels"]) {
    table.row({channel["name"], fixed(channel["noise"]["temporal"], 3),
               fixed(channel["noise"]["fixedPattern"], 3)});
  }
  return html + table.html() +
         paragraph("Standard deviations in units of samples, of " + textOf(statistics["frames"]) +
                       " frames of one scene.",
                   "note");
}

std::string shadingOf(const Json& statistics) {
  Table table({"Channel", "Centre", "Top left", "Top right", "Bottom left", "Bottom right"});
  for (const Json& channel : statistics["channels"]) {
    const Json& shading = channel["shading"];
    table.row({channel["name"], fixed(memberOf(shading, "centre"), 2),
               percent(memberOf(shading, "topLeft"), 2), percent(memberOf(shading, "topRight"), 2),
               percent(memberOf(shading, "bottomLeft"), 2), percent(memberOf(shading, "bottomRight"), 2)});
  }
  return "<h3>Shading</h3>\n" + table.html() +
         paragraph("Corners in shares of the centre: shading of the module when the scene is flat.", "note");
}

std::string defectsOf(const Json& statistics) {
  Table counts({"Channel", "High", "Low", "Threshold"});
  bool areAllTold = true;
  for (const Json& channel : statistics["channels"]) {
    const Json& defects = channel["defects"];
    if (defects.is_null()) {
      counts.row({channel["name"], "–", "–", "–"});
      areAllTold = false;
      continue;
    }
    const auto high =
        std::ranges::count_if(defects["list"], [](const Json& each) { return each["kind"] == "high"; });
    const auto all = static_cast<std::ptrdiff_t>(defects["list"].size());
    counts.row(
        {channel["name"], std::to_string(high), std::to_string(all - high), fixed(defects["threshold"], 1)});
  }
  std::string html = "<h3>Samples far from their neighbours</h3>\n" + counts.html();
  if (statistics["frames"] < 4) html += paragraph("Candidates: fewer than four frames.", "note");
  if (!areAllTold) html += paragraph("A dash: the scene shows too much detail to tell.", "note");
  return html;
}

std::string defectList(const Json& statistics) {
  std::string list;
  std::size_t count = 0;
  for (const Json& channel : statistics["channels"]) {
    for (const Json& each : memberOf(channel, "defects/list")) {
      if (count++ >= shownDefects) continue;
      list += "<div><dt>" + textOf(channel["name"]) + " at " + textOf(each["x"]) + ", " + textOf(each["y"]) +
              "</dt><dd>" + textOf(each["value"]) + " for " + textOf(each["expected"]) + "</dd></div>\n";
    }
  }
  if (count == 0) return "";
  std::string html =
      "<h3>Their places, and what the neighbours have</h3>\n<dl class=\"columns\">\n" + list + "</dl>\n";
  if (count <= shownDefects) return html;
  return html + paragraph("The first " + std::to_string(shownDefects) + " of " + std::to_string(count) +
                              "; the data of the page have all.",
                          "note");
}

// The sentence of a flag.
std::string flagText(const std::string& name) {
  using analysis::EdgeFlag;
  for (int i = 0; i <= static_cast<int>(EdgeFlag::tooSharp); ++i) {
    if (name == analysis::nameOf(static_cast<EdgeFlag>(i))) return analysis::textOf(static_cast<EdgeFlag>(i));
  }
  return name;
}

std::string flagsOf(const Json& result) {
  std::string text;
  for (const Json& flag : result["flags"]) text += (text.empty() ? "" : "; ") + flagText(flag);
  return text.empty() ? "none" : text;
}

Plot sharpnessPlot(const Json& edge) {
  Plot plot;
  plot.id = "sfr";
  plot.title = "Spatial frequency response";
  plot.description = "Response from 0 to 1 cycle a pixel";
  plot.x = {"cycles a pixel", 0, 1, false};
  plot.y = {"response", 0, 1, false};
  for (const Json& result : edge["results"]) {
    const std::string name = result["channel"];
    Curve curve{name, channelClass(name), {}};
    double frequency = 0;
    for (const Json& value : result["curve"]) {
      curve.points.emplace_back(frequency, value.get<double>());
      plot.y.greatest = std::max(plot.y.greatest, value.get<double>());
      frequency += result["curveStep"].get<double>();
    }
    if (!curve.points.empty()) plot.curves.push_back(std::move(curve));
    if (name == "all" && result["sfr50"].is_number()) {
      plot.description += ", one half at " + fixed(result["sfr50"], 4);
      plot.verticals.push_back(result["sfr50"].get<double>());
    }
  }
  plot.horizontals.push_back(halfResponse);
  return plot;
}

}  // namespace

std::string histogramSection(const Json& found) {
  const Json& statistics = memberOf(found, "statistics");
  if (statistics.is_null()) return section("histograms", "Histograms", hindranceOf(found));
  std::string html = "<div class=\"grid\">\n";
  for (const Json& channel : statistics["channels"]) html += histogramOf(channel, statistics["bits"]);
  return section(
      "histograms", "Histograms",
      html + "</div>\n" + paragraph("Of all frames together. The dashed line is the mean.", "note"));
}

std::string statisticsSection(const Json& found) {
  const Json& statistics = memberOf(found, "statistics");
  if (statistics.is_null()) return section("statistics", "Statistics", hindranceOf(found));
  return section("statistics", "Statistics",
                 valuesOf(statistics) + "<div class=\"grid\">\n<div>" + noiseOf(statistics) +
                     "</div>\n<div>" + defectsOf(statistics) + "</div>\n</div>\n" + defectList(statistics) +
                     shadingOf(statistics));
}

std::string sharpnessSection(const Json& found) {
  const Json& edge = memberOf(found, "statistics/edge");
  if (edge.is_null()) {
    const bool isTold = !memberOf(found, "statistics").is_null();
    return section(
        "sharpness", "Sharpness",
        isTold ? paragraph("No slanted edge was found in the frame.", "absent") : hindranceOf(found));
  }
  Table table({"Channel", "SFR50", "Angle", "Contrast", "Rise 10 to 90 %", "Place", "What spoils it"},
              "flags");
  for (const Json& result : edge["results"]) {
    table.row({result["channel"], fixed(result["sfr50"], 4), fixed(result["angle"], 2) + "°",
               fixed(result["contrast"], 3), fixed(result["rise"], 2), fixed(result["place"], 2),
               flagsOf(result)});
  }
  const std::string where = "Slanted edge by the method of ISO 12233 in the rectangle of " +
                            textOf(edge["width"]) + " x " + textOf(edge["height"]) + " pixels at " +
                            textOf(edge["x"]) + ", " + textOf(edge["y"]) +
                            ", which the picture shows. Frequencies in cycles a pixel, distances in pixels.";
  const Plot plot = sharpnessPlot(edge);
  return section("sharpness", "Sharpness",
                 (plot.curves.empty() ? "" : figureOf(plot)) + table.html() + paragraph(where, "note"));
}

std::string frameRateSection(const Json& found) {
  const Json& rates = memberOf(found, "frameRates");
  if (!rates.is_array() || rates.empty()) {
    return section("rate", "Frame rate", paragraph("No frame came.", "absent"));
  }
  Plot plot;
  plot.id = "frame-rate";
  plot.title = "Frame rate over time";
  Curve curve{"frame rate", "channel-all", {}};
  double least = rates[0]["rate"];
  double most = least;
  double sum = 0;
  for (const Json& each : rates) {
    const double rate = each["rate"];
    curve.points.emplace_back(each["seconds"].get<double>(), rate);
    least = std::min(least, rate);
    most = std::max(most, rate);
    sum += rate;
  }
  constexpr double leastMargin = 0.01;  // of the rate, so that what is steady looks steady
  const double margin = std::max((most - least) / 4, std::max(most, 1.0) * leastMargin);
  const double last = curve.points.back().first;
  plot.x = {"seconds", 0, last > 0 ? last : 1, false};
  plot.y = {"frames a second", std::max(0.0, least - margin), most + margin, false};
  plot.curves.push_back(std::move(curve));
  plot.hasDots = true;
  const double mean = sum / static_cast<double>(rates.size());
  plot.description = format("%u readings from %.2f to %.2f frames a second",
                            static_cast<unsigned>(rates.size()), least, most);
  Table table({"Readings", "Least", "Mean", "Greatest", "Size that the board measures"});
  const Json& measured = memberOf(found, "measured");
  table.row({std::to_string(rates.size()), format("%.2f", least), format("%.2f", mean), format("%.2f", most),
             measured.is_null() ? "–" : textOf(measured["width"]) + " x " + textOf(measured["height"])});
  return section(
      "rate", "Frame rate",
      figureOf(plot) + table.html() + paragraph("As the board measures it, read behind each frame.", "note"));
}

}  // namespace cli
