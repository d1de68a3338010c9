// A whole calibration (Optimise: sphere fit, scan check, optimiser and the
// uncertainty analysis) at orders 1 to 3 on 2,000, 8,000 and 32,767 samples.
// The counters give the outer iterations and the final RMS residual.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <string>

#include "BenchData.h"
#include "tavric/ClsProbeCalibration.h"
#include "tavric/RunReport.h"

namespace tavric::bench {
namespace {

void BM_Optimise(benchmark::State& state) {
  const int order = static_cast<int>(state.range(0));
  const int samples = static_cast<int>(state.range(1));
  const DataArray& data = Scan(order, samples);
  MarkedFile(order, samples);  // for scripts/bench.sh, which runs `tavric calibrate` on it
  for (auto _ : state) {
    ClsProbeCalibration cal;
    auto o = static_cast<std::uint8_t>(order);
    const std::string result = cal.Optimise(data, o);
    if (result != "OK") state.SkipWithError(result.c_str());
    benchmark::DoNotOptimize(cal.FitRMS());
  }
  const RunReport& report = LastRunReport();
  state.counters["iterations"] = report.outer_iterations;
  state.counters["rms_um"] = std::sqrt(report.iterations.back().S / samples) * 1000.0;
}

BENCHMARK(BM_Optimise)
    ->ArgNames({"order", "samples"})
    ->ArgsProduct({{1, 2, 3}, {kSampleCounts[0], kSampleCounts[1], kSampleCounts[2]}})
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace tavric::bench
