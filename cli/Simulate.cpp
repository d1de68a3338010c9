// tavric simulate: writes a synthetic calibration scan of a reference sphere.
#include <cstdint>
#include <iostream>
#include <memory>
#include <stdexcept>

#include "Commands.h"
#include "tavric/ScanSimulator.h"

namespace tavric::cli {
namespace {

struct SimulateOptions {
  std::string output;
  std::string layout = "marked";
  std::string truth;
  bool no_equator = false;
  bool json = false;
  sim::Scenario scenario;  // holds the simulator's defaults until parsed
};

int RunSimulate(SimulateOptions& o) {
  o.scenario.plan.include_equator = !o.no_equator;
  sim::SimulatedData simulated;
  try {
    simulated = sim::Simulate(o.scenario);
  } catch (const std::invalid_argument& e) {
    std::cerr << e.what() << '\n';
    return kExitUsage;
  }

  std::string result = o.layout == "generic" ? sim::WriteGenericDataFile(o.output, simulated.data)
                                             : sim::WriteMarkedDataFile(o.output, simulated.data);
  if (result == "OK" && !o.truth.empty()) result = sim::WriteTruthJson(o.truth, simulated.truth);
  if (result != "OK") return Fail(result, o.json, "simulate", nullptr, o.output);

  const int samples = simulated.data.Extent2();
  if (o.json) {
    Json j = JsonHead("simulate");
    j["input"] = nullptr;
    j["output"] = o.output;
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
  sub->add_option("-o,--output", o->output, "Data file to write")->required()->type_name("DATA");
  sub->add_option("--layout", o->layout, "Layout of the data file")
      ->check(CLI::IsMember({"marked", "generic"}))
      ->capture_default_str();
  sub->add_option("--truth", o->truth, "Also write the ground truth as JSON to this file")
      ->type_name("TRUTH.json");
  sub->add_option("--samples", s.plan.total_samples, "Total number of samples")
      ->check(CLI::Range(1, sim::kMaxSamples))
      ->capture_default_str();
  sub->add_option("--order", s.calibration.order, "Order of the true calibration polynomial")
      ->check(CLI::Range(1, 3))
      ->capture_default_str();
  sub->add_option("--seed", s.noise.seed, "Seed of the noise generator")->capture_default_str();
  sub->add_option("--counts-noise", s.noise.counts_sigma,
                  "Standard deviation of the noise on each reading, counts")
      ->check(CLI::NonNegativeNumber)
      ->capture_default_str();
  sub->add_option("--position-noise", s.noise.position_sigma_um,
                  "Standard deviation of the noise on each machine coordinate, micrometres")
      ->check(CLI::NonNegativeNumber)
      ->capture_default_str();
  sub->add_option("--deflection", s.deflection.mean_mm, "Mean normal deflection, mm")
      ->check(CLI::PositiveNumber)
      ->capture_default_str();
  sub->add_option("--variation", s.deflection.variation,
                  "Relative variation of the deflection along a scan, in [0, 1)")
      ->capture_default_str();
  sub->add_option("--friction", s.deflection.friction,
                  "Friction coefficient (tangential / normal deflection), in [0, 1)")
      ->capture_default_str();
  sub->add_option("--planes", s.plan.planes, "Number of vertical great-circle planes")
      ->check(CLI::NonNegativeNumber)
      ->capture_default_str();
  sub->add_flag("--no-equator", o->no_equator, "Do not scan the equator");
  sub->add_option("--radius", s.plan.radius, "Effective sphere radius (ball + tip), mm")
      ->check(CLI::PositiveNumber)
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
  return {sub, [o] { return RunSimulate(*o); }};
}

}  // namespace tavric::cli
