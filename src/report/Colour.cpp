#include "report/Colour.h"

#include <array>
#include <cmath>

namespace tavric::report {
namespace {

// viridis at 0, 1/9, ..., 1.
constexpr std::array<Rgb, 10> kViridis = {{{0x44, 0x01, 0x54},
                                           {0x48, 0x28, 0x78},
                                           {0x3e, 0x4a, 0x89},
                                           {0x31, 0x68, 0x8e},
                                           {0x26, 0x82, 0x8e},
                                           {0x1f, 0x9e, 0x89},
                                           {0x35, 0xb7, 0x79},
                                           {0x6d, 0xcd, 0x59},
                                           {0xb4, 0xde, 0x2c},
                                           {0xfd, 0xe7, 0x25}}};

// Okabe and Ito's colours, ordered so that neighbours also differ in
// lightness by more than 10 (they stay apart in grey print): blue, orange,
// vermillion, sky blue, bluish green, black, reddish purple.
constexpr std::array<Rgb, kCategoryColours> kCategories = {{{0x00, 0x72, 0xb2},
                                                            {0xe6, 0x9f, 0x00},
                                                            {0xd5, 0x5e, 0x00},
                                                            {0x56, 0xb4, 0xe9},
                                                            {0x00, 0x9e, 0x73},
                                                            {0x00, 0x00, 0x00},
                                                            {0xcc, 0x79, 0xa7}}};

std::uint8_t Mix(std::uint8_t a, std::uint8_t b, double f) {
  return static_cast<std::uint8_t>(std::lround(a + (b - a) * f));
}

// An sRGB channel (0..255) as linear light (0..1).
double LinearLight(std::uint8_t channel) {
  const double c = channel / 255.0;
  return c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
}

}  // namespace

std::string Rgb::Hex() const {
  static const char kHex[] = "0123456789abcdef";
  std::string out = "#";
  for (const std::uint8_t c : {r, g, b}) {
    out += kHex[c >> 4];
    out += kHex[c & 15];
  }
  return out;
}

Rgb Viridis(double t) {
  if (!(t > 0.0)) return kViridis.front();
  if (t >= 1.0) return kViridis.back();
  const double x = t * static_cast<double>(kViridis.size() - 1);
  const std::size_t i = static_cast<std::size_t>(x);
  const double f = x - static_cast<double>(i);
  const Rgb& a = kViridis[i];
  const Rgb& b = kViridis[i + 1];
  return {Mix(a.r, b.r, f), Mix(a.g, b.g, f), Mix(a.b, b.b, f)};
}

double Lightness(Rgb colour) {
  const double y = 0.2126 * LinearLight(colour.r) + 0.7152 * LinearLight(colour.g) +
                   0.0722 * LinearLight(colour.b);
  constexpr double kEpsilon = 216.0 / 24389.0, kKappa = 24389.0 / 27.0;
  return y > kEpsilon ? 116.0 * std::cbrt(y) - 16.0 : kKappa * y;
}

Rgb CategoryColour(std::size_t i) { return kCategories[i % kCategories.size()]; }

}  // namespace tavric::report
