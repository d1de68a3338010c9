// Colours of the report's pictures.
//
// Values are coloured with viridis, a scale whose lightness rises steadily
// from dark blue-violet to light yellow: it reads the same in grey print and
// for readers with any common colour-vision deficiency. Categories (scans)
// take the colours of Okabe and Ito's palette for colour-blind readers,
// without its yellow, which is too light on white, in an order where
// neighbours also differ in lightness.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace tavric::report {

struct Rgb {
  std::uint8_t r = 0, g = 0, b = 0;
  // "#rrggbb", lower case.
  std::string Hex() const;
  bool operator==(const Rgb&) const = default;
};

// The viridis colour at t in [0, 1] (clamped; not-a-number gives the colour
// at 0), interpolated in sRGB between ten colours of the scale.
Rgb Viridis(double t);

// CIE 1976 lightness L* (0 black .. 100 white, D65) of an sRGB colour.
double Lightness(Rgb colour);

// The colour of category i (0-based), cycling through kCategoryColours.
inline constexpr std::size_t kCategoryColours = 7;
Rgb CategoryColour(std::size_t i);

}  // namespace tavric::report
