#include "DemoReport.h"

#include <cstdio>
#include <string>
#include <vector>

#include "tavric/Calibration.h"
#include "tavric/CalibrationReport.h"
#include "tavric/ClsProbeCalibration.h"
#include "tavric/ScanSimulator.h"

namespace tavric::demo {
namespace {

std::string Fixed6(double value) {
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, "%.6f", value);
  return buffer;
}

}  // namespace

ReportContent DemoReportContent(std::int32_t samples, std::uint64_t seed) {
  sim::Scenario scenario;
  scenario.plan.total_samples = samples;
  scenario.noise.counts_sigma = 1.5;
  scenario.noise.position_sigma_um = 0.2;
  scenario.noise.seed = seed;
  const sim::SimulatedData sim = sim::Simulate(scenario);

  const std::vector<Sample> data = samples_of(sim.data);
  const Calibration cal = calibrate(data);
  ReportFacts facts;
  facts.data_file =
      "simulated: " + std::to_string(samples) + " samples, noise seed " + std::to_string(seed);
  facts.date = "(not dated)";
  facts.tool_version = "library " + ClsProbeCalibration().DLLVersion();
  ReportContent c = CalibrationReportContent(cal, data, facts);
  c.title = "Calibration report (simulated scans)";
  // What only a simulation knows: the true sphere.
  const Sphere& s = cal.sphere();
  c.fit_tables.push_back(
      {"Fitted and true sphere (mm)",
       {"", "centre X", "centre Y", "centre Z", "radius"},
       {{"fitted", Fixed6(s.centre[0]), Fixed6(s.centre[1]), Fixed6(s.centre[2]), Fixed6(s.radius)},
        {"true", Fixed6(sim.truth.centre[0]), Fixed6(sim.truth.centre[1]),
         Fixed6(sim.truth.centre[2]), Fixed6(sim.truth.radius)}}});
  return c;
}

}  // namespace tavric::demo
