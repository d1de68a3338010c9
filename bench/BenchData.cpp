#include "BenchData.h"

#include <filesystem>
#include <map>
#include <stdexcept>
#include <utility>

#include "geometry/ClsVector.h"
#include "geometry/Matrix33.h"
#include "interface/CalibrationProcedure.h"
#include "interface/HeadOrientation.h"
#include "interface/ProjectState.h"
#include "model/IterativeCal.h"
#include "polynomial/Polynome3Variables.h"
#include "sphere/ClsSphere.h"
#include "tavric/ClsProbeCalibration.h"
#include "tavric/RunReport.h"
#include "tavric/ScanSimulator.h"

namespace tavric::bench {

const DataArray& Scan(int order, int samples) {
  static std::map<std::pair<int, int>, DataArray> cache;
  auto it = cache.find({order, samples});
  if (it == cache.end()) {
    sim::Scenario scenario;
    scenario.calibration.order = order;
    scenario.plan.total_samples = samples;
    scenario.noise.counts_sigma = 1.5;
    scenario.noise.position_sigma_um = 0.2;
    DataArray data = sim::Simulate(scenario).data;
    sim::RoundToRecordPrecision(data);
    it = cache.emplace(std::make_pair(order, samples), std::move(data)).first;
  }
  return it->second;
}

const std::string& DataDir() {
  static const std::string dir = [] {
    const char* env = std::getenv("TAVRIC_BENCH_DATA_DIR");
    std::filesystem::path path = env != nullptr && *env != '\0'
                                     ? std::filesystem::path(env)
                                     : std::filesystem::temp_directory_path() / "tavric-bench";
    std::filesystem::create_directories(path);
    return path.string();
  }();
  return dir;
}

namespace {

std::string FileOf(int order, int samples, const char* layout) {
  const std::string path = DataDir() + "/scan-o" + std::to_string(order) + "-n" +
                           std::to_string(samples) + "-" + layout + ".txt";
  if (!std::filesystem::exists(path)) {
    const DataArray& data = Scan(order, samples);
    const std::string result = layout[0] == 'm' ? sim::WriteMarkedDataFile(path, data)
                                                : sim::WriteGenericDataFile(path, data);
    if (result != "OK") throw std::runtime_error(result);
  }
  return path;
}

}  // namespace

std::string MarkedFile(int order, int samples) { return FileOf(order, samples, "marked"); }
std::string GenericFile(int order, int samples) { return FileOf(order, samples, "generic"); }

const TavricResult& TavricRun(int order, int samples) {
  static std::map<std::pair<int, int>, TavricResult> cache;
  auto it = cache.find({order, samples});
  if (it == cache.end()) {
    ClsProbeCalibration cal;
    auto o = static_cast<std::uint8_t>(order);
    const std::string result = cal.Optimise(Scan(order, samples), o);
    if (result != "OK") throw std::runtime_error(result);
    const RunReport& report = LastRunReport();
    it = cache.emplace(std::make_pair(order, samples),
                       TavricResult{report.iterations.back().S, report.outer_iterations})
             .first;
  }
  return it->second;
}

// The steps of the calibration procedure up to the optimiser's start.
StartPoint StartOf(const DataArray& data, int order) {
  const ClsProbeCalibration reset;  // every setting at its default
  const Int16 n = SampleCount(data);
  Array1<Ref<ClsVector>> points = MachinePositions(data, n);
  std::string result = "OK";
  Int16 count = n;
  double tolerance = kSphereFitTolerance;
  Int16 max_iter = kSphereFitIterations;
  StateSphere().Fit(count, points, tolerance, max_iter, result);
  if (result != "OK") throw std::runtime_error(result);
  Ref<Matrix33> m0 = StartingMatrix(result);
  IterativeCal model;
  result = model.INIT(data, static_cast<Byte>(order), Deref(m0),
                      Deref(State().polynomial).TheCoeff(0, 0, 0));
  if (result != "OK") throw std::runtime_error(result);

  StartPoint start;
  const Polynome3Variables& poly = Deref(model.Polynomial());
  start.terms = poly.TermCount();
  const Array1<double> X = model.Pack();
  for (Int32 i = 1; i <= X.UBound(); ++i) start.parameters.push_back(X(i));
  const Array2<double>& readings = model.Readings();
  std::vector<double> m(static_cast<std::size_t>(start.terms));
  for (Int32 k = 1; k <= n; ++k) {
    poly.Monomials(readings(1, k), readings(2, k), readings(3, k), m.data());
    start.monomials.insert(start.monomials.end(), m.begin(), m.end());
    for (Int32 axis = 1; axis <= 3; ++axis) start.positions.push_back(model.Position(axis, k));
  }
  return start;
}

}  // namespace tavric::bench
