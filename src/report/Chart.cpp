#include "report/Chart.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "report/Axis.h"
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

std::string DashOf(const LineStyle& style) { return style.dashed ? "6 4" : "none"; }

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

std::string Chart::Svg(std::string_view id, std::string_view label) const {
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
  Scale xs = MakeScale(x_options_, xr, std::max(2, static_cast<int>(width_ / 90.0)));
  Scale ys = MakeScale(y_options_, yr, std::max(2, static_cast<int>(height_ / 45.0)));

  // Margins: room for the tick labels, the axis titles, the title, the
  // legend and the top labels.
  double widest_y_label = 0.0;
  for (const Tick& t : ys.Ticks())
    widest_y_label = std::max(widest_y_label, TextWidth(t.label, kTickFont));
  const double left = kMargin + (y_options_.title.empty() ? 0.0 : 18.0) + widest_y_label + 8.0;
  const double last_x_label =
      xs.Ticks().empty() ? 0.0 : TextWidth(xs.Ticks().back().label, kTickFont);
  const double right = std::max(12.0, last_x_label / 2.0 + 4.0);

  struct LegendEntry {
    const Series* series;  // null: the vertical lines
    const std::string* text;
    double x, y;
  };
  std::vector<LegendEntry> legend;
  for (const Series& s : series_)
    if (!s.legend.empty()) legend.push_back({&s, &s.legend, 0.0, 0.0});
  if (!vertical_lines_.empty() && !vertical_legend_.empty())
    legend.push_back({nullptr, &vertical_legend_, 0.0, 0.0});
  const double title_height = title_.empty() ? 0.0 : 18.0;
  int legend_rows = 0;
  {
    double x = left;
    for (LegendEntry& e : legend) {
      const double w = kLegendSwatch + 4.0 + TextWidth(*e.text, kTickFont) + 14.0;
      if (legend_rows == 0 || (x + w > width_ - kMargin && x > left)) {
        ++legend_rows;
        x = left;
      }
      e.x = x;
      e.y = kMargin + title_height + kLegendRow * (legend_rows - 1);
      x += w;
    }
  }
  const double top =
      kMargin + title_height + kLegendRow * legend_rows + (top_labels_.empty() ? 0.0 : 14.0) + 6.0;
  const double bottom = kMargin + 18.0 + (x_options_.title.empty() ? 0.0 : 16.0);
  const double x0 = left, x1 = width_ - right, y0 = top, y1 = height_ - bottom;
  if (x1 - x0 < 20.0 || y1 - y0 < 20.0) Raise(err::kInternalError);  // a chart too small
  xs.Place(x0, x1);
  ys.Place(y1, y0);

  SvgDocument svg(width_, height_, label);
  svg.Open("g", {{"font-family", "DejaVu Sans, Liberation Sans, Arial, sans-serif"},
                 {"font-size", kTickFont},
                 {"fill", "#222222"}});
  if (!title_.empty())
    svg.TextElement(
        "text", {{"x", x0}, {"y", kMargin + 12.0}, {"font-size", 13.0}, {"font-weight", "bold"}},
        title_);

  // Grid and tick labels.
  for (const Tick& t : ys.Ticks()) {
    const double y = ys.Pixel(t.value);
    svg.Element("line", {{"x1", x0}, {"y1", y}, {"x2", x1}, {"y2", y}, {"stroke", kGridColour}});
    svg.TextElement("text", {{"x", x0 - 6.0}, {"y", y}, {"dy", "0.35em"}, {"text-anchor", "end"}},
                    t.label);
  }
  for (const Tick& t : xs.Ticks()) {
    const double x = xs.Pixel(t.value);
    svg.Element("line", {{"x1", x}, {"y1", y0}, {"x2", x}, {"y2", y1}, {"stroke", kGridColour}});
    svg.TextElement("text", {{"x", x}, {"y", y1 + 15.0}, {"text-anchor", "middle"}}, t.label);
  }
  if (!x_options_.title.empty())
    svg.TextElement("text",
                    {{"x", (x0 + x1) / 2.0},
                     {"y", height_ - kMargin - 2.0},
                     {"text-anchor", "middle"},
                     {"font-size", kTitleFont}},
                    x_options_.title);
  if (!y_options_.title.empty()) {
    const double cx = kMargin + 11.0, cy = (y0 + y1) / 2.0;
    svg.TextElement("text",
                    {{"x", cx},
                     {"y", cy},
                     {"text-anchor", "middle"},
                     {"font-size", kTitleFont},
                     {"transform", "rotate(-90 " + SvgNumber(cx) + ' ' + SvgNumber(cy) + ')'}},
                    y_options_.title);
  }

  // The plot, clipped to its box.
  const std::string clip = std::string(id) + "-plot";
  svg.Open("clipPath", {{"id", clip}});
  svg.Element("rect", {{"x", x0}, {"y", y0}, {"width", x1 - x0}, {"height", y1 - y0}});
  svg.Close();
  svg.Open("g", {{"clip-path", "url(#" + clip + ")"}});
  for (const double x : vertical_lines_) {
    if (!xs.Shows(x)) continue;
    const double px = xs.Pixel(x);
    svg.Element("line", {{"x1", px},
                         {"y1", y0},
                         {"x2", px},
                         {"y2", y1},
                         {"stroke", kBoundaryColour},
                         {"stroke-dasharray", "4 3"}});
  }
  const double base = ys.IsLog() ? y1 : ys.Pixel(std::clamp(0.0, ys.Min(), ys.Max()));
  const int columns = std::max(1, static_cast<int>(std::ceil(x1 - x0)));
  for (const Series& s : series_) {
    const std::string colour = s.style.colour.Hex();
    if (s.kind == Kind::kBars) {
      for (const Bar& b : s.bars) {
        if (!xs.Shows(b.x0) || !xs.Shows(b.x1) || !ys.Shows(b.height)) continue;
        const double px0 = xs.Pixel(b.x0), px1 = xs.Pixel(b.x1), py = ys.Pixel(b.height);
        svg.Element("rect", {{"x", std::min(px0, px1)},
                             {"y", std::min(py, base)},
                             {"width", std::abs(px1 - px0)},
                             {"height", std::abs(base - py)},
                             {"fill", colour},
                             {"stroke", "#ffffff"},
                             {"stroke-width", 0.5}});
      }
    } else if (s.kind == Kind::kMarkers) {
      for (const Point& p : s.points) {
        if (!xs.Shows(p.x) || !ys.Shows(p.y)) continue;
        svg.Element("circle", {{"cx", xs.Pixel(p.x)},
                               {"cy", ys.Pixel(p.y)},
                               {"r", 3.5},
                               {"fill", "none"},
                               {"stroke", colour},
                               {"stroke-width", 1.5}});
      }
    } else {
      // Each run of showable points is one polyline.
      std::vector<Point> run;
      const auto flush = [&] {
        if (run.size() >= 2) {
          const bool ordered = std::is_sorted(
              run.begin(), run.end(), [](const Point& a, const Point& b) { return a.x < b.x; });
          const std::vector<Point> drawn = ordered ? ThinSeries(run, x0, x1, columns) : run;
          svg.Element("polyline", {{"points", PointList(drawn)},
                                   {"fill", "none"},
                                   {"stroke", colour},
                                   {"stroke-width", s.style.width},
                                   {"stroke-dasharray", DashOf(s.style)},
                                   {"stroke-linejoin", "round"}});
        }
        run.clear();
      };
      for (const Point& p : s.points) {
        if (xs.Shows(p.x) && ys.Shows(p.y))
          run.push_back({xs.Pixel(p.x), ys.Pixel(p.y)});
        else
          flush();
      }
      flush();
    }
  }
  svg.Close();
  svg.Element("rect", {{"x", x0},
                       {"y", y0},
                       {"width", x1 - x0},
                       {"height", y1 - y0},
                       {"fill", "none"},
                       {"stroke", kAxisColour}});

  // Labels along the top, each where it does not run into the one before.
  double last_right = -std::numeric_limits<double>::infinity();
  for (const TopLabel& t : top_labels_) {
    if (!xs.Shows(t.x)) continue;
    const double px = xs.Pixel(t.x), half = TextWidth(t.text, kTopLabelFont) / 2.0;
    if (px < x0 || px > x1 || px - half < last_right + 3.0) continue;
    svg.TextElement(
        "text",
        {{"x", px}, {"y", y0 - 4.0}, {"text-anchor", "middle"}, {"font-size", kTopLabelFont}},
        t.text);
    last_right = px + half;
  }

  // Legend.
  for (const LegendEntry& e : legend) {
    const double mid = e.y + 7.0;
    if (e.series == nullptr) {
      svg.Element("line", {{"x1", e.x + kLegendSwatch / 2.0},
                           {"y1", mid - 6.0},
                           {"x2", e.x + kLegendSwatch / 2.0},
                           {"y2", mid + 6.0},
                           {"stroke", kBoundaryColour},
                           {"stroke-dasharray", "4 3"}});
    } else if (e.series->kind == Kind::kLine) {
      svg.Element("line", {{"x1", e.x},
                           {"y1", mid},
                           {"x2", e.x + kLegendSwatch},
                           {"y2", mid},
                           {"stroke", e.series->style.colour.Hex()},
                           {"stroke-width", e.series->style.width},
                           {"stroke-dasharray", DashOf(e.series->style)}});
    } else if (e.series->kind == Kind::kMarkers) {
      svg.Element("circle", {{"cx", e.x + kLegendSwatch / 2.0},
                             {"cy", mid},
                             {"r", 3.5},
                             {"fill", "none"},
                             {"stroke", e.series->style.colour.Hex()},
                             {"stroke-width", 1.5}});
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
  return svg.Finish();
}

}  // namespace tavric::report
