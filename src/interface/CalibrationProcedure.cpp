#include "interface/CalibrationProcedure.h"

#include <cmath>

#include "data/ModBiDirDetection.h"
#include "display/FormDisplay.h"
#include "geometry/ClsVector.h"
#include "geometry/Matrix33.h"
#include "interface/HeadOrientation.h"
#include "interface/ProjectState.h"
#include "model/IterativeCal.h"
#include "polynomial/Polynome3Variables.h"
#include "runtime/CheckedMath.h"
#include "runtime/ErrorTrap.h"
#include "sphere/ClsSphere.h"
#include "tavric/DataFile.h"
#include "uncertainty/FitAnalysis.h"

namespace tavric {
namespace {

// Whatever happens in a run, the model is released at its end (which resets
// the damping settings through its optimiser).
struct CurrentModelRelease {
  ~CurrentModelRelease() { State().current_model.reset(); }
};

std::string OptimiseTrapped(const Array2<double>& data, Byte& order) {
  ProjectState& s = State();
  const Int16 n = SampleCount(data);
  if (!s.progress_display) return RunCalibration(data, order);

  // Progress path: the form runs the procedure on copies when it first
  // receives the focus, and the procedure's stored result is returned.
  s.data_copy = data;
  s.order_copy = order;
  FormDisplay& form = StateForm();
  form.INITDisplay();
  form.UpdateNbIter(0);
  form.UpdateNbPts(order, n);
  s.last_result.clear();
  form.ShowModal([] {
    ProjectState& st = State();
    try {
      RunCalibration(st.data_copy, st.order_copy);
    } catch (...) {
      st.last_result = TrapText("Optimise Error ", CurrentErrorInfo(), " : ");
    }
  });
  return s.last_result;
}

}  // namespace

DampingReset::~DampingReset() {
  State().Mu = defaults::kMu;
  State().nu = defaults::kNu;
}

Array1<Ref<ClsVector>> MachinePositions(const Array2<double>& data, Int16 n) {
  const Int32 l1 = data.LBound(1);
  const Int32 l2 = data.LBound(2);
  data.CheckRange(l1 + 3, l1 + 5, l2, l2 + n - 1);
  Array1<Ref<ClsVector>> points(0, n);
  for (Int32 k = 1; k <= n; ++k) {
    const Int32 col = l2 + k - 1;
    points.Unchecked(k) = NewVector(fp::RequireFinite(data.Unchecked(l1 + 3, col)),
                                    fp::RequireFinite(data.Unchecked(l1 + 4, col)),
                                    fp::RequireFinite(data.Unchecked(l1 + 5, col)));
  }
  return points;
}

Int16 SampleCount(const Array2<double>& data) {
  const Int16 lower = Narrow<Int16>(data.LBound(2));
  const Int16 upper = Narrow<Int16>(data.UBound(2));
  return Narrow<Int16>(Int32{upper} - lower + 1);
}

std::string RunCalibration(const Array2<double>& data, Byte& order) {
  ProjectState& s = State();
  CurrentModelRelease release;
  std::string result = "OK";

  // 1. Order and sample count; the form learns them even when not shown.
  if (order == 0) order = 1;
  if (order > 3) order = 3;
  const Int16 n = SampleCount(data);
  s.run_report.samples = n;
  s.run_report.order = order;
  s.run_report.radius_held = s.held_radius.has_value();
  StateForm().UpdateNbPts(order, n);

  // 2. The machine positions.
  Array1<Ref<ClsVector>> points = MachinePositions(data, n);

  // 3-4. The reference sphere.
  if (s.progress_display) StateForm().ProgressCaption(1);
  {
    Int16 count = n;
    double tolerance = kSphereFitTolerance;
    Int16 max_iter = kSphereFitIterations;
    StateSphere().Fit(count, points, tolerance, max_iter, result);
  }

  // 5. The scan path: enough planes scanned in both senses.
  if (result == "OK") {
    double deviation_min = 0.0, deviation_max = 0.0;
    s.run_report.position_deviation_sd =
        std::sqrt(StateSphere().MinMaxVar(deviation_min, deviation_max));
    if (s.progress_display) StateForm().SetStepCaption("Checking Path");
    // The counts behind the detection's verdict are kept for the run report.
    const ModBiDirDetection::ScanPlanes found =
        ModBiDirDetection::CountScanPlanes(Deref(StateSphere().Pt()), points);
    s.run_report.scans = found.scans;
    s.run_report.planes = found.planes;
    s.run_report.bidirectional_planes = found.bidirectional_planes;
    if (found.bidirectional_planes < ModBiDirDetection::kRequiredPlanes) {
      result = "Bi-directionnal scans detection error.";
      s.run_report.failed_stage = RunStage::kScanPath;
    }
  } else {
    s.run_report.failed_stage = RunStage::kSphereFit;
  }

  // 6. The sphere and its deviations on the display (the variance is shown in
  // the RMS field at this point).
  points.Erase();
  if (result == "OK" && s.progress_display) {
    FormDisplay& form = StateForm();
    form.UpdateSphereParam(StateSphere());
    double min = 0.0, max = 0.0;
    const double variance = StateSphere().MinMaxVar(min, max);
    form.UpdateRMSMinMax(variance, min, max);
  }

  // 7. The starting matrix from the head orientation.
  Ref<Matrix33> m0 = StartingMatrix(result);

  // 8. The calibration model.
  Ref<IterativeCal> model;
  if (result == "OK") {
    model = std::make_shared<IterativeCal>();
    s.current_model = model;
    const Array1<double> offsets = Deref(s.polynomial).TheCoeff(0, 0, 0);
    result = model->INIT(data, order, Deref(m0), offsets);
    if (result != "OK") s.run_report.failed_stage = RunStage::kModelInit;
  }

  // 9. The optimisation, and how far its result can be trusted.
  if (result == "OK") {
    result = model->Iterate();
    if (result == "OK") {
      if (s.analyse_fit) AnalyseFit(*model, s.run_report);
    } else {
      s.run_report.failed_stage = RunStage::kOptimiser;
    }
  }

  // 10. Install the fitted polynomial in raw counts, keeping the offsets.
  if (result == "OK") {
    const Array1<double> kept = Deref(s.polynomial).TheCoeff(0, 0, 0);
    s.polynomial = model->TakePolynomial();
    Polynome3Variables& fitted = Deref(s.polynomial);
    fitted.PolyScale(1000.0);
    fitted.TheCoeff(0, 0, 0, kept);
  }

  // 11. Keep the result; the model is released on the way out.
  s.last_result = result;
  return result;
}

std::string Optimise(const Array2<double>& data, Byte& order) {
  DampingReset damping_reset;
  ProjectState& s = State();
  s.run_report = RunReport{};
  std::string result;
  try {
    result = OptimiseTrapped(data, order);
  } catch (...) {
    result = TrapText("Optimise Error ", CurrentErrorInfo(), " : ");
  }
  // A failure that no step claimed was raised by the data array itself (its
  // shape, its sample count or a value that is not a number).
  if (result != "OK" && s.run_report.failed_stage == RunStage::kNone)
    s.run_report.failed_stage = RunStage::kData;
  s.run_report.result = result;
  return result;
}

std::string OptimiseFromFile(const std::string& file_name, Byte& order) {
  try {
    Array2<double> data;
    const std::string read = ReadCalibrationDataFile(file_name, data);
    if (read == "OK") return Optimise(data, order);
    State().run_report = RunReport{};
    State().run_report.result = read;
    State().run_report.failed_stage = RunStage::kReading;
    return read;
  } catch (...) {
    return TrapText("Error ", CurrentErrorInfo(), " : ");
  }
}

}  // namespace tavric
