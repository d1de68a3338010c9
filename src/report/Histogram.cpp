#include "report/Histogram.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <numbers>

#include "report/Axis.h"
#include "tavric/RuntimeError.h"

namespace tavric::report {
namespace {

constexpr int kCurvePoints = 200;

// A number with four significant digits, for a legend ("0.2201", "1.5e-05").
std::string Significant4(double value) {
  char buffer[48];
  const auto result =
      std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::general, 4);
  return std::string(buffer, result.ptr);
}

}  // namespace

Histogram CountInBins(std::span<const double> values, int max_bins) {
  Histogram h;
  if (values.empty()) return h;
  const auto [lo, hi] = std::minmax_element(values.begin(), values.end());
  const Scale scale = Scale::Linear(*lo, *hi, max_bins);
  for (const Tick& t : scale.Ticks()) h.edges.push_back(t.value);
  h.counts.assign(h.edges.size() - 1, 0);
  for (const double v : values) {
    // The first edge above v closes its bin; v on the top edge joins the last bin.
    const auto above = std::upper_bound(h.edges.begin(), h.edges.end(), v);
    const std::size_t bin = static_cast<std::size_t>(above - h.edges.begin());
    ++h.counts[std::clamp<std::size_t>(bin, 1, h.counts.size()) - 1];
  }
  return h;
}

MeanAndDeviation MeanAndStandardDeviation(std::span<const double> values) {
  if (values.empty()) return {};
  const double n = static_cast<double>(values.size());
  double sum = 0.0;
  for (const double v : values) sum += v;
  const double mean = sum / n;
  double squares = 0.0;
  for (const double v : values) squares += (v - mean) * (v - mean);
  return {mean, std::sqrt(squares / n)};
}

Chart HistogramChart(std::span<const double> values, const std::string& quantity,
                     const std::string& unit, double width, double height) {
  const int max_bins =
      std::clamp(static_cast<int>(std::sqrt(static_cast<double>(values.size()))), 5, 50);
  const Histogram h = CountInBins(values, max_bins);
  Chart chart(width, height);
  chart.SetXAxis({.title = quantity + " (" + unit + ")"});
  chart.SetYAxis({.title = "samples per bin", .include = {0.0}});
  std::vector<Bar> bars;
  for (std::size_t i = 0; i < h.counts.size(); ++i)
    bars.push_back({h.edges[i], h.edges[i + 1], static_cast<double>(h.counts[i])});
  chart.AddBars(std::move(bars), {0x56, 0xb4, 0xe9},
                "histogram (n = " + std::to_string(values.size()) + ")");

  const MeanAndDeviation m = MeanAndStandardDeviation(values);
  if (m.deviation > 0.0) {
    // Expected count in a bin of width w: n * w * density.
    const double bin_width = h.edges[1] - h.edges[0];
    const double scale = static_cast<double>(values.size()) * bin_width /
                         (m.deviation * std::sqrt(2.0 * std::numbers::pi));
    const double x_lo = h.edges.front(), x_hi = h.edges.back();
    std::vector<Point> curve;
    for (int i = 0; i <= kCurvePoints; ++i) {
      const double x = x_lo + (x_hi - x_lo) * i / kCurvePoints;
      const double z = (x - m.mean) / m.deviation;
      curve.push_back({x, scale * std::exp(-0.5 * z * z)});
    }
    chart.AddLine(std::move(curve), {.colour = {0xd5, 0x5e, 0x00}, .width = 2.0},
                  "normal curve, mean " + Significant4(m.mean) + " " + unit + ", \xCF\x83 " +
                      Significant4(m.deviation) + " " + unit);
  }
  return chart;
}

}  // namespace tavric::report
