// X-Y charts: lines, markers, bars and vertical lines on linear or
// logarithmic axes with round ticks, a legend and labels along the top.
//
// A chart gathers its series, then Svg() lays it out: the axes cover every
// point that can be shown (and the values an axis is told to include), tick
// labels and titles get the margins they need, the legend flows in rows
// above the plot, and everything drawn inside the plot is clipped to it.
// Lines are thinned to the extremes of each pixel column (ThinSeries).
//
// Example:
//   Chart chart(680, 260);
//   chart.SetXAxis({.title = "sample", .integers = true});
//   chart.SetYAxis({.title = "residual (µm)"});
//   chart.AddLine(points, {.colour = CategoryColour(0)}, "scan 1");
//   chart.AddVerticalLine(2000.5);
//   std::string svg = chart.Svg("chart-residuals", "Residual per sample");
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "report/Axis.h"
#include "report/Colour.h"
#include "report/Svg.h"

namespace tavric::report {

enum class AxisKind { kLinear, kLogarithmic };

struct AxisOptions {
  std::string title = {};
  AxisKind kind = AxisKind::kLinear;
  // Ticks at whole numbers only (iteration numbers, sample numbers).
  bool integers = false;
  // A linear axis ends at the data (and the included values) rather than
  // on round ticks around it: for counts of things (samples, iterations).
  bool ends_at_data = false;
  // Values the axis covers besides the data (0 for a count axis).
  std::vector<double> include = {};
};

struct LineStyle {
  Rgb colour = {};
  double width = 1.5;
  bool dashed = false;
};

// A bar over [x0, x1] from 0 to height.
struct Bar {
  double x0 = 0.0, x1 = 0.0, height = 0.0;
};

class Chart {
 public:
  // The picture's size in user units (pixels at full size).
  Chart(double width, double height);

  // A title drawn above the plot (none by default).
  void SetTitle(std::string title) { title_ = std::move(title); }
  void SetXAxis(AxisOptions options) { x_options_ = std::move(options); }
  void SetYAxis(AxisOptions options) { y_options_ = std::move(options); }

  // A line through the points, in order; points that the axes cannot show
  // (not finite, or <= 0 on a logarithmic axis) break it, and a point alone
  // between breaks is a dot. Thinning needs x not to decrease; a line whose
  // x goes back is drawn whole. An empty legend text leaves the series out
  // of the legend.
  void AddLine(std::vector<Point> points, LineStyle style, std::string legend = {});
  // Open circles at the points.
  void AddMarkers(std::vector<Point> points, Rgb colour, std::string legend = {});
  // Filled bars (on a linear y axis).
  void AddBars(std::vector<Bar> bars, Rgb colour, std::string legend = {});
  // A dashed vertical line across the plot at x (a boundary); all of them
  // share one legend entry, set with SetVerticalLineLegend. One within two
  // pixels of the line drawn before it is left out.
  void AddVerticalLine(double x) { vertical_lines_.push_back(x); }
  void SetVerticalLineLegend(std::string legend) { vertical_legend_ = std::move(legend); }
  // A short text centred at x above the plot; a label that would overlap the
  // one before it is left out.
  void AddTopLabel(double x, std::string text) { top_labels_.push_back({x, std::move(text)}); }

  // The chart as an <svg> element. `id` must be unique in the page (it
  // names the clip path); `label` describes the picture to screen readers.
  std::string Svg(std::string_view id, std::string_view label) const;

 private:
  enum class Kind { kLine, kMarkers, kBars };
  struct Series {
    Kind kind;
    std::vector<Point> points;
    std::vector<Bar> bars;
    LineStyle style;
    std::string legend;
  };
  struct TopLabel {
    double x;
    std::string text;
  };
  struct LegendEntry {
    const Series* series;  // null: the vertical lines
    const std::string* text;
    double x = 0.0, y = 0.0;  // top left
  };
  // Where everything goes: the scales placed on the plot's box
  // [x0, x1] x [y0, y1] (y0 at the top) and the legend's entries.
  struct Layout {
    Scale x, y;
    double x0, x1, y0, y1;
    std::vector<LegendEntry> legend;
  };

  Layout Arrange() const;
  void DrawAxes(SvgDocument& svg, const Layout& layout) const;
  void DrawPlot(SvgDocument& svg, const Layout& layout, std::string_view id) const;
  void DrawLine(SvgDocument& svg, const Layout& layout, const Series& series) const;
  void DrawTopLabels(SvgDocument& svg, const Layout& layout) const;
  void DrawLegend(SvgDocument& svg, const Layout& layout) const;

  double width_, height_;
  std::string title_;
  AxisOptions x_options_, y_options_;
  std::vector<Series> series_;
  std::vector<double> vertical_lines_;
  std::string vertical_legend_;
  std::vector<TopLabel> top_labels_;
};

// The width a text takes at `font_size`, estimated from its number of
// characters (for layout; the page's sans-serif fonts average about 0.6 em).
double TextWidth(std::string_view text, double font_size);

}  // namespace tavric::report
