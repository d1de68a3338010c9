#include "tavric/DataCheck.h"

#include "data/ModBiDirDetection.h"
#include "interface/CalibrationProcedure.h"
#include "runtime/CheckedMath.h"
#include "runtime/ErrorTrap.h"
#include "sphere/ClsSphere.h"
#include "tavric/DataFile.h"

namespace tavric {
namespace {

void Check(const DataArray& data, DataCheckReport& report) {
  const Int16 n = SampleCount(data);
  report.samples = n;
  Array1<Ref<ClsVector>> points = MachinePositions(data, n);
  ClsSphere sphere;
  Int16 count = n;
  double tolerance = kSphereFitTolerance;
  Int16 max_iter = kSphereFitIterations;
  std::string fit = "OK";
  sphere.Fit(count, points, tolerance, max_iter, fit);
  report.sphere_result = fit;
  if (fit != "OK") return;
  const ClsVector& centre = Deref(sphere.Pt());
  report.centre = {centre.C1(), centre.C2(), centre.C3()};
  report.radius = sphere.R();
  report.deviation_variance = sphere.MinMaxVar(report.deviation_min, report.deviation_max);
  const ModBiDirDetection::ScanPlanes found =
      ModBiDirDetection::CountScanPlanes(Deref(sphere.Pt()), points);
  report.scans = found.scans;
  report.planes = found.planes;
  report.bidirectional_planes = found.bidirectional_planes;
  report.accepted = found.bidirectional_planes >= ModBiDirDetection::kRequiredPlanes;
}

void CheckTrapped(const DataArray& data, DataCheckReport& report) {
  fp::Boundary boundary;
  report.result = "OK";
  try {
    Check(data, report);
  } catch (...) {
    report.result = TrapText("Error ", CurrentErrorInfo(), " : ");
    report.accepted = false;
  }
}

}  // namespace

DataCheckReport CheckCalibrationData(const DataArray& data) {
  DataCheckReport report;
  report.layout = "array";
  CheckTrapped(data, report);
  return report;
}

DataCheckReport CheckCalibrationDataFile(const std::string& file_name) {
  DataCheckReport report;
  DataArray data;
  const std::string read = ReadCalibrationDataFile(file_name, data, &report.layout);
  if (read != "OK") {
    report.result = read;
    return report;
  }
  CheckTrapped(data, report);
  return report;
}

}  // namespace tavric
