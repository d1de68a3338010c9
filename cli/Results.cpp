#include "Results.h"

#include <iostream>

namespace tavric::cli {
namespace {

// An expanded uncertainty (k = 2) in micrometres with two significant figures.
std::string PlusMinus(double standard_mm) {
  const double um = 2.0 * Micrometres(standard_mm);
  const char* format = um >= 10.0 ? "%.0f" : um >= 1.0 ? "%.1f" : um >= 0.1 ? "%.2f" : "%.3f";
  return "\u00b1" + Format(format, um) + " \u00b5m";
}

Json SpreadJson(const Spread& s) {
  return {
      {"max", Micrometres(s.max)}, {"p95", Micrometres(s.p95)}, {"median", Micrometres(s.median)}};
}

Json DeflectionJson(const DeflectionUncertainty& d) {
  return {
      {"points", d.points},   {"normal", SpreadJson(d.normal)}, {"across", SpreadJson(d.across)},
      {"x", SpreadJson(d.x)}, {"y", SpreadJson(d.y)},           {"z", SpreadJson(d.z)}};
}

Json HistoryJson(const RunReport& report) {
  Json history = Json::array();
  for (const IterationRecord& it : report.iterations) {
    history.push_back({{"iteration", it.iteration},
                       {"S", it.S},
                       {"fit_rms_um", Micrometres(it.FitRMS)},
                       {"fit_min_um", Micrometres(it.FitMin)},
                       {"fit_max_um", Micrometres(it.FitMax)},
                       {"mu", it.Mu},
                       {"rejected_trials", it.rejected_trials}});
  }
  return history;
}

}  // namespace

std::string UncertaintyLine(const FitUncertainty& u) {
  if (!u.available) return "not available (" + u.note + ")";
  const bool bootstrap = u.bootstrap.fits > 0;
  const DeflectionUncertainty& d = bootstrap ? u.bootstrap.at_samples : u.at_samples;
  std::string line =
      std::string("deflection (95 %") +
      (bootstrap ? ", bootstrap of " + std::to_string(u.bootstrap.fits) + " refits" : "") +
      ") normal " + PlusMinus(d.normal.p95) + ", across " + PlusMinus(d.across.p95) + "; radius ";
  if (u.radius_held) {
    line += "held (fitted: radius " + PlusMinus(u.radius_u_fitted) + ", normal " +
            PlusMinus(u.at_samples_radius_fitted.normal.p95) + ")";
  } else {
    line += PlusMinus(bootstrap ? u.bootstrap.radius_u : u.radius_u);
  }
  return line;
}

void PrintFit(const Calibration& cal) {
  const RunReport& report = cal.run_report();
  const FitStatistics& s = cal.statistics();
  PrintField("Samples", std::to_string(report.samples));
  PrintField("Order", std::to_string(cal.order()));
  PrintField("FitRMS", Format("%.4f", Micrometres(s.rms)) + " \u00b5m");
  PrintField("FitMin", Format("%.4f", Micrometres(s.min)) + " \u00b5m");
  PrintField("FitMax", Format("%.4f", Micrometres(s.max)) + " \u00b5m");
  PrintField("Sphere centre", FormatTriple("%.6f", cal.sphere().centre) + " mm");
  PrintField("Sphere radius",
             Format("%.6f", cal.sphere().radius) + " mm" + (report.radius_held ? " (held)" : ""));
  PrintField("Optimiser", std::string(ToString(report.stop_reason)) + " after " +
                              std::to_string(report.outer_iterations) + " iterations");
  PrintField("Uncertainty", UncertaintyLine(cal.uncertainty()));
}

void PrintWarnings(const std::vector<Warning>& warnings) {
  if (warnings.empty()) {
    PrintField("Warnings", "none");
    return;
  }
  PrintField("Warnings", std::to_string(warnings.size()));
  for (const Warning& w : warnings) std::cout << "  [" << w.code << "] " << w.text << '\n';
}

Json UncertaintyJson(const FitUncertainty& u) {
  if (!u.available) return {{"available", false}, {"note", u.note}};
  Json weakest = Json::array();
  for (const WeakDirection& w : u.weakest) {
    weakest.push_back({{"kind", w.kind},
                       {"summary", w.summary},
                       {"description", w.description},
                       {"parameters", w.parameters},
                       {"shares", w.shares},
                       {"relative_eigenvalue", w.relative_eigenvalue},
                       {"normal_rms_um", Micrometres(w.normal_rms)},
                       {"across_rms_um", Micrometres(w.across_rms)},
                       {"max_um", Micrometres(w.max)},
                       {"radius_change_um", Micrometres(w.radius_change)}});
  }
  Json j = {{"available", true},
            {"note", nullptr},
            {"expanded_95_um",
             {{"normal", 2.0 * Micrometres(u.at_samples.normal.p95)},
              {"across", 2.0 * Micrometres(u.at_samples.across.p95)},
              {"radius", u.radius_held ? Json(nullptr) : Json(2.0 * Micrometres(u.radius_u))}}},
            {"sigma_um", Micrometres(u.sigma)},
            {"residuals", u.residuals},
            {"parameters", u.parameters},
            {"rank", u.rank},
            {"condition_number", u.condition_number},
            {"centre_um",
             {Micrometres(u.centre_u[0]), Micrometres(u.centre_u[1]), Micrometres(u.centre_u[2])}},
            {"radius_um", u.radius_held ? Json(nullptr) : Json(Micrometres(u.radius_u))},
            {"at_samples_um", DeflectionJson(u.at_samples)},
            {"over_range_um", DeflectionJson(u.over_range)},
            {"weakest", weakest},
            {"deflection_mean_mm", u.deflection_mean},
            {"plane_spread", u.plane_spread},
            {"plane_axis", u.plane_axis},
            {"deflection_variation", u.deflection_variation},
            {"residual_autocorrelation", u.residual_autocorrelation},
            {"robust_sigma_um", Micrometres(u.robust_sigma)},
            {"outlier_fraction", u.outlier_fraction},
            {"last_step_normal_change_um", Micrometres(u.last_step_normal_change)},
            {"last_step_across_change_um", Micrometres(u.last_step_across_change)},
            {"radius_held", u.radius_held}};
  if (u.bootstrap.fits > 0) {
    j["bootstrap"] = {
        {"fits", u.bootstrap.fits},
        {"seed", u.bootstrap.seed},
        {"expanded_95_um",
         {{"normal", 2.0 * Micrometres(u.bootstrap.at_samples.normal.p95)},
          {"across", 2.0 * Micrometres(u.bootstrap.at_samples.across.p95)},
          {"radius",
           u.radius_held ? Json(nullptr) : Json(2.0 * Micrometres(u.bootstrap.radius_u))}}},
        {"centre_um",
         {Micrometres(u.bootstrap.centre_u[0]), Micrometres(u.bootstrap.centre_u[1]),
          Micrometres(u.bootstrap.centre_u[2])}},
        {"radius_um", u.radius_held ? Json(nullptr) : Json(Micrometres(u.bootstrap.radius_u))},
        {"at_samples_um", DeflectionJson(u.bootstrap.at_samples)}};
  } else {
    j["bootstrap"] = nullptr;
  }
  if (u.radius_held) {
    j["radius_fitted"] = {{"radius_um", Micrometres(u.radius_u_fitted)},
                          {"at_samples_um", DeflectionJson(u.at_samples_radius_fitted)}};
  } else {
    j["radius_fitted"] = nullptr;
  }
  return j;
}

Json WarningsJson(const std::vector<Warning>& warnings) {
  Json list = Json::array();
  for (const Warning& w : warnings)
    list.push_back({{"code", w.code}, {"text", w.text}, {"value", w.value}, {"limit", w.limit}});
  return list;
}

Json FitJson(const Calibration& cal) {
  const RunReport& report = cal.run_report();
  return {{"samples", report.samples},
          {"order", cal.order()},
          {"fit_rms_um", Micrometres(cal.statistics().rms)},
          {"fit_min_um", Micrometres(cal.statistics().min)},
          {"fit_max_um", Micrometres(cal.statistics().max)},
          {"sphere",
           {{"centre", cal.sphere().centre},
            {"radius", cal.sphere().radius},
            {"radius_held", report.radius_held}}},
          {"iterations", report.outer_iterations},
          {"stop_reason", ToString(report.stop_reason)},
          {"planes", report.planes},
          {"bidirectional_planes", report.bidirectional_planes},
          {"uncertainty", UncertaintyJson(cal.uncertainty())},
          {"warnings", WarningsJson(cal.warnings())},
          {"history", HistoryJson(report)}};
}

int FitStatus(const Calibration& cal, bool strict) {
  return strict && !cal.warnings().empty() ? kExitWarnings : kExitOk;
}

}  // namespace tavric::cli
