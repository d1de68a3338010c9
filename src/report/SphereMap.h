// Maps of directions: unit vectors (sample directions from the sphere's
// centre, probe directions) drawn on two discs, one per hemisphere, with
// Lambert's azimuthal equal-area projection, and coloured by a value.
//
// The projection keeps areas: a cap of the sphere around a pole covers the
// same share of its disc as of its hemisphere, so the density of the marks
// shows how densely the directions cover the sphere. A direction at angle
// theta from the disc's pole lands at radius sqrt(2) sin(theta / 2), which is
// 1 on the equator. Both discs are seen from above (from +Z), the lower one
// through the sphere, so a direction on the equator lands at the same place
// on the rim of both discs.
#pragma once

#include <array>
#include <span>
#include <string>
#include <string_view>

namespace tavric::report {

using Direction = std::array<double, 3>;

struct DiscPosition {
  bool upper = true;        // z >= 0
  double x = 0.0, y = 0.0;  // in the unit disc, +x right, +y up (as seen from +Z)
};

// The direction's place on its disc. The direction is normalised first;
// a zero or non-finite one raises 5.
DiscPosition ProjectEqualArea(const Direction& direction);

// The two discs with a mark at each direction in the colour of its value
// (viridis; a colour bar beside them), over a grid at 30 and 60 degrees from
// the poles. The colour range covers the values, symmetric about zero with
// `symmetric`. Marks are sized to the density of the directions; where they
// crowd, the one with the largest |value| per mark is drawn.
// `value_title` names the value on the colour bar; `id` must be unique in
// the page (it names the clip paths); `label` describes the picture to
// screen readers.
std::string SphereMapSvg(std::span<const Direction> directions, std::span<const double> values,
                         const std::string& value_title, bool symmetric, std::string_view id,
                         std::string_view label);

}  // namespace tavric::report
