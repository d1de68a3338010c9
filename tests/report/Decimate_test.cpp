#include "report/Decimate.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "TestSupport.h"

namespace tavric::report {
namespace {

// A long series with noise, one spike and one dip.
std::vector<Point> SpikySeries(int n) {
  std::vector<Point> points;
  for (int i = 0; i < n; ++i) points.push_back({static_cast<double>(i), std::sin(i * 0.37)});
  points[5003].y = 100.0;
  points[7011].y = -50.0;
  return points;
}

TEST(ThinSeries, KeepsTheExtremesOfEveryColumn) {
  const std::vector<Point> points = SpikySeries(10000);
  const int columns = 100;
  const std::vector<Point> thin = ThinSeries(points, 0.0, 10000.0, columns);
  EXPECT_LE(thin.size(), 4u * columns);
  EXPECT_GE(thin.size(), 2u * columns);
  for (int c = 0; c < columns; ++c) {
    const auto in_column = [c](const Point& p) {
      return p.x >= c * 100.0 && p.x < (c + 1) * 100.0;
    };
    double full_lo = 1e9, full_hi = -1e9, thin_lo = 1e9, thin_hi = -1e9;
    for (const Point& p : points)
      if (in_column(p)) full_lo = std::min(full_lo, p.y), full_hi = std::max(full_hi, p.y);
    for (const Point& p : thin)
      if (in_column(p)) thin_lo = std::min(thin_lo, p.y), thin_hi = std::max(thin_hi, p.y);
    EXPECT_EQ(thin_lo, full_lo) << "column " << c;
    EXPECT_EQ(thin_hi, full_hi) << "column " << c;
  }
  EXPECT_TRUE(std::any_of(thin.begin(), thin.end(), [](const Point& p) { return p.y == 100.0; }));
  EXPECT_TRUE(std::any_of(thin.begin(), thin.end(), [](const Point& p) { return p.y == -50.0; }));
}

TEST(ThinSeries, KeepsTheEndsAndTheOrder) {
  const std::vector<Point> points = SpikySeries(10000);
  const std::vector<Point> thin = ThinSeries(points, 0.0, 10000.0, 50);
  EXPECT_EQ(thin.front().x, 0.0);
  EXPECT_EQ(thin.back().x, 9999.0);
  EXPECT_TRUE(std::is_sorted(thin.begin(), thin.end(),
                             [](const Point& a, const Point& b) { return a.x < b.x; }));
}

TEST(ThinSeries, ReturnsShortSeriesAsTheyAre) {
  const std::vector<Point> points = SpikySeries(10000);
  const std::vector<Point> thin = ThinSeries(points, 0.0, 10000.0, 2500);
  ASSERT_EQ(thin.size(), points.size());
  EXPECT_EQ(thin[5003].y, 100.0);
}

TEST(ThinSeries, PutsPointsOutsideTheRangeIntoTheEndColumns) {
  std::vector<Point> points;
  for (int i = -500; i < 1500; ++i)
    points.push_back({static_cast<double>(i), i == -400 ? 9.0 : 0.0});
  const std::vector<Point> thin = ThinSeries(points, 0.0, 1000.0, 10);
  EXPECT_LE(thin.size(), 40u);
  EXPECT_TRUE(std::any_of(thin.begin(), thin.end(), [](const Point& p) { return p.y == 9.0; }));
}

TEST(StrongestPerCell, KeepsTheLargestMagnitudeOfEachCell) {
  const std::vector<Point> points = {{0.1, 0.1}, {0.2, 0.2}, {0.3, 0.3}, {5.0, 5.0}, {5.5, 5.5}};
  const std::vector<double> values = {1.0, -3.0, 2.0, 0.5, -0.5};
  // Cell (0, 0): -3 is the strongest; cell (5, 5): a tie, the first stays.
  EXPECT_EQ(StrongestPerCell(points, values, 1.0), (std::vector<std::size_t>{1, 3}));
  // Small cells keep every point.
  EXPECT_EQ(StrongestPerCell(points, values, 0.05).size(), points.size());
}

TEST(StrongestPerCell, SeparatesCellsOnBothSidesOfZero) {
  const std::vector<Point> points = {{-0.5, 0.5}, {0.5, 0.5}, {0.5, -0.5}, {-0.5, -0.5}};
  const std::vector<double> values = {1.0, 1.0, 1.0, 1.0};
  EXPECT_EQ(StrongestPerCell(points, values, 1.0).size(), 4u);
}

TEST(StrongestPerCell, NeedsAValuePerPoint) {
  const std::vector<Point> points = {{0.0, 0.0}};
  EXPECT_RUNTIME_ERROR(StrongestPerCell(points, std::vector<double>{}, 1.0), err::kInternalError);
}

}  // namespace
}  // namespace tavric::report
