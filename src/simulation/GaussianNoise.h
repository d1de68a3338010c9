// GaussianNoise: a seeded stream of standard normal deviates for the scan
// simulator, identical on every standard library.
//
// The engine is std::mt19937_64, whose output sequence the C++ standard fixes.
// Its 64-bit words become uniform doubles by keeping the top 53 bits, and
// pairs of uniforms become normal deviates by Marsaglia's polar method, which
// needs only a square root and a logarithm. (std::normal_distribution is not
// used: its algorithm differs between library implementations.)
#pragma once

#include <cstdint>
#include <random>

namespace tavric::sim {

class GaussianNoise {
 public:
  explicit GaussianNoise(std::uint64_t seed);

  // The next standard normal deviate (mean 0, standard deviation 1). The
  // polar method yields them in pairs; the second of a pair is returned by
  // the following call.
  double Next();

 private:
  // Uniform in [0, 1), a multiple of 2^-53.
  double Uniform();

  std::mt19937_64 engine_;
  double spare_ = 0.0;
  bool has_spare_ = false;
};

}  // namespace tavric::sim
