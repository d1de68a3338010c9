#include "report/Histogram.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numeric>
#include <vector>

namespace tavric::report {
namespace {

TEST(CountInBins, CountsEveryValueInBinsWithRoundEdges) {
  const std::vector<double> values = {0.05, 0.15, 0.15, 0.25, 0.3, -0.12};
  const Histogram h = CountInBins(values, 5);
  ASSERT_EQ(h.edges.size(), h.counts.size() + 1);
  EXPECT_EQ(h.edges, (std::vector<double>{-0.2, -0.1, 0.0, 0.1, 0.2, 0.3}));
  // The top edge 0.3 belongs to the last bin.
  EXPECT_EQ(h.counts, (std::vector<std::size_t>{1, 0, 1, 2, 2}));
}

TEST(CountInBins, PutsAValueOnAnInnerEdgeIntoTheBinAbove) {
  const Histogram h = CountInBins(std::vector<double>{0.0, 1.0, 2.0}, 2);
  EXPECT_EQ(h.edges, (std::vector<double>{0.0, 1.0, 2.0}));
  EXPECT_EQ(h.counts, (std::vector<std::size_t>{1, 2}));
}

TEST(CountInBins, CountsEveryOneOfManyValues) {
  std::vector<double> values;
  for (int i = 0; i < 32767; ++i) values.push_back(std::sin(i * 0.01) * std::cos(i * 0.003));
  const Histogram h = CountInBins(values, 50);
  EXPECT_LE(h.counts.size(), 50u);
  EXPECT_EQ(std::accumulate(h.counts.begin(), h.counts.end(), std::size_t{0}), values.size());
}

TEST(CountInBins, GivesNoBinsForNoValues) {
  const Histogram h = CountInBins(std::vector<double>{}, 10);
  EXPECT_TRUE(h.edges.empty());
  EXPECT_TRUE(h.counts.empty());
}

TEST(MeanAndStandardDeviation, DividesByTheNumberOfValues) {
  const MeanAndDeviation m = MeanAndStandardDeviation(std::vector<double>{1.0, 2.0, 3.0, 4.0});
  EXPECT_DOUBLE_EQ(m.mean, 2.5);
  EXPECT_DOUBLE_EQ(m.deviation, std::sqrt(1.25));
  const MeanAndDeviation none = MeanAndStandardDeviation(std::vector<double>{});
  EXPECT_EQ(none.mean, 0.0);
  EXPECT_EQ(none.deviation, 0.0);
}

TEST(HistogramChart, NamesTheCountAndTheCurvesMeanAndDeviation) {
  const std::vector<double> values = {-0.5, -0.25, 0.0, 0.25, 0.5};
  const std::string svg = HistogramChart(values, "residual", "\xC2\xB5m", 680, 260).Svg("h", "h");
  EXPECT_NE(svg.find(">histogram (n = 5)</text>"), std::string::npos);
  EXPECT_NE(svg.find(">normal curve, mean 0 \xC2\xB5m, \xCF\x83 0.3536 \xC2\xB5m</text>"),
            std::string::npos);
  EXPECT_NE(svg.find(">residual (\xC2\xB5m)</text>"), std::string::npos);
  EXPECT_NE(svg.find("<polyline"), std::string::npos);
}

TEST(HistogramChart, DrawsNoCurveForEqualValues) {
  const std::string svg =
      HistogramChart(std::vector<double>{2.0, 2.0, 2.0}, "residual", "\xC2\xB5m", 680, 260)
          .Svg("h", "h");
  EXPECT_EQ(svg.find("<polyline"), std::string::npos);
  EXPECT_NE(svg.find(">histogram (n = 3)</text>"), std::string::npos);
}

}  // namespace
}  // namespace tavric::report
