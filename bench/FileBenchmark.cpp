// Reading 32,767-sample data files (marked and generic layouts, through the
// function calibrations read them with), and saving and loading a
// calibration of order 3.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>

#include "BenchData.h"
#include "tavric/ClsProbeCalibration.h"
#include "tavric/DataFile.h"

namespace tavric::bench {
namespace {

void ReadFile(benchmark::State& state, const std::string& path) {
  for (auto _ : state) {
    DataArray data;
    const std::string result = ReadCalibrationDataFile(path, data);
    if (result != "OK") state.SkipWithError(result.c_str());
    benchmark::DoNotOptimize(data.Data());
  }
}

void BM_ReadMarkedFile(benchmark::State& state) { ReadFile(state, MarkedFile(3, 32767)); }
void BM_ReadGenericFile(benchmark::State& state) { ReadFile(state, GenericFile(3, 32767)); }
BENCHMARK(BM_ReadMarkedFile)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReadGenericFile)->Unit(benchmark::kMillisecond);

// A calibration of order 3 and the file it was saved to.
const std::string& CalibrationFile() {
  static const std::string path = [] {
    ClsProbeCalibration cal;
    std::uint8_t order = 3;
    cal.Optimise(Scan(3, 2000), order);
    const std::string file = DataDir() + "/calibration-o3.cal";
    cal.SaveCalibrationFunctions(file);
    return file;
  }();
  return path;
}

void BM_SaveCalibration(benchmark::State& state) {
  const std::string source = CalibrationFile();
  ClsProbeCalibration cal;
  cal.LoadCalibrationFunctions(source);
  const std::string target = DataDir() + "/calibration-saved.cal";
  for (auto _ : state) {
    const std::string result = cal.SaveCalibrationFunctions(target);
    if (result != "OK") state.SkipWithError(result.c_str());
  }
}

void BM_LoadCalibration(benchmark::State& state) {
  const std::string source = CalibrationFile();
  ClsProbeCalibration cal;
  for (auto _ : state) {
    const std::string result = cal.LoadCalibrationFunctions(source);
    if (result != "OK") state.SkipWithError(result.c_str());
  }
}

BENCHMARK(BM_SaveCalibration)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_LoadCalibration)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace tavric::bench
