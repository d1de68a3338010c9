// The normal-matrix kernel alone: J^T J of the calibration's Jacobian (13,
// 31 or 61 parameters for orders 1 to 3) over 2,000 to 32,767 residuals, with
// the columns already formed and in the cache. This is the floor of a
// calibration: every outer iteration forms one such matrix. The counter
// madds_per_s is the multiply-adds of the upper triangle per second.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <random>

#include "BenchData.h"
#include "runtime/Simd.h"
#include "solvers/NormalEquations.h"

namespace tavric::bench {
namespace {

void BM_NormalMatrixKernel(benchmark::State& state) {
  const auto n = static_cast<Int32>(state.range(0));
  const auto samples = static_cast<Int32>(state.range(1));
  const auto isa = static_cast<simd::Isa>(state.range(2));
  if (!simd::Available(isa)) {
    state.SkipWithError("instruction set not available");
    return;
  }
  std::mt19937_64 rng(1);
  std::uniform_real_distribution<double> value(-1.0, 1.0);
  NormalEquations sums;
  for (auto _ : state) {
    sums.Start(n, isa);
    for (Int32 c = 0; c < NormalEquations::kBlock; ++c)
      std::generate(sums.Column(c), sums.Column(c) + n, [&] { return value(rng); });
    for (Int32 first = 0; first < samples; first += NormalEquations::kBlock)
      sums.Add(std::min(NormalEquations::kBlock, samples - first), nullptr);
    benchmark::DoNotOptimize(sums.Column(0));
  }
  state.SetLabel(simd::Name(isa));
  const double madds = 0.5 * n * (n + 1.0) * samples;
  state.counters["madds_per_s"] =
      benchmark::Counter(madds, benchmark::Counter::kIsIterationInvariantRate);
}

BENCHMARK(BM_NormalMatrixKernel)
    ->ArgNames({"parameters", "samples", "isa"})
    ->ArgsProduct({{13, 31, 61},
                   {kSampleCounts[0], kSampleCounts[1], kSampleCounts[2]},
                   {static_cast<int>(simd::Isa::kBaseline), static_cast<int>(simd::Isa::kAvx2)}})
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace tavric::bench
