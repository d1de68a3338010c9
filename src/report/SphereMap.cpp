#include "report/SphereMap.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

#include "report/Axis.h"
#include "report/Colour.h"
#include "report/Decimate.h"
#include "report/Svg.h"
#include "tavric/RuntimeError.h"

namespace tavric::report {
namespace {

constexpr double kWidth = 680.0, kHeight = 306.0;
constexpr double kRadius = 125.0;
constexpr double kCentreY = 30.0 + kRadius;
constexpr double kCentreX[2] = {140.0, 420.0};  // upper, lower
constexpr double kMiddleX = (kCentreX[0] + kCentreX[1]) / 2.0;
constexpr double kBarX = 596.0, kBarWidth = 14.0;
constexpr int kBarSteps = 48;
constexpr const char* kGridColour = "#c8c8c8";

// The disc radius of a direction at `degrees` from the pole.
double RadiusAt(double degrees) {
  return std::numbers::sqrt2 * std::sin(degrees / 2.0 * std::numbers::pi / 180.0);
}

void DrawDisc(SvgDocument& svg, double cx, const std::string& title) {
  svg.Element(
      "circle",
      {{"cx", cx}, {"cy", kCentreY}, {"r", kRadius}, {"fill", "#ffffff"}, {"stroke", kGridColour}});
  for (const double degrees : {30.0, 60.0})
    svg.Element("circle", {{"cx", cx},
                           {"cy", kCentreY},
                           {"r", kRadius * RadiusAt(degrees)},
                           {"fill", "none"},
                           {"stroke", kGridColour},
                           {"stroke-dasharray", "3 3"}});
  svg.Element("line", {{"x1", cx - kRadius},
                       {"y1", kCentreY},
                       {"x2", cx + kRadius},
                       {"y2", kCentreY},
                       {"stroke", kGridColour}});
  svg.Element("line", {{"x1", cx},
                       {"y1", kCentreY - kRadius},
                       {"x2", cx},
                       {"y2", kCentreY + kRadius},
                       {"stroke", kGridColour}});
  svg.TextElement("text", {{"x", cx}, {"y", 16.0}, {"text-anchor", "middle"}, {"font-size", 12.0}},
                  title);
}

void LabelDisc(SvgDocument& svg, double cx) {
  svg.Element(
      "circle",
      {{"cx", cx}, {"cy", kCentreY}, {"r", kRadius}, {"fill", "none"}, {"stroke", "#444444"}});
  svg.TextElement("text", {{"x", cx + kRadius + 4.0}, {"y", kCentreY}, {"dy", "0.35em"}}, "+X");
  svg.TextElement("text", {{"x", cx + 4.0}, {"y", kCentreY - kRadius - 3.0}}, "+Y");
}

}  // namespace

DiscPosition ProjectEqualArea(const Direction& direction) {
  const double length = std::sqrt(direction[0] * direction[0] + direction[1] * direction[1] +
                                  direction[2] * direction[2]);
  if (!std::isfinite(length) || !(length > 0.0))
    throw RuntimeError(err::kInvalidCall, "A direction must be finite and not zero");
  const double x = direction[0] / length, y = direction[1] / length, z = direction[2] / length;
  // Radius sqrt(2) sin(theta/2) in the direction of (x, y), whose length is
  // sin(theta): the factor is sqrt(2) sin(theta/2) / sin(theta) = 1 / sqrt(1 + cos(theta)).
  const bool upper = z >= 0.0;
  const double k = 1.0 / std::sqrt(1.0 + std::abs(z));
  return {upper, k * x, k * y};
}

std::string SphereMapSvg(std::span<const Direction> directions, std::span<const double> values,
                         const std::string& value_title, bool symmetric, std::string_view id,
                         std::string_view label) {
  if (directions.size() != values.size()) Raise(err::kInternalError);
  double lo = 0.0, hi = 0.0;
  if (!values.empty()) {
    const auto [min, max] = std::minmax_element(values.begin(), values.end());
    lo = *min;
    hi = *max;
  }
  if (symmetric) {
    hi = std::max(std::abs(lo), std::abs(hi));
    lo = -hi;
  }
  const Scale colours = Scale::Linear(lo, hi, 6);
  const auto colour_of = [&](double v) {
    return Viridis((v - colours.Min()) / (colours.Max() - colours.Min()));
  };

  // Marks a little wider than the spacing the directions would have if
  // spread evenly over both discs (3 to 12 pixels), so that an even grid
  // of directions covers the discs; thinned on cells of half a mark.
  const double spacing =
      std::sqrt(2.0 * std::numbers::pi * kRadius * kRadius /
                static_cast<double>(std::max<std::size_t>(directions.size(), 1)));
  const double mark = std::clamp(1.3 * spacing, 3.0, 12.0);
  std::vector<Point> pixels;
  pixels.reserve(directions.size());
  for (const Direction& d : directions) {
    const DiscPosition p = ProjectEqualArea(d);
    pixels.push_back({kCentreX[p.upper ? 0 : 1] + kRadius * p.x, kCentreY - kRadius * p.y});
  }

  SvgDocument svg(kWidth, kHeight, label);
  svg.Open("g", {{"font-family", "DejaVu Sans, Liberation Sans, Arial, sans-serif"},
                 {"font-size", 11.0},
                 {"fill", "#222222"}});
  DrawDisc(svg, kCentreX[0], "z \xE2\x89\xA5 0, seen from +Z");
  DrawDisc(svg, kCentreX[1], "z < 0, seen from +Z through the sphere");
  const std::vector<std::size_t> kept = StrongestPerCell(pixels, values, mark / 2.0);
  for (const int disc : {0, 1}) {
    // Marks are clipped to their disc, widened by half a mark so that marks
    // on the equator show whole.
    const std::string clip = std::string(id) + (disc == 0 ? "-upper" : "-lower");
    svg.Open("clipPath", {{"id", clip}});
    svg.Element("circle", {{"cx", kCentreX[disc]}, {"cy", kCentreY}, {"r", kRadius + mark / 2.0}});
    svg.Close();
    svg.Open("g", {{"clip-path", "url(#" + clip + ")"}});
    for (const std::size_t i : kept)
      if ((pixels[i].x < kMiddleX) == (disc == 0))
        svg.Element("circle", {{"cx", pixels[i].x},
                               {"cy", pixels[i].y},
                               {"r", mark / 2.0},
                               {"fill", colour_of(values[i]).Hex()}});
    svg.Close();
  }
  LabelDisc(svg, kCentreX[0]);
  LabelDisc(svg, kCentreX[1]);

  // Colour bar: the scale's range from bottom to top, with its ticks.
  const double bar_top = kCentreY - kRadius, bar_height = 2.0 * kRadius;
  for (int i = 0; i < kBarSteps; ++i) {
    const double t = (i + 0.5) / kBarSteps;
    svg.Element("rect", {{"x", kBarX},
                         {"y", bar_top + bar_height * (1.0 - (i + 1.0) / kBarSteps)},
                         {"width", kBarWidth},
                         {"height", bar_height / kBarSteps + 0.3},
                         {"fill", Viridis(t).Hex()}});
  }
  svg.Element("rect", {{"x", kBarX},
                       {"y", bar_top},
                       {"width", kBarWidth},
                       {"height", bar_height},
                       {"fill", "none"},
                       {"stroke", "#444444"}});
  Scale bar = colours;
  bar.Place(bar_top + bar_height, bar_top);
  for (const Tick& t : bar.Ticks()) {
    const double y = bar.Pixel(t.value);
    svg.Element("line", {{"x1", kBarX + kBarWidth},
                         {"y1", y},
                         {"x2", kBarX + kBarWidth + 4.0},
                         {"y2", y},
                         {"stroke", "#444444"}});
    svg.TextElement("text", {{"x", kBarX + kBarWidth + 6.0}, {"y", y}, {"dy", "0.35em"}}, t.label);
  }
  svg.TextElement(
      "text",
      {{"x", kBarX + kBarWidth}, {"y", kHeight - 6.0}, {"text-anchor", "end"}, {"font-size", 12.0}},
      "colour: " + value_title);
  return svg.Finish();
}

}  // namespace tavric::report
