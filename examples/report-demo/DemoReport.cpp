#include "DemoReport.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <numbers>
#include <stdexcept>
#include <string>
#include <vector>

#include "tavric/ClsProbeCalibration.h"
#include "tavric/RunReport.h"
#include "tavric/ScanSimulator.h"

namespace tavric::demo {
namespace {

using Direction = std::array<double, 3>;

// `value` with `decimals` decimals.
std::string Fixed(double value, int decimals) {
  char buffer[64];
  const auto r =
      std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, decimals);
  return std::string(buffer, r.ptr);
}

// The shortest text that reads back as `value`.
std::string Shortest(double value) {
  char buffer[64];
  const auto r = std::to_chars(buffer, buffer + sizeof buffer, value);
  return std::string(buffer, r.ptr);
}

std::string Triple(double a, double b, double c, int decimals) {
  return Fixed(a, decimals) + ", " + Fixed(b, decimals) + ", " + Fixed(c, decimals);
}

Direction Normalised(const Direction& d) {
  const double n = std::sqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2]);
  return {d[0] / n, d[1] / n, d[2] / n};
}

// `count` directions spread evenly over the sphere (a Fibonacci lattice).
std::vector<Direction> EvenDirections(int count) {
  std::vector<Direction> out;
  const double golden = std::numbers::pi * (3.0 - std::sqrt(5.0));
  for (int i = 0; i < count; ++i) {
    const double z = 1.0 - (2.0 * i + 1.0) / count;
    const double r = std::sqrt(1.0 - z * z);
    out.push_back({r * std::cos(golden * i), r * std::sin(golden * i), z});
  }
  return out;
}

// For every direction, the angle in degrees to the nearest of at most 4,000
// evenly picked sample directions. A sample's direction from the centre is
// the direction of the probe's deflection there (it presses into the sphere
// along the normal).
ReportDirectionMap CoverageMap(const std::vector<Direction>& sample_directions) {
  const std::size_t stride = sample_directions.size() / 4000 + 1;
  std::vector<Direction> scanned;
  for (std::size_t i = 0; i < sample_directions.size(); i += stride)
    scanned.push_back(sample_directions[i]);
  ReportDirectionMap map;
  map.value_title = "distance to the nearest scanned direction (\xC2\xB0)";
  map.directions = EvenDirections(1500);
  for (const Direction& g : map.directions) {
    double best = -1.0;
    for (const Direction& p : scanned)
      best = std::max(best, g[0] * p[0] + g[1] * p[1] + g[2] * p[2]);
    map.values.push_back(std::acos(std::clamp(best, -1.0, 1.0)) * 180.0 / std::numbers::pi);
  }
  return map;
}

}  // namespace

ReportContent DemoReportContent(std::int32_t samples, std::uint64_t seed) {
  sim::Scenario scenario;
  scenario.plan.total_samples = samples;
  scenario.noise.counts_sigma = 1.5;
  scenario.noise.position_sigma_um = 0.2;
  scenario.noise.seed = seed;
  const sim::SimulatedData sim = sim::Simulate(scenario);

  ClsProbeCalibration cal;
  std::uint8_t order = 3;
  const std::string result = cal.Optimise(sim.data, order);
  if (result != "OK") throw std::runtime_error("calibration of the simulated data: " + result);
  const RunReport& run = LastRunReport();
  const Direction centre = {cal.SphereCentre(1), cal.SphereCentre(2), cal.SphereCentre(3)};

  ReportContent c;
  c.title = "Calibration report (simulated scans)";
  c.header = {{"Data", "simulated: " + std::to_string(samples) + " samples, noise seed " +
                           std::to_string(seed)},
              {"Samples", std::to_string(run.samples)},
              {"Order", std::to_string(run.order)},
              {"Result", run.result},
              {"Optimiser", std::string(ToString(run.stop_reason)) + " after " +
                                std::to_string(run.outer_iterations) + " iterations"},
              {"Library version", cal.DLLVersion()}};
  c.fit = {{"FitRMS", Fixed(cal.FitRMS() * 1000.0, 4) + " \xC2\xB5m"},
           {"FitMin", Fixed(cal.FitMin() * 1000.0, 4) + " \xC2\xB5m"},
           {"FitMax", Fixed(cal.FitMax() * 1000.0, 4) + " \xC2\xB5m"},
           {"Sphere centre", Triple(centre[0], centre[1], centre[2], 6) + " mm"},
           {"Sphere radius", Fixed(cal.SphereRadius(), 6) + " mm"}};
  ReportTable linear{"First-order terms (mm per count)", {"output", "P", "Q", "R"}, {}};
  const std::array<std::array<std::int16_t, 3>, 3> powers = {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
  std::array<std::array<double, 3>, 3> m{};
  for (std::size_t t = 0; t < 3; ++t)
    cal.GetPolyParameters(powers[t][0], powers[t][1], powers[t][2], m[0][t], m[1][t], m[2][t]);
  for (std::size_t r = 0; r < 3; ++r)
    linear.rows.push_back(
        {std::string(1, "XYZ"[r]), Shortest(m[r][0]), Shortest(m[r][1]), Shortest(m[r][2])});
  c.fit_tables.push_back(std::move(linear));
  c.fit_tables.push_back({"Fitted and true sphere (mm)",
                          {"", "centre X", "centre Y", "centre Z", "radius"},
                          {{"fitted", Fixed(centre[0], 6), Fixed(centre[1], 6), Fixed(centre[2], 6),
                            Fixed(cal.SphereRadius(), 6)},
                           {"true", Fixed(sim.truth.centre[0], 6), Fixed(sim.truth.centre[1], 6),
                            Fixed(sim.truth.centre[2], 6), Fixed(sim.truth.radius, 6)}}});

  // Residuals: the distance of each tip centre (machine position plus the
  // calibrated deflection) from the fitted sphere, minus its radius.
  const DataArray& d = sim.data;
  for (std::int32_t j = d.LBound(2); j <= d.UBound(2); ++j) {
    double dx, dy, dz;
    cal.Transform(d(1, j), d(2, j), d(3, j), dx, dy, dz);
    const Direction v = {d(4, j) + dx - centre[0], d(5, j) + dy - centre[1],
                         d(6, j) + dz - centre[2]};
    const double distance = std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
    c.residuals_um.push_back((distance - cal.SphereRadius()) * 1000.0);
    c.sample_directions.push_back(Normalised(v));
  }
  for (std::size_t s = 0; s < sim.truth.scans.size(); ++s)
    c.scan_numbers.insert(c.scan_numbers.end(),
                          static_cast<std::size_t>(sim.truth.scans[s].sample_count),
                          static_cast<int>(s + 1));

  c.initial_sum_of_squares = run.initial_S;
  for (const IterationRecord& it : run.iterations)
    c.iterations.push_back({it.iteration, it.S, it.Mu, it.rejected_trials});

  c.uncertainty = CoverageMap(c.sample_directions);
  const auto worst = std::max_element(c.uncertainty.values.begin(), c.uncertainty.values.end());
  const Direction& w =
      c.uncertainty.directions[static_cast<std::size_t>(worst - c.uncertainty.values.begin())];
  c.weakest_directions.push_back("The probe direction farthest from every scanned one is (" +
                                 Triple(w[0], w[1], w[2], 2) + "), " + Fixed(*worst, 1) +
                                 "\xC2\xB0 away.");
  if (run.stop_reason == StopReason::kIterationLimit)
    c.warnings.push_back({"ITERATION_LIMIT",
                          "The optimiser used all its iterations without meeting its stop test."});
  if (*worst > 30.0)
    c.warnings.push_back({"COVERAGE_GAP",
                          "Some probe directions are more than 30\xC2\xB0 from "
                          "every scanned direction."});
  return c;
}

}  // namespace tavric::demo
