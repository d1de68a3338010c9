// Time of a whole calibration (Optimise) at orders 1 to 3 on 2,000, 8,000 and
// 32,000 simulated samples with noise.
#include <benchmark/benchmark.h>

#include <map>
#include <utility>

#include "tavric/ClsProbeCalibration.h"
#include "tavric/ScanSimulator.h"

namespace {

const tavric::DataArray& Scan(int order, int samples) {
  static std::map<std::pair<int, int>, tavric::sim::SimulatedData> cache;
  auto it = cache.find({order, samples});
  if (it == cache.end()) {
    tavric::sim::Scenario scenario;
    scenario.calibration.order = order;
    scenario.plan.total_samples = samples;
    scenario.noise.counts_sigma = 1.5;
    scenario.noise.position_sigma_um = 0.2;
    it = cache.emplace(std::make_pair(order, samples), tavric::sim::Simulate(scenario)).first;
  }
  return it->second.data;
}

void BM_Optimise(benchmark::State& state) {
  const int order = static_cast<int>(state.range(0));
  const int samples = static_cast<int>(state.range(1));
  const tavric::DataArray& data = Scan(order, samples);
  for (auto _ : state) {
    tavric::ClsProbeCalibration cal;
    std::uint8_t o = static_cast<std::uint8_t>(order);
    const std::string result = cal.Optimise(data, o);
    if (result != "OK") state.SkipWithError(result.c_str());
    benchmark::DoNotOptimize(cal.FitRMS());
  }
  const tavric::RunReport& report = tavric::LastRunReport();
  state.counters["lm_iterations"] = report.outer_iterations;
  state.counters["samples"] = samples;
}

BENCHMARK(BM_Optimise)
    ->ArgNames({"order", "samples"})
    ->ArgsProduct({{1, 2, 3}, {2000, 8000, 32000}})
    ->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
