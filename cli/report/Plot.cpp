#include "cli/report/Plot.h"

#include <cmath>

#include "cli/base/Output.h"
#include "cli/report/Html.h"

namespace cli {

namespace {

constexpr double left = 56;
constexpr double right = 14;
constexpr double top = 10;
constexpr double bottom = 40;
constexpr unsigned wantedTicks = 5;

double logarithm(double value) { return std::log10(1 + value); }

// The least of 1, 2, 5, 10, ... that divides the range into few parts.
double stepOf(double range) {
  const double rough = range / wantedTicks;
  const double power = std::pow(10, std::floor(std::log10(rough)));
  for (const double factor : {1.0, 2.0, 5.0}) {
    if (factor * power >= rough * 0.999) return factor * power;
  }
  return 10 * power;
}

std::vector<double> ticksOf(const Axis& axis) {
  std::vector<double> ticks;
  if (axis.isLogarithmic) {
    ticks.push_back(0);
    for (double value = 10; value <= axis.greatest; value *= 10) ticks.push_back(value);
    return ticks;
  }
  const double step = stepOf(axis.greatest - axis.least);
  const double slack = step / 1000;
  for (double n = std::ceil((axis.least - slack) / step) + 0.0; n * step <= axis.greatest + slack; ++n) {
    ticks.push_back(n * step + 0.0);  // never -0
  }
  return ticks;
}

std::string tickText(const Axis& axis, double value) {
  if (axis.isLogarithmic && value >= 1e6) return format("%.0f M", value / 1e6);
  if (axis.isLogarithmic && value >= 1e3) return format("%.0f k", value / 1e3);
  const double step = axis.isLogarithmic ? 1 : stepOf(axis.greatest - axis.least);
  const int digits = step >= 1 ? 0 : static_cast<int>(std::ceil(-std::log10(step) - 1e-9));
  return format("%.*f", digits, value);
}

class Drawing {
 public:
  explicit Drawing(const Plot& plot)
      : plot_(plot), width_(plot.width - left - right), height_(plot.height - top - bottom) {}

  std::string svg() {
    const std::string id = plot_.id + "-title";
    svg_ = format(R"(<svg id="%s" class="plot" viewBox="0 0 %u %u" role="img" aria-labelledby="%s")",
                  plot_.id.c_str(), plot_.width, plot_.height, id.c_str());
    // For programs that read the points back.
    svg_ += format(R"( data-area="%g %g %g %g" data-x="%.9g %.9g" data-y="%.9g %.9g")", left, top, width_,
                   height_, plot_.x.least, plot_.x.greatest, plot_.y.least, plot_.y.greatest);
    svg_ += plot_.y.isLogarithmic ? " data-logarithmic=\"y\">" : ">";
    svg_ += "<title id=\"" + id + "\">" + escaped(plot_.title) + "</title><desc>" +
            escaped(plot_.description) + "</desc>\n";
    axes();
    for (const double value : plot_.verticals) line("mark", x(value), top, x(value), top + height_);
    for (const double value : plot_.horizontals) line("mark", left, y(value), left + width_, y(value));
    for (const Curve& curve : plot_.curves) draw(curve);
    return svg_ + "</svg>\n";
  }

 private:
  double x(double value) const { return left + width_ * plot_.x.shareOf(value); }
  double y(double value) const { return top + height_ * (1 - plot_.y.shareOf(value)); }

  void line(const char* cssClass, double x1, double y1, double x2, double y2) {
    svg_ += format(R"(<line class="%s" x1="%.2f" y1="%.2f" x2="%.2f" y2="%.2f"/>)", cssClass, x1, y1, x2, y2);
  }

  void text(const char* cssClass, double atX, double atY, const std::string& words) {
    svg_ += format(R"(<text class="%s" x="%.2f" y="%.2f">)", cssClass, atX, atY) + escaped(words) + "</text>";
  }

  void axes() {
    constexpr double toTick = 15;
    constexpr double toLabel = 32;
    for (const double tick : ticksOf(plot_.y)) {
      line("grid", left, y(tick), left + width_, y(tick));
      text("tick y", left - 6, y(tick) + 4, tickText(plot_.y, tick));
    }
    for (const double tick : ticksOf(plot_.x)) {
      line("grid", x(tick), top, x(tick), top + height_);
      text("tick x", x(tick), top + height_ + toTick, tickText(plot_.x, tick));
    }
    line("axis", left, top + height_, left + width_, top + height_);
    line("axis", left, top, left, top + height_);
    text("label x", left + width_ / 2, top + height_ + toLabel, plot_.x.label);
    svg_ +=
        format("<text class=\"label y\" transform=\"translate(13 %.2f) rotate(-90)\">", top + height_ / 2) +
        escaped(plot_.y.label) + "</text>\n";
  }

  void draw(const Curve& curve) {
    std::string points;
    for (const auto& [atX, atY] : curve.points) {
      points += format("%s%.2f,%.2f", points.empty() ? "" : " ", x(atX), y(atY));
    }
    const std::string name = "data-curve=\"" + escaped(curve.name) + "\"";
    if (plot_.isFilled && !curve.points.empty()) {
      svg_ += format(R"(<polygon class="area %s" points="%.2f,%.2f %s %.2f,%.2f"/>)", curve.cssClass.c_str(),
                     x(curve.points.front().first), y(plot_.y.least), points.c_str(),
                     x(curve.points.back().first), y(plot_.y.least));
    }
    svg_ += "<polyline class=\"curve " + curve.cssClass + "\" " + name + " points=\"" + points + "\"/>\n";
    if (!plot_.hasDots) return;
    for (const auto& [atX, atY] : curve.points) {
      svg_ += format(R"(<circle class="dot %s" cx="%.2f" cy="%.2f" r="3"/>)", curve.cssClass.c_str(), x(atX),
                     y(atY));
    }
  }

  const Plot& plot_;
  double width_;
  double height_;
  std::string svg_;
};

}  // namespace

double Axis::shareOf(double value) const {
  if (isLogarithmic) return (logarithm(value) - logarithm(least)) / (logarithm(greatest) - logarithm(least));
  return (value - least) / (greatest - least);
}

std::string figureOf(const Plot& plot) {
  std::string html = "<figure><figcaption>" + escaped(plot.title) + "</figcaption>\n" + Drawing(plot).svg();
  if (plot.curves.size() > 1) {
    html += "<ul class=\"legend\">";
    for (const Curve& curve : plot.curves) {
      html += "<li class=\"" + curve.cssClass + "\">" + escaped(curve.name) + "</li>";
    }
    html += "</ul>\n";
  }
  return html + "</figure>\n";
}

}  // namespace cli
