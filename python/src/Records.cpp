#include "Records.h"

#include <pybind11/stl.h>

#include "Arrays.h"

namespace tavric::python {
namespace {

template <typename T>
py::object OrNone(const std::optional<T>& value) {
  return value ? py::cast(*value) : py::none();
}

py::dict SpreadDict(const Spread& s) {
  py::dict d;
  d["max"] = s.max;
  d["p95"] = s.p95;
  d["median"] = s.median;
  return d;
}

py::dict DeflectionDict(const DeflectionUncertainty& u) {
  py::dict d;
  d["points"] = u.points;
  d["normal"] = SpreadDict(u.normal);
  d["across"] = SpreadDict(u.across);
  d["x"] = SpreadDict(u.x);
  d["y"] = SpreadDict(u.y);
  d["z"] = SpreadDict(u.z);
  return d;
}

py::dict WeakDirectionDict(const WeakDirection& w) {
  py::dict d;
  d["relative_eigenvalue"] = w.relative_eigenvalue;
  d["kind"] = w.kind;
  d["summary"] = w.summary;
  d["description"] = w.description;
  d["parameters"] = w.parameters;
  d["shares"] = Vector(w.shares);
  d["normal_rms"] = w.normal_rms;
  d["across_rms"] = w.across_rms;
  d["max"] = w.max;
  d["radius_change"] = w.radius_change;
  return d;
}

py::dict IterationDict(const IterationRecord& it) {
  py::dict d;
  d["iteration"] = it.iteration;
  d["S"] = it.S;
  d["FitRMS"] = it.FitRMS;
  d["FitMin"] = it.FitMin;
  d["FitMax"] = it.FitMax;
  d["Mu"] = it.Mu;
  d["rejected_trials"] = it.rejected_trials;
  return d;
}

py::dict ErrorSpreadDict(const ErrorSpread& s) {
  py::dict d;
  d["max"] = s.max;
  d["rms"] = s.rms;
  d["p95"] = s.p95;
  return d;
}

}  // namespace

const char* StageName(RunStage stage) {
  switch (stage) {
    case RunStage::kNone:
      return "none";
    case RunStage::kReading:
      return "reading";
    case RunStage::kData:
      return "data";
    case RunStage::kSphereFit:
      return "sphere-fit";
    case RunStage::kScanPath:
      return "scan-path";
    case RunStage::kModelInit:
      return "model-init";
    case RunStage::kOptimiser:
      break;
  }
  return "optimiser";
}

py::dict WarningDict(const Warning& warning) {
  py::dict d;
  d["code"] = warning.code;
  d["text"] = warning.text;
  d["value"] = warning.value;
  d["limit"] = warning.limit;
  return d;
}

py::list WarningList(const std::vector<Warning>& warnings) {
  py::list list;
  for (const Warning& w : warnings) list.append(WarningDict(w));
  return list;
}

py::dict UncertaintyDict(const FitUncertainty& u) {
  py::dict d;
  d["available"] = u.available;
  d["note"] = u.note;
  if (!u.available) return d;
  d["residuals"] = u.residuals;
  d["parameters"] = u.parameters;
  d["sigma"] = u.sigma;
  d["rank"] = u.rank;
  d["condition_number"] = u.condition_number;
  d["parameter_names"] = u.parameter_names;
  const auto n = static_cast<std::size_t>(u.parameters);
  d["covariance"] = Matrix(u.covariance, n, n);
  d["centre_u"] = Triple(u.centre_u);
  d["radius_u"] = u.radius_u;
  d["at_samples"] = DeflectionDict(u.at_samples);
  d["over_range"] = DeflectionDict(u.over_range);
  d["sample_normal_u"] = Vector(u.sample_normal_u);
  d["sample_across_u"] = Vector(u.sample_across_u);
  d["sample_normals"] = Triples(u.sample_normals);
  py::list weakest;
  for (const WeakDirection& w : u.weakest) weakest.append(WeakDirectionDict(w));
  d["weakest"] = weakest;
  d["deflection_mean"] = u.deflection_mean;
  d["deflection_variation"] = u.deflection_variation;
  d["residual_autocorrelation"] = u.residual_autocorrelation;
  d["robust_sigma"] = u.robust_sigma;
  d["outlier_fraction"] = u.outlier_fraction;
  d["last_step_normal_change"] = u.last_step_normal_change;
  d["last_step_across_change"] = u.last_step_across_change;
  d["radius_held"] = u.radius_held;
  if (u.radius_held) {
    d["at_samples_radius_fitted"] = DeflectionDict(u.at_samples_radius_fitted);
    d["radius_u_fitted"] = u.radius_u_fitted;
  } else {
    d["at_samples_radius_fitted"] = py::none();
    d["radius_u_fitted"] = py::none();
  }
  return d;
}

py::dict RunReportDict(const RunReport& report) {
  py::dict d;
  d["samples"] = report.samples;
  d["order"] = report.order;
  d["result"] = report.result;
  d["failed_stage"] = StageName(report.failed_stage);
  d["scans"] = report.scans;
  d["planes"] = report.planes;
  d["bidirectional_planes"] = report.bidirectional_planes;
  d["position_deviation_sd"] = report.position_deviation_sd;
  d["radius_held"] = report.radius_held;
  d["outer_iterations"] = report.outer_iterations;
  d["rejected_trials"] = report.rejected_trials;
  d["stop_reason"] = ToString(report.stop_reason);
  d["final_mu"] = report.final_mu;
  d["initial_S"] = report.initial_S;
  py::list iterations;
  for (const IterationRecord& it : report.iterations) iterations.append(IterationDict(it));
  d["iterations"] = iterations;
  d["residuals"] = Vector(report.residuals);
  d["last_step"] = Vector(report.last_step);
  d["uncertainty"] = UncertaintyDict(report.uncertainty);
  return d;
}

py::dict VerificationDict(const VerificationReport& v) {
  py::dict d;
  d["points"] = v.points;
  d["at_samples"] = v.at_samples;
  d["x"] = ErrorSpreadDict(v.x);
  d["y"] = ErrorSpreadDict(v.y);
  d["z"] = ErrorSpreadDict(v.z);
  d["normal"] = ErrorSpreadDict(v.normal);
  d["across"] = ErrorSpreadDict(v.across);
  d["total"] = ErrorSpreadDict(v.total);
  d["centre_error"] = Triple(v.centre_error);
  d["radius_error"] = v.radius_error;
  d["normal_coverage"] = OrNone(v.normal_coverage);
  d["across_coverage"] = OrNone(v.across_coverage);
  d["axis_coverage"] = v.axis_coverage ? py::object(Triple(*v.axis_coverage)) : py::none();
  d["radius_covered"] = OrNone(v.radius_covered);
  return d;
}

}  // namespace tavric::python
