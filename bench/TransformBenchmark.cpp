// Converting readings into deflections with an order-3 calibration: the
// modern API's batch form over a million readings, and one reading at a time
// through ClsProbeCalibration::Transform. The counter readings_per_s is the
// rate.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <span>
#include <vector>

#include "BenchData.h"
#include "tavric/Calibration.h"
#include "tavric/ClsProbeCalibration.h"

namespace tavric::bench {
namespace {

constexpr std::size_t kReadings = 1000000;

// The readings of the 32,767-sample scan, repeated.
const std::vector<Vec3>& Readings() {
  static const std::vector<Vec3> readings = [] {
    const DataArray& data = Scan(3, 32767);
    std::vector<Vec3> out(kReadings);
    for (std::size_t i = 0; i < kReadings; ++i) {
      const auto k = static_cast<std::int32_t>(i % 32767) + 1;
      out[i] = {data(1, k), data(2, k), data(3, k)};
    }
    return out;
  }();
  return readings;
}

void BM_DeflectionsBatch(benchmark::State& state) {
  // The calibration of the 2,000-sample scan (its array holds rows of P, Q,
  // R, X, Y, Z).
  const DataArray& scan = Scan(3, 2000);
  const Calibration cal = calibrate(
      std::span<const double>(scan.Data(), 6 * static_cast<std::size_t>(scan.Extent2())));
  const std::vector<Vec3>& readings = Readings();
  std::vector<Vec3> out(readings.size());
  for (auto _ : state) {
    cal.deflections(readings, out);
    benchmark::DoNotOptimize(out.data());
  }
  state.counters["readings_per_s"] = benchmark::Counter(
      static_cast<double>(readings.size()), benchmark::Counter::kIsIterationInvariantRate);
}

void BM_TransformOneByOne(benchmark::State& state) {
  ClsProbeCalibration cal;
  std::uint8_t order = 3;
  cal.Optimise(Scan(3, 2000), order);
  const std::vector<Vec3>& readings = Readings();
  double x = 0.0, y = 0.0, z = 0.0;
  for (auto _ : state) {
    for (const Vec3& r : readings) {
      cal.Transform(r[0], r[1], r[2], x, y, z);
      benchmark::DoNotOptimize(x);
    }
  }
  state.counters["readings_per_s"] = benchmark::Counter(
      static_cast<double>(readings.size()), benchmark::Counter::kIsIterationInvariantRate);
}

BENCHMARK(BM_DeflectionsBatch)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_TransformOneByOne)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace tavric::bench
