#include "report/Decimate.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <unordered_map>

#include "tavric/RuntimeError.h"

namespace tavric::report {
namespace {

// floor(v) clamped to [lo, hi], as an integer.
std::int64_t FloorWithin(double v, std::int64_t lo, std::int64_t hi) {
  const double f = std::floor(v);
  if (!(f >= static_cast<double>(lo))) return lo;  // also not-a-number
  if (f >= static_cast<double>(hi)) return hi;
  return static_cast<std::int64_t>(f);
}

}  // namespace

std::vector<Point> ThinSeries(std::span<const Point> points, double x_min, double x_max,
                              int columns) {
  if (columns < 1 || !(x_max > x_min)) Raise(err::kInternalError);
  const std::size_t n = points.size();
  if (n <= 4 * static_cast<std::size_t>(columns)) return {points.begin(), points.end()};

  const double per_unit = columns / (x_max - x_min);
  const auto column_of = [&](std::size_t i) {
    return FloorWithin((points[i].x - x_min) * per_unit, 0, columns - 1);
  };
  std::vector<Point> out;
  out.reserve(4 * static_cast<std::size_t>(columns));
  std::size_t start = 0;
  while (start < n) {
    const std::int64_t column = column_of(start);
    std::size_t end = start + 1, low = start, high = start;
    for (; end < n && column_of(end) == column; ++end) {
      if (points[end].y < points[low].y) low = end;
      if (points[end].y > points[high].y) high = end;
    }
    std::size_t keep[] = {start, low, high, end - 1};
    std::sort(std::begin(keep), std::end(keep));
    for (std::size_t k = 0; k < 4; ++k)
      if (k == 0 || keep[k] != keep[k - 1]) out.push_back(points[keep[k]]);
    start = end;
  }
  return out;
}

std::vector<std::size_t> StrongestPerCell(std::span<const Point> points,
                                          std::span<const double> values, double cell) {
  if (!(cell > 0.0) || values.size() != points.size()) Raise(err::kInternalError);
  // Cell coordinates fit in 31 bits each; pictures are far smaller.
  constexpr std::int64_t kLimit = std::int64_t{1} << 30;
  std::unordered_map<std::uint64_t, std::size_t> strongest;
  strongest.reserve(points.size());
  for (std::size_t i = 0; i < points.size(); ++i) {
    const std::int64_t cx = FloorWithin(points[i].x / cell, -kLimit, kLimit) + kLimit;
    const std::int64_t cy = FloorWithin(points[i].y / cell, -kLimit, kLimit) + kLimit;
    const std::uint64_t key =
        (static_cast<std::uint64_t>(cx) << 32) | static_cast<std::uint64_t>(cy);
    const auto [it, inserted] = strongest.try_emplace(key, i);
    if (!inserted && std::abs(values[i]) > std::abs(values[it->second])) it->second = i;
  }
  std::vector<std::size_t> kept;
  kept.reserve(strongest.size());
  for (const auto& entry : strongest) kept.push_back(entry.second);
  std::sort(kept.begin(), kept.end());
  return kept;
}

}  // namespace tavric::report
