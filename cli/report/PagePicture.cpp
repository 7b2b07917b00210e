// The picture of the page, which is zoomed without a script.
#include <array>

#include "cli/base/Output.h"
#include "cli/report/Page.h"

namespace cli {

namespace {

struct Zoom {
  const char* id;
  const char* label;
};

constexpr std::array<Zoom, 4> zooms{{{"fit", "Fit"}, {"one", "1:1"}, {"two", "2:1"}, {"four", "4:1"}}};

std::string zoomSwitches() {
  std::string html;
  for (const Zoom& zoom : zooms) {
    html += format(R"(<input type="radio" name="zoom" id="zoom-%s"%s><label for="zoom-%s">%s</label>)",
                   zoom.id, &zoom == zooms.data() ? " checked" : "", zoom.id, zoom.label);
  }
  return html + "\n";
}

std::string edgeMark(const Json& found) {
  const Json& edge = memberOf(found, "statistics/edge");
  if (edge.is_null()) return "";
  return format(R"(<rect class="region" x="%u" y="%u" width="%u" height="%u"><title>%s</title></rect>)",
                edge["x"].get<unsigned>(), edge["y"].get<unsigned>(), edge["width"].get<unsigned>(),
                edge["height"].get<unsigned>(), "The edge that was measured");
}

}  // namespace

std::string pictureSection(const Json& found, const PagePicture& picture) {
  if (picture.uri.empty()) {
    const Json& reason = memberOf(found, "pictureHindrance");
    const std::string why = reason.is_null() ? "no frame came" : textOf(reason);
    return section("picture", "Picture", paragraph("There is none: " + why + ".", "absent"));
  }
  const std::string size = std::to_string(picture.width) + " x " + std::to_string(picture.height);
  std::string html = "<div class=\"zoom\" role=\"group\" aria-label=\"Zoom\">" + zoomSwitches();
  html += format(
      "<div class=\"stage\" tabindex=\"0\"><svg id=\"frame\" viewBox=\"0 0 %u %u\" role=\"img\" "
      "aria-label=\"The first frame, %s\" style=\"--width:%u\">",
      picture.width, picture.height, size.c_str(), picture.width);
  html += format(R"(<image width="%u" height="%u" href=")", picture.width, picture.height) + picture.uri +
          "\"/>" + edgeMark(found) + "</svg></div></div>\n";
  std::string caption = "The first frame, " + size + " pixels, as JPEG.";
  if (picture.reducedBy > 1) {
    const std::string factor = std::to_string(picture.reducedBy);
    caption += " Here " + factor + " x " + factor + " pixels are one.";
  }
  return section("picture", "Picture", html + paragraph(caption, "note"));
}

}  // namespace cli
