#include "Records.h"

#include <pybind11/stl.h>

#include "Arrays.h"

namespace tavric::python {

using namespace pybind11::literals;

namespace {

template <typename T>
py::object OrNone(const std::optional<T>& value) {
  return value ? py::cast(*value) : py::none();
}

py::dict SpreadDict(const Spread& s) {
  return py::dict("max"_a = s.max, "p95"_a = s.p95, "median"_a = s.median);
}

py::dict DeflectionDict(const DeflectionUncertainty& u) {
  return py::dict("points"_a = u.points, "normal"_a = SpreadDict(u.normal),
                  "across"_a = SpreadDict(u.across), "x"_a = SpreadDict(u.x),
                  "y"_a = SpreadDict(u.y), "z"_a = SpreadDict(u.z));
}

py::dict WeakDirectionDict(const WeakDirection& w) {
  return py::dict("relative_eigenvalue"_a = w.relative_eigenvalue, "kind"_a = w.kind,
                  "summary"_a = w.summary, "description"_a = w.description,
                  "parameters"_a = w.parameters, "shares"_a = Vector(w.shares),
                  "normal_rms"_a = w.normal_rms, "across_rms"_a = w.across_rms, "max"_a = w.max,
                  "radius_change"_a = w.radius_change);
}

py::dict IterationDict(const IterationRecord& it) {
  return py::dict("iteration"_a = it.iteration, "S"_a = it.S, "FitRMS"_a = it.FitRMS,
                  "FitMin"_a = it.FitMin, "FitMax"_a = it.FitMax, "Mu"_a = it.Mu,
                  "rejected_trials"_a = it.rejected_trials);
}

py::dict ErrorSpreadDict(const ErrorSpread& s) {
  return py::dict("max"_a = s.max, "rms"_a = s.rms, "p95"_a = s.p95);
}

// The bootstrap's figures, or None when it did not run.
py::object BootstrapDict(const FitUncertainty::Bootstrap& b) {
  if (b.fits == 0) return py::none();
  std::vector<double> moments;
  for (const auto& m : b.sample_covariance) moments.insert(moments.end(), m.begin(), m.end());
  return py::dict("fits"_a = b.fits, "seed"_a = b.seed,
                  "at_samples"_a = DeflectionDict(b.at_samples), "centre_u"_a = Triple(b.centre_u),
                  "radius_u"_a = b.radius_u,
                  "sample_covariance"_a = Matrix(moments, b.sample_covariance.size(), 6));
}

template <typename T, typename ToDict>
py::list ListOf(const std::vector<T>& items, ToDict to_dict) {
  py::list list;
  for (const T& item : items) list.append(to_dict(item));
  return list;
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

py::dict StatisticsDict(const FitStatistics& s) {
  return py::dict("rms"_a = s.rms, "min"_a = s.min, "max"_a = s.max);
}

py::dict WarningDict(const Warning& w) {
  return py::dict("code"_a = w.code, "text"_a = w.text, "value"_a = w.value, "limit"_a = w.limit);
}

py::list WarningList(const std::vector<Warning>& warnings) { return ListOf(warnings, WarningDict); }

py::dict UncertaintyDict(const FitUncertainty& u) {
  if (!u.available) return py::dict("available"_a = false, "note"_a = u.note);
  const auto n = static_cast<std::size_t>(u.parameters);
  py::dict d("available"_a = true, "note"_a = u.note, "residuals"_a = u.residuals,
             "parameters"_a = u.parameters, "sigma"_a = u.sigma, "rank"_a = u.rank,
             "condition_number"_a = u.condition_number, "parameter_names"_a = u.parameter_names,
             "covariance"_a = Matrix(u.covariance, n, n), "centre_u"_a = Triple(u.centre_u),
             "radius_u"_a = u.radius_u, "at_samples"_a = DeflectionDict(u.at_samples),
             "over_range"_a = DeflectionDict(u.over_range),
             "sample_normal_u"_a = Vector(u.sample_normal_u),
             "sample_across_u"_a = Vector(u.sample_across_u),
             "sample_normals"_a = Triples(u.sample_normals),
             "weakest"_a = ListOf(u.weakest, WeakDirectionDict),
             "deflection_mean"_a = u.deflection_mean, "plane_spread"_a = u.plane_spread,
             "plane_axis"_a = Triple(u.plane_axis),
             "deflection_variation"_a = u.deflection_variation,
             "residual_autocorrelation"_a = u.residual_autocorrelation,
             "robust_sigma"_a = u.robust_sigma, "outlier_fraction"_a = u.outlier_fraction,
             "last_step_normal_change"_a = u.last_step_normal_change,
             "last_step_across_change"_a = u.last_step_across_change,
             "bootstrap"_a = BootstrapDict(u.bootstrap), "radius_held"_a = u.radius_held);
  // What fitting the radius would have given, when it was held.
  d["at_samples_radius_fitted"] =
      u.radius_held ? py::object(DeflectionDict(u.at_samples_radius_fitted)) : py::none();
  d["radius_u_fitted"] = u.radius_held ? py::object(py::float_(u.radius_u_fitted)) : py::none();
  return d;
}

py::dict RunReportDict(const RunReport& r) {
  return py::dict("samples"_a = r.samples, "order"_a = r.order, "result"_a = r.result,
                  "failed_stage"_a = StageName(r.failed_stage), "scans"_a = r.scans,
                  "planes"_a = r.planes, "bidirectional_planes"_a = r.bidirectional_planes,
                  "position_deviation_sd"_a = r.position_deviation_sd,
                  "radius_held"_a = r.radius_held, "outer_iterations"_a = r.outer_iterations,
                  "rejected_trials"_a = r.rejected_trials,
                  "stop_reason"_a = ToString(r.stop_reason), "final_mu"_a = r.final_mu,
                  "initial_S"_a = r.initial_S, "iterations"_a = ListOf(r.iterations, IterationDict),
                  "residuals"_a = Vector(r.residuals), "last_step"_a = Vector(r.last_step),
                  "uncertainty"_a = UncertaintyDict(r.uncertainty));
}

py::dict VerificationDict(const VerificationReport& v) {
  return py::dict(
      "points"_a = v.points, "at_samples"_a = v.at_samples, "x"_a = ErrorSpreadDict(v.x),
      "y"_a = ErrorSpreadDict(v.y), "z"_a = ErrorSpreadDict(v.z),
      "normal"_a = ErrorSpreadDict(v.normal), "across"_a = ErrorSpreadDict(v.across),
      "total"_a = ErrorSpreadDict(v.total), "centre_error"_a = Triple(v.centre_error),
      "radius_error"_a = v.radius_error, "normal_coverage"_a = OrNone(v.normal_coverage),
      "across_coverage"_a = OrNone(v.across_coverage),
      "axis_coverage"_a = v.axis_coverage ? py::object(Triple(*v.axis_coverage)) : py::none(),
      "radius_covered"_a = OrNone(v.radius_covered), "bootstrap"_a = v.bootstrap);
}

}  // namespace tavric::python
