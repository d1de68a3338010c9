// Histograms: values counted in bins of a round width, drawn as bars with
// the normal curve of the same mean and standard deviation over them.
//
// Example:
//   Chart chart = HistogramChart(residuals_um, "residual", "µm", 680, 260);
//   std::string svg = chart.Svg("chart-histogram", "Histogram of the residuals");
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "report/Chart.h"

namespace tavric::report {

struct Histogram {
  // Bin i covers [edges[i], edges[i + 1]); the last bin also holds its
  // upper edge. The edges are round numbers (ticks of a linear axis).
  std::vector<double> edges;
  std::vector<std::size_t> counts;
};

// Counts every value (all finite) in at most `max_bins` (>= 1) bins of equal
// round width that cover them. No values: no bins.
Histogram CountInBins(std::span<const double> values, int max_bins);

// The mean and the standard deviation (root mean square deviation from the
// mean, dividing by the number of values) of all the values; both 0 for no
// values.
struct MeanAndDeviation {
  double mean = 0.0;
  double deviation = 0.0;
};
MeanAndDeviation MeanAndStandardDeviation(std::span<const double> values);

// A histogram of the values (about the square root of their number of bins,
// between 5 and 50) with the normal curve of their mean and standard
// deviation scaled to the counts. `quantity` and `unit` name the values for
// the axis title and the legend ("residual", "µm").
Chart HistogramChart(std::span<const double> values, const std::string& quantity,
                     const std::string& unit, double width, double height);

}  // namespace tavric::report
