#include "report/Chart.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

#include "report/Decimate.h"
#include "tavric/RuntimeError.h"

namespace tavric::report {
namespace {

constexpr double kMargin = 8.0;
constexpr double kTickFont = 11.0;
constexpr double kTitleFont = 12.0;
constexpr double kLegendRow = 16.0;
constexpr double kLegendSwatch = 18.0;
constexpr double kTopLabelFont = 10.0;
constexpr const char* kGridColour = "#e3e3e3";
constexpr const char* kAxisColour = "#444444";
constexpr const char* kBoundaryColour = "#777777";

// The smallest interval holding every value added.
struct Range {
  double lo = std::numeric_limits<double>::infinity();
  double hi = -std::numeric_limits<double>::infinity();
  void Add(double v) {
    lo = std::min(lo, v);
    hi = std::max(hi, v);
  }
  bool Empty() const { return lo > hi; }
};

bool Showable(AxisKind kind, double v) {
  return std::isfinite(v) && (kind == AxisKind::kLinear || v > 0.0);
}

Scale MakeScale(const AxisOptions& options, Range range, int max_intervals) {
  for (const double v : options.include)
    if (Showable(options.kind, v)) range.Add(v);
  if (options.kind == AxisKind::kLogarithmic)
    return range.Empty() ? Scale::Log(1.0, 10.0) : Scale::Log(range.lo, range.hi);
  const Scale::Ends ends = options.ends_at_data ? Scale::Ends::kData : Scale::Ends::kRound;
  return range.Empty() ? Scale::Linear(0.0, 1.0, max_intervals, options.integers, ends)
                       : Scale::Linear(range.lo, range.hi, max_intervals, options.integers, ends);
}

// The stroke of a line series (the line and its legend swatch).
using SegmentAttributes = std::array<Attribute, 3>;
SegmentAttributes LineAttributes(const LineStyle& style) {
  return {Attribute("stroke", style.colour.Hex()), Attribute("stroke-width", style.width),
          Attribute("stroke-dasharray", style.dashed ? "6 4" : "none")};
}

// An open circle: a marker and its legend swatch.
void DrawMarker(SvgDocument& svg, double cx, double cy, Rgb colour) {
  svg.Element("circle", {{"cx", cx},
                         {"cy", cy},
                         {"r", 3.5},
                         {"fill", "none"},
                         {"stroke", colour.Hex()},
                         {"stroke-width", 1.5}});
}

// A dashed vertical line: a boundary and its legend swatch.
void DrawBoundary(SvgDocument& svg, double x, double y_top, double y_bottom) {
  svg.Element("line", {{"x1", x},
                       {"y1", y_top},
                       {"x2", x},
                       {"y2", y_bottom},
                       {"stroke", kBoundaryColour},
                       {"stroke-dasharray", "4 3"}});
}

}  // namespace

double TextWidth(std::string_view text, double font_size) {
  std::size_t characters = 0;
  for (const char c : text)
    if ((static_cast<unsigned char>(c) & 0xC0) != 0x80) ++characters;  // not a UTF-8 continuation
  return static_cast<double>(characters) * 0.6 * font_size;
}

Chart::Chart(double width, double height) : width_(width), height_(height) {}

void Chart::AddLine(std::vector<Point> points, LineStyle style, std::string legend) {
  series_.push_back({Kind::kLine, std::move(points), {}, style, std::move(legend)});
}

void Chart::AddMarkers(std::vector<Point> points, Rgb colour, std::string legend) {
  series_.push_back({Kind::kMarkers, std::move(points), {}, {colour}, std::move(legend)});
}

void Chart::AddBars(std::vector<Bar> bars, Rgb colour, std::string legend) {
  series_.push_back({Kind::kBars, {}, std::move(bars), {colour}, std::move(legend)});
}

Chart::Layout Chart::Arrange() const {
  // Axes: every showable point, bar and vertical line.
  Range xr, yr;
  for (const Series& s : series_) {
    for (const Point& p : s.points)
      if (Showable(x_options_.kind, p.x) && Showable(y_options_.kind, p.y)) {
        xr.Add(p.x);
        yr.Add(p.y);
      }
    for (const Bar& b : s.bars)
      if (std::isfinite(b.x0) && std::isfinite(b.x1) && std::isfinite(b.height)) {
        xr.Add(b.x0);
        xr.Add(b.x1);
        yr.Add(0.0);
        yr.Add(b.height);
      }
  }
  for (const double x : vertical_lines_)
    if (Showable(x_options_.kind, x)) xr.Add(x);
  Layout layout{MakeScale(x_options_, xr, std::max(2, static_cast<int>(width_ / 90.0))),
                MakeScale(y_options_, yr, std::max(2, static_cast<int>(height_ / 45.0))),
                0.0,
                0.0,
                0.0,
                0.0,
                {}};

  // Margins: room for the tick labels, the axis titles, the title, the
  // legend and the top labels.
  double widest_y_label = 0.0;
  for (const Tick& t : layout.y.Ticks())
    widest_y_label = std::max(widest_y_label, TextWidth(t.label, kTickFont));
  layout.x0 = kMargin + (y_options_.title.empty() ? 0.0 : 18.0) + widest_y_label + 8.0;
  const std::vector<Tick>& x_ticks = layout.x.Ticks();
  const double last_x_label = x_ticks.empty() ? 0.0 : TextWidth(x_ticks.back().label, kTickFont);
  layout.x1 = width_ - std::max(12.0, last_x_label / 2.0 + 4.0);

  // The legend flows in rows from the left edge of the plot.
  for (const Series& s : series_)
    if (!s.legend.empty()) layout.legend.push_back({&s, &s.legend});
  if (!vertical_lines_.empty() && !vertical_legend_.empty())
    layout.legend.push_back({nullptr, &vertical_legend_});
  const double title_height = title_.empty() ? 0.0 : 18.0;
  int rows = 0;
  double x = layout.x0;
  for (LegendEntry& e : layout.legend) {
    const double w = kLegendSwatch + 4.0 + TextWidth(*e.text, kTickFont) + 14.0;
    if (rows == 0 || (x + w > width_ - kMargin && x > layout.x0)) {
      ++rows;
      x = layout.x0;
    }
    e.x = x;
    e.y = kMargin + title_height + kLegendRow * (rows - 1);
    x += w;
  }
  layout.y0 = kMargin + title_height + kLegendRow * rows + (top_labels_.empty() ? 0.0 : 14.0) + 6.0;
  layout.y1 = height_ - (kMargin + 18.0 + (x_options_.title.empty() ? 0.0 : 16.0));
  if (layout.x1 - layout.x0 < 20.0 || layout.y1 - layout.y0 < 20.0)
    Raise(err::kInternalError);  // a chart too small for its labels
  layout.x.Place(layout.x0, layout.x1);
  layout.y.Place(layout.y1, layout.y0);
  return layout;
}

void Chart::DrawAxes(SvgDocument& svg, const Layout& l) const {
  for (const Tick& t : l.y.Ticks()) {
    const double y = l.y.Pixel(t.value);
    svg.Element("line",
                {{"x1", l.x0}, {"y1", y}, {"x2", l.x1}, {"y2", y}, {"stroke", kGridColour}});
    svg.TextElement("text", {{"x", l.x0 - 6.0}, {"y", y}, {"dy", "0.35em"}, {"text-anchor", "end"}},
                    t.label);
  }
  for (const Tick& t : l.x.Ticks()) {
    const double x = l.x.Pixel(t.value);
    svg.Element("line",
                {{"x1", x}, {"y1", l.y0}, {"x2", x}, {"y2", l.y1}, {"stroke", kGridColour}});
    svg.TextElement("text", {{"x", x}, {"y", l.y1 + 15.0}, {"text-anchor", "middle"}}, t.label);
  }
  if (!x_options_.title.empty())
    svg.TextElement("text",
                    {{"x", (l.x0 + l.x1) / 2.0},
                     {"y", height_ - kMargin - 2.0},
                     {"text-anchor", "middle"},
                     {"font-size", kTitleFont}},
                    x_options_.title);
  if (!y_options_.title.empty()) {
    const double cx = kMargin + 11.0, cy = (l.y0 + l.y1) / 2.0;
    svg.TextElement("text",
                    {{"x", cx},
                     {"y", cy},
                     {"text-anchor", "middle"},
                     {"font-size", kTitleFont},
                     {"transform", "rotate(-90 " + SvgNumber(cx) + ' ' + SvgNumber(cy) + ')'}},
                    y_options_.title);
  }
}

void Chart::DrawPlot(SvgDocument& svg, const Layout& l, std::string_view id) const {
  const std::string clip = std::string(id) + "-plot";
  svg.Open("clipPath", {{"id", clip}});
  svg.Element("rect", {{"x", l.x0}, {"y", l.y0}, {"width", l.x1 - l.x0}, {"height", l.y1 - l.y0}});
  svg.Close();
  svg.Open("g", {{"clip-path", "url(#" + clip + ")"}});
  // Boundaries closer than two pixels to the one drawn before are left out:
  // they could not be told apart.
  double last_boundary = -std::numeric_limits<double>::infinity();
  for (const double x : vertical_lines_) {
    if (!l.x.Shows(x)) continue;
    const double px = l.x.Pixel(x);
    if (std::abs(px - last_boundary) < 2.0) continue;
    DrawBoundary(svg, px, l.y0, l.y1);
    last_boundary = px;
  }
  const double base = l.y.IsLog() ? l.y1 : l.y.Pixel(std::clamp(0.0, l.y.Min(), l.y.Max()));
  for (const Series& s : series_) {
    if (s.kind == Kind::kLine) {
      DrawLine(svg, l, s);
    } else if (s.kind == Kind::kMarkers) {
      for (const Point& p : s.points)
        if (l.x.Shows(p.x) && l.y.Shows(p.y))
          DrawMarker(svg, l.x.Pixel(p.x), l.y.Pixel(p.y), s.style.colour);
    } else {
      for (const Bar& b : s.bars) {
        if (!l.x.Shows(b.x0) || !l.x.Shows(b.x1) || !l.y.Shows(b.height)) continue;
        const double px0 = l.x.Pixel(b.x0), px1 = l.x.Pixel(b.x1), py = l.y.Pixel(b.height);
        svg.Element("rect", {{"x", std::min(px0, px1)},
                             {"y", std::min(py, base)},
                             {"width", std::abs(px1 - px0)},
                             {"height", std::abs(base - py)},
                             {"fill", s.style.colour.Hex()},
                             {"stroke", "#ffffff"},
                             {"stroke-width", 0.5}});
      }
    }
  }
  svg.Close();
  svg.Element("rect", {{"x", l.x0},
                       {"y", l.y0},
                       {"width", l.x1 - l.x0},
                       {"height", l.y1 - l.y0},
                       {"fill", "none"},
                       {"stroke", kAxisColour}});
}

void Chart::DrawLine(SvgDocument& svg, const Layout& l, const Series& s) const {
  // Each run of showable points is one polyline, thinned to the extremes of
  // each pixel column when its x does not go back. A lone point is drawn as
  // a dot (a segment of no length with round caps).
  const int columns = std::max(1, static_cast<int>(std::ceil(l.x1 - l.x0)));
  std::vector<Point> run;
  const auto flush = [&] {
    if (run.size() == 1) run.push_back(run.front());
    if (!run.empty()) {
      const bool ordered = std::is_sorted(run.begin(), run.end(),
                                          [](const Point& a, const Point& b) { return a.x < b.x; });
      const SegmentAttributes stroke = LineAttributes(s.style);
      svg.Element("polyline",
                  {{"points", PointList(ordered ? ThinSeries(run, l.x0, l.x1, columns) : run)},
                   {"fill", "none"},
                   stroke[0],
                   stroke[1],
                   stroke[2],
                   {"stroke-linejoin", "round"},
                   {"stroke-linecap", "round"}});
    }
    run.clear();
  };
  for (const Point& p : s.points) {
    if (l.x.Shows(p.x) && l.y.Shows(p.y))
      run.push_back({l.x.Pixel(p.x), l.y.Pixel(p.y)});
    else
      flush();
  }
  flush();
}

void Chart::DrawTopLabels(SvgDocument& svg, const Layout& l) const {
  // Each label where it does not run into the one before.
  double last_right = -std::numeric_limits<double>::infinity();
  for (const TopLabel& t : top_labels_) {
    if (!l.x.Shows(t.x)) continue;
    const double px = l.x.Pixel(t.x), half = TextWidth(t.text, kTopLabelFont) / 2.0;
    if (px < l.x0 || px > l.x1 || px - half < last_right + 3.0) continue;
    svg.TextElement(
        "text",
        {{"x", px}, {"y", l.y0 - 4.0}, {"text-anchor", "middle"}, {"font-size", kTopLabelFont}},
        t.text);
    last_right = px + half;
  }
}

void Chart::DrawLegend(SvgDocument& svg, const Layout& l) const {
  for (const LegendEntry& e : l.legend) {
    const double mid = e.y + 7.0, centre = e.x + kLegendSwatch / 2.0;
    if (e.series == nullptr) {
      DrawBoundary(svg, centre, mid - 6.0, mid + 6.0);
    } else if (e.series->kind == Kind::kLine) {
      const SegmentAttributes stroke = LineAttributes(e.series->style);
      svg.Element("line", {{"x1", e.x},
                           {"y1", mid},
                           {"x2", e.x + kLegendSwatch},
                           {"y2", mid},
                           stroke[0],
                           stroke[1],
                           stroke[2]});
    } else if (e.series->kind == Kind::kMarkers) {
      DrawMarker(svg, centre, mid, e.series->style.colour);
    } else {
      svg.Element("rect", {{"x", e.x},
                           {"y", mid - 5.0},
                           {"width", kLegendSwatch},
                           {"height", 10.0},
                           {"fill", e.series->style.colour.Hex()}});
    }
    svg.TextElement("text", {{"x", e.x + kLegendSwatch + 4.0}, {"y", mid}, {"dy", "0.35em"}},
                    *e.text);
  }
}

std::string Chart::Svg(std::string_view id, std::string_view label) const {
  const Layout layout = Arrange();
  SvgDocument svg(width_, height_, label);
  svg.Open("g", {{"font-family", "DejaVu Sans, Liberation Sans, Arial, sans-serif"},
                 {"font-size", kTickFont},
                 {"fill", "#222222"}});
  if (!title_.empty())
    svg.TextElement(
        "text",
        {{"x", layout.x0}, {"y", kMargin + 12.0}, {"font-size", 13.0}, {"font-weight", "bold"}},
        title_);
  DrawAxes(svg, layout);
  DrawPlot(svg, layout, id);
  DrawTopLabels(svg, layout);
  DrawLegend(svg, layout);
  return svg.Finish();
}

}  // namespace tavric::report
