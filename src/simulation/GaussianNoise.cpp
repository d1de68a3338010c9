#include "simulation/GaussianNoise.h"

#include <cmath>

namespace tavric::sim {

GaussianNoise::GaussianNoise(std::uint64_t seed) : engine_(seed) {}

double GaussianNoise::Uniform() {
  constexpr double kTwoToMinus53 = 1.0 / 9007199254740992.0;
  return static_cast<double>(engine_() >> 11) * kTwoToMinus53;
}

double GaussianNoise::Next() {
  if (has_spare_) {
    has_spare_ = false;
    return spare_;
  }
  // Polar method: a point (u, v) uniform in the unit disc (the origin
  // excluded) gives two independent deviates u * f and v * f with
  // f = sqrt(-2 ln s / s), s = u^2 + v^2.
  double u = 0.0, v = 0.0, s = 0.0;
  do {
    u = 2.0 * Uniform() - 1.0;
    v = 2.0 * Uniform() - 1.0;
    s = u * u + v * v;
  } while (s >= 1.0 || s == 0.0);
  const double f = std::sqrt(-2.0 * std::log(s) / s);
  spare_ = v * f;
  has_spare_ = true;
  return u * f;
}

}  // namespace tavric::sim
