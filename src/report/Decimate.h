// Thinning for drawing: a picture of a few hundred pixels cannot show more
// than a few points per pixel, so long series and dense point sets are
// thinned before they are drawn, keeping what the eye must see (the
// extremes). Statistics are never computed on thinned data.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "report/Svg.h"

namespace tavric::report {

// Thins a series whose x values do not decrease, for drawing as a line
// `columns` (>= 1) pixel columns wide over [x_min, x_max] (x_max > x_min;
// points outside fall into the first or last column). Of the points of each
// column it keeps the first, the lowest, the highest and the last, in their
// original order, so the drawn line has the same extent in every column as
// the full one: no spike is lost. A series of at most 4 * columns points is
// returned as it is.
std::vector<Point> ThinSeries(std::span<const Point> points, double x_min, double x_max,
                              int columns);

// Thins a point set for drawing as marks coloured by value: of the points
// falling into one square cell of side `cell` (> 0), only the one with the
// largest |value| is kept (the first of equals). Returns the indices of the
// kept points in increasing order.
std::vector<std::size_t> StrongestPerCell(std::span<const Point> points,
                                          std::span<const double> values, double cell);

}  // namespace tavric::report
