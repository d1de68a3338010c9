// tavric simulate: writes a synthetic calibration scan of a reference sphere.
#include <cstdint>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <utility>
#include <vector>

#include "Commands.h"
#include "OutputFiles.h"
#include "tavric/ScanSimulator.h"

namespace tavric::cli {
namespace {

struct SimulateOptions {
  std::string output;
  std::string layout = "marked";
  std::string truth;
  bool no_equator = false;
  bool json = false;
  bool force = false;
  sim::Scenario scenario;  // holds the simulator's defaults until parsed
};

// The simulator's refusal of a scenario, in the terms of the command line:
// "ScanSimulator: NoiseModel.counts_sigma must be in [0, 1E+09] (is -1)"
// becomes "tavric simulate: --counts-noise must be in [0, 1E+09] (is -1)".
std::string ScenarioRefusal(std::string text) {
  static const std::pair<const char*, const char*> kNames[] = {
      {"ScanSimulator: ", "tavric simulate: "},
      {"DeflectionProfile.mean_mm", "--deflection"},
      {"DeflectionProfile.variation", "--variation"},
      {"DeflectionProfile.friction", "--friction"},
      {"NoiseModel.counts_sigma", "--counts-noise"},
      {"NoiseModel.position_sigma_um", "--position-noise"},
      {"ScanPlan.centre", "--centre"},
      {"ScanPlan.radius", "--radius"},
      {"ScanPlan.planes", "--planes"},
      {"ScanPlan.total_samples", "--samples"},
      {"TrueCalibration.order", "--order"},
      {"TrueCalibration.offsets", "--offsets"},
      {"ScanPlan needs at least one plane (planes or include_equator)",
       "--planes 0 with --no-equator leaves no plane to scan"},
      {"the plan gives", "--samples gives"},
  };
  for (const auto& [field, option] : kNames) {
    const auto at = text.find(field);
    if (at != std::string::npos) text.replace(at, std::string(field).size(), option);
  }
  return text;
}

// The scenario of a run, as its options name it.
Json Settings(const SimulateOptions& o) {
  const sim::Scenario& s = o.scenario;
  return {{"layout", o.layout},
          {"truth", o.truth.empty() ? Json(nullptr) : Json(o.truth)},
          {"samples", s.plan.total_samples},
          {"order", s.calibration.order},
          {"seed", s.noise.seed},
          {"counts_noise", s.noise.counts_sigma},
          {"position_noise_um", s.noise.position_sigma_um},
          {"deflection_mm", s.deflection.mean_mm},
          {"variation", s.deflection.variation},
          {"friction", s.deflection.friction},
          {"planes", s.plan.planes},
          {"equator", s.plan.include_equator},
          {"radius_mm", s.plan.radius},
          {"centre_mm", s.plan.centre},
          {"offsets", s.calibration.offsets}};
}

int RunSimulate(SimulateOptions& o) {
  o.scenario.plan.include_equator = !o.no_equator;
  std::vector<PlannedOutput> outputs = {{o.output, "data file"}};
  if (!o.truth.empty()) outputs.push_back({o.truth, "truth file"});
  if (!OutputsAllowed("simulate", outputs, {}, o.force)) return kExitUsage;
  sim::SimulatedData simulated;
  try {
    simulated = sim::Simulate(o.scenario);
  } catch (const std::invalid_argument& e) {
    std::cerr << ScenarioRefusal(e.what()) << '\n';
    return kExitUsage;
  }

  const OutputTarget data(o.output);
  std::string result = o.layout == "generic"
                           ? sim::WriteGenericDataFile(data.path(), simulated.data)
                           : sim::WriteMarkedDataFile(data.path(), simulated.data);
  if (result == "OK" && !o.truth.empty()) result = sim::WriteTruthJson(o.truth, simulated.truth);
  if (result != "OK") return Fail(result, o.json, "simulate", nullptr, o.output, Settings(o));
  if (data.to_standard_output()) {
    data.CopyToStandardOutput();
    return kExitOk;
  }

  const int samples = simulated.data.Extent2();
  if (o.json) {
    Json j = JsonHead("simulate", nullptr, o.output, Settings(o));
    j["result"] = result;
    j["file"] = o.output;
    j["layout"] = o.layout;
    j["samples"] = samples;
    j["scans"] = simulated.truth.scans.size();
    j["sphere"] = {{"centre", simulated.truth.centre}, {"radius", simulated.truth.radius}};
    j["order"] = simulated.truth.order;
    j["seed"] = simulated.truth.seed;
    j["truth"] = o.truth.empty() ? Json(nullptr) : Json(o.truth);
    PrintJson(j);
    return kExitOk;
  }
  PrintField("Result", result);
  PrintField("Samples", std::to_string(samples) + " in " +
                            std::to_string(simulated.truth.scans.size()) + " scans");
  PrintField("Written", o.output + " (" + o.layout + " layout)");
  if (!o.truth.empty()) PrintField("Truth", o.truth);
  return kExitOk;
}

}  // namespace

Command AddSimulate(CLI::App& app) {
  auto o = std::make_shared<SimulateOptions>();
  sim::Scenario& s = o->scenario;
  CLI::App* sub =
      app.add_subcommand("simulate", "Write a simulated calibration scan with a known truth");
  sub->add_option("-o,--output", o->output, "Data file to write, or - for standard output")
      ->required()
      ->type_name("DATA");
  sub->add_option("--layout", o->layout, "Layout of the data file")
      ->check(CLI::IsMember({"marked", "generic"}))
      ->capture_default_str();
  sub->add_option("--truth", o->truth, "Also write the ground truth as JSON to this file")
      ->type_name("TRUTH.json");
  sub->add_option("--samples", s.plan.total_samples,
                  "Total number of samples: at least 2 per scan, 4 per plane (20 with the 4 "
                  "planes and the equator of the default), at most 32767")
      ->check(Within(1, sim::kMaxSamples))
      ->capture_default_str();
  sub->add_option("--order", s.calibration.order, "Order of the true calibration polynomial")
      ->check(Within(1, 3))
      ->capture_default_str();
  sub->add_option("--seed", s.noise.seed, "Seed of the noise generator")->capture_default_str();
  sub->add_option("--counts-noise", s.noise.counts_sigma,
                  "Standard deviation of the noise on each reading, counts")
      ->check(AtLeast(0))
      ->capture_default_str();
  sub->add_option("--position-noise", s.noise.position_sigma_um,
                  "Standard deviation of the noise on each machine coordinate, micrometres")
      ->check(AtLeast(0))
      ->capture_default_str();
  sub->add_option("--deflection", s.deflection.mean_mm, "Mean normal deflection, mm")
      ->check(MoreThan(0))
      ->capture_default_str();
  sub->add_option("--variation", s.deflection.variation,
                  "Relative variation of the deflection along a scan, in [0, 1)")
      ->capture_default_str();
  sub->add_option("--friction", s.deflection.friction,
                  "Friction coefficient (tangential / normal deflection), in [0, 1)")
      ->capture_default_str();
  sub->add_option("--planes", s.plan.planes, "Number of vertical great-circle planes")
      ->check(AtLeast(0))
      ->capture_default_str();
  sub->add_flag("--no-equator", o->no_equator, "Do not scan the equator");
  sub->add_option("--radius", s.plan.radius, "Effective sphere radius (ball + tip), mm")
      ->check(MoreThan(0))
      ->capture_default_str();
  sub->add_option("--centre", s.plan.centre, "Sphere centre, mm")
      ->delimiter(',')
      ->type_name("X,Y,Z")
      ->capture_default_str();
  sub->add_option("--offsets", s.calibration.offsets, "Probe offsets, counts")
      ->delimiter(',')
      ->type_name("P,Q,R")
      ->capture_default_str();
  sub->add_flag("--json", o->json, "Print a summary as one JSON object");
  AddForceOption(*sub, o->force);
  sub->callback([o] {
    if (o->output == kStandardStream && o->json)
      throw CLI::ValidationError("-o -",
                                 "the data file and --json cannot both go to "
                                 "standard output");
    if (o->truth == kStandardStream)
      throw CLI::ValidationError("--truth", "the truth goes to a file, not to standard output");
  });
  return {sub, [o] { return RunSimulate(*o); }};
}

}  // namespace tavric::cli
