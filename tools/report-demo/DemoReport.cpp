#include "DemoReport.h"

#include <array>
#include <charconv>
#include <stdexcept>
#include <string>
#include <vector>

#include "tavric/ClsProbeCalibration.h"
#include "tavric/RunReport.h"
#include "tavric/ScanSimulator.h"
#include "tavric/Uncertainty.h"

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

  // The residuals and the uncertainty as the run report gives them (mm),
  // shown in micrometres; the sample directions are the outward normals at
  // the tip centres.
  for (const double r : run.residuals) c.residuals_um.push_back(r * 1000.0);
  for (std::size_t s = 0; s < sim.truth.scans.size(); ++s)
    c.scan_numbers.insert(c.scan_numbers.end(),
                          static_cast<std::size_t>(sim.truth.scans[s].sample_count),
                          static_cast<int>(s + 1));
  const FitUncertainty& u = run.uncertainty;
  c.sample_directions = u.sample_normals;

  c.initial_sum_of_squares = run.initial_S;
  for (const IterationRecord& it : run.iterations)
    c.iterations.push_back({it.iteration, it.S, it.Mu, it.rejected_trials});

  c.uncertainty.directions = u.sample_normals;
  for (const double across : u.sample_across_u) c.uncertainty.values.push_back(across * 1000.0);
  c.uncertainty.value_title = "deflection uncertainty across the normal (\xC2\xB5m)";
  for (const WeakDirection& w : u.weakest) c.weakest_directions.push_back(w.description);
  c.identifiability_tables.push_back(
      {"Deflection uncertainty at the scan's readings (\xC2\xB5m, k = 1)",
       {"", "max", "95 %", "median"},
       {{"along the normal", Fixed(u.at_samples.normal.max * 1000.0, 4),
         Fixed(u.at_samples.normal.p95 * 1000.0, 4), Fixed(u.at_samples.normal.median * 1000.0, 4)},
        {"across the normal", Fixed(u.at_samples.across.max * 1000.0, 4),
         Fixed(u.at_samples.across.p95 * 1000.0, 4),
         Fixed(u.at_samples.across.median * 1000.0, 4)}}});
  if (run.stop_reason == StopReason::kIterationLimit)
    c.warnings.push_back({"ITERATION_LIMIT",
                          "The optimiser used all its iterations without meeting its stop test."});
  return c;
}

}  // namespace tavric::demo
