// tavric calibrate: fits a calibration to a data file and saves it.
#include <cstdint>
#include <filesystem>
#include <memory>

#include "Commands.h"
#include "tavric/ClsProbeCalibration.h"
#include "tavric/RunReport.h"

namespace tavric::cli {
namespace {

const char* ConvergenceName(int method) {
  switch (method) {
    case E_GradientNorm:
      return "gradient";
    case E_ParameterStable:
      return "parameters";
    default:
      return "both";
  }
}

std::int32_t ConvergenceMethod(const std::string& name) {
  if (name == "gradient") return E_GradientNorm;
  if (name == "parameters") return E_ParameterStable;
  return E_Both;
}

// The options, with the library's defaults read from a fresh calibration.
struct CalibrateOptions {
  std::string data;
  std::string output;
  int order = 3;
  bool progress = false;
  bool json = false;

  double gain = 0.0;
  int max_iterations = 0;
  std::string convergence;
  double gradient_tol = 0.0;
  double sphere_tol = 0.0;
  double poly_tol = 0.0;
  double mu = 0.0;
  double nu = 0.0;
  double head_a = 0.0;
  double head_b = 0.0;
  Triple head_a_dir{};
  Triple head_b_dir{};
  Triple offsets{};

  CLI::Option* gain_opt = nullptr;
  CLI::Option* max_iterations_opt = nullptr;
  CLI::Option* convergence_opt = nullptr;
  CLI::Option* gradient_tol_opt = nullptr;
  CLI::Option* sphere_tol_opt = nullptr;
  CLI::Option* poly_tol_opt = nullptr;
  CLI::Option* mu_opt = nullptr;
  CLI::Option* nu_opt = nullptr;
  CLI::Option* head_a_opt = nullptr;
  CLI::Option* head_b_opt = nullptr;
  CLI::Option* head_a_dir_opt = nullptr;
  CLI::Option* head_b_dir_opt = nullptr;
  CLI::Option* offsets_opt = nullptr;
};

void ReadDefaults(CalibrateOptions& o) {
  const ClsProbeCalibration cal;
  o.gain = cal.InitialProbeGain();
  o.max_iterations = cal.IterationMaxNumber();
  o.convergence = ConvergenceName(cal.ConvergenceDetectionMethod());
  o.gradient_tol = cal.ConvergenceGradientNormValue();
  o.sphere_tol = cal.ConvergenceSphereValue();
  o.poly_tol = cal.ConvergencePolyParamValue();
  o.mu = cal.Mu();
  o.nu = cal.nu();
  o.head_a = cal.InitialHX7a();
  o.head_b = cal.InitialHX7b();
  cal.GetHX7aDir(o.head_a_dir[0], o.head_a_dir[1], o.head_a_dir[2]);
  cal.GetHX7bDir(o.head_b_dir[0], o.head_b_dir[1], o.head_b_dir[2]);
  cal.GetProbeOffsets(o.offsets[0], o.offsets[1], o.offsets[2]);
  for (double& offset : o.offsets) offset += 0.0;  // the negated zero shown as 0
}

// Applies the settings given on the command line; the others keep the
// defaults the construction of `cal` installed.
void ApplySettings(const CalibrateOptions& o, ClsProbeCalibration& cal) {
  if (o.gain_opt->count()) cal.InitialProbeGain(o.gain);
  if (o.max_iterations_opt->count()) {
    cal.IterationMaxNumber(static_cast<std::uint8_t>(o.max_iterations));
  }
  if (o.convergence_opt->count()) cal.ConvergenceDetectionMethod(ConvergenceMethod(o.convergence));
  if (o.gradient_tol_opt->count()) cal.ConvergenceGradientNormValue(o.gradient_tol);
  if (o.sphere_tol_opt->count()) cal.ConvergenceSphereValue(o.sphere_tol);
  if (o.poly_tol_opt->count()) cal.ConvergencePolyParamValue(o.poly_tol);
  if (o.mu_opt->count()) cal.Mu(o.mu);
  if (o.nu_opt->count()) cal.nu(o.nu);
  if (o.head_a_opt->count()) cal.InitialHX7a(o.head_a);
  if (o.head_b_opt->count()) cal.InitialHX7b(o.head_b);
  if (o.head_a_dir_opt->count()) cal.LetHX7aDir(o.head_a_dir[0], o.head_a_dir[1], o.head_a_dir[2]);
  if (o.head_b_dir_opt->count()) cal.LetHX7bDir(o.head_b_dir[0], o.head_b_dir[1], o.head_b_dir[2]);
  if (o.offsets_opt->count()) cal.LetProbeOffsets(o.offsets[0], o.offsets[1], o.offsets[2]);
}

std::string DefaultCalibrationFile(const std::string& data) {
  return std::filesystem::path(data).replace_extension(".cal").string();
}

int RunCalibrate(const CalibrateOptions& o) {
  ClsProbeCalibration cal;
  ApplySettings(o, cal);
  cal.ProgressDisplay(o.progress);

  std::uint8_t order = static_cast<std::uint8_t>(o.order);
  std::string result = cal.OptimiseFromFile(o.data, order);
  const RunReport& report = LastRunReport();
  const std::string file = o.output.empty() ? DefaultCalibrationFile(o.data) : o.output;
  if (result == "OK") result = cal.SaveCalibrationFunctions(file);

  if (result != "OK") {
    if (o.json) {
      PrintJson({{"result", result},
                 {"samples", report.samples},
                 {"order", order},
                 {"stop_reason", ToString(report.stop_reason)}});
    }
    return Fail(result);
  }

  const Triple centre{cal.SphereCentre(1), cal.SphereCentre(2), cal.SphereCentre(3)};
  if (o.json) {
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
    PrintJson({{"result", result},
               {"samples", report.samples},
               {"order", order},
               {"fit_rms_um", Micrometres(cal.FitRMS())},
               {"fit_min_um", Micrometres(cal.FitMin())},
               {"fit_max_um", Micrometres(cal.FitMax())},
               {"sphere", {{"centre", centre}, {"radius", cal.SphereRadius()}}},
               {"iterations", report.outer_iterations},
               {"stop_reason", ToString(report.stop_reason)},
               {"file", file},
               {"history", history}});
    return kExitOk;
  }
  PrintField("Result", result);
  PrintField("Samples", std::to_string(report.samples));
  PrintField("Order", std::to_string(order));
  PrintField("FitRMS", Format("%.4f", Micrometres(cal.FitRMS())) + " \u00b5m");
  PrintField("FitMin", Format("%.4f", Micrometres(cal.FitMin())) + " \u00b5m");
  PrintField("FitMax", Format("%.4f", Micrometres(cal.FitMax())) + " \u00b5m");
  PrintField("Sphere centre", FormatTriple("%.6f", centre) + " mm");
  PrintField("Sphere radius", Format("%.6f", cal.SphereRadius()) + " mm");
  PrintField("Optimiser", std::string(ToString(report.stop_reason)) + " after " +
                              std::to_string(report.outer_iterations) + " iterations");
  PrintField("Written", file);
  return kExitOk;
}

}  // namespace

Command AddCalibrate(CLI::App& app) {
  auto o = std::make_shared<CalibrateOptions>();
  ReadDefaults(*o);
  CLI::App* sub = app.add_subcommand(
      "calibrate", "Fit a calibration to a data file (marked or generic layout) and save it");
  sub->add_option("DATA", o->data, "Calibration data file")->required()->check(CLI::ExistingFile);
  sub->add_option("-o,--output", o->output,
                  "Calibration file to write (default: DATA with the extension .cal)")
      ->type_name("CALFILE");
  sub->add_option("--order", o->order, "Order of the calibration polynomial")
      ->check(CLI::Range(1, 3))
      ->capture_default_str();
  o->gain_opt =
      sub->add_option("--gain", o->gain, "Initial probe gain, mm per count")->capture_default_str();
  o->max_iterations_opt =
      sub->add_option("--max-iterations", o->max_iterations,
                      "Iteration limit: at most this many + 1 outer iterations run")
          ->check(CLI::Range(0, 255))
          ->capture_default_str();
  o->convergence_opt = sub->add_option("--convergence", o->convergence,
                                       "Stop test: gradient norm, parameter stability or both")
                           ->check(CLI::IsMember({"gradient", "parameters", "both"}))
                           ->capture_default_str();
  o->gradient_tol_opt =
      sub->add_option("--gradient-tol", o->gradient_tol, "Gradient norm counted as converged")
          ->capture_default_str();
  o->sphere_tol_opt = sub->add_option("--sphere-tol", o->sphere_tol, "Stable sphere step, mm")
                          ->capture_default_str();
  o->poly_tol_opt =
      sub->add_option("--poly-tol", o->poly_tol, "Stable polynomial coefficient step (x 1000)")
          ->capture_default_str();
  o->mu_opt =
      sub->add_option("--mu", o->mu, "Levenberg-Marquardt damping Mu")->capture_default_str();
  o->nu_opt = sub->add_option("--nu", o->nu, "Levenberg-Marquardt damping factor nu")
                  ->capture_default_str();
  o->head_a_opt = sub->add_option("--head-a", o->head_a, "Initial head A angle, degrees")
                      ->type_name("DEG")
                      ->capture_default_str();
  o->head_b_opt = sub->add_option("--head-b", o->head_b, "Initial head B angle, degrees")
                      ->type_name("DEG")
                      ->capture_default_str();
  o->head_a_dir_opt =
      sub->add_option("--head-a-dir", o->head_a_dir, "Head A axis of rotation (at B = 0)")
          ->delimiter(',')
          ->type_name("I,J,K")
          ->capture_default_str();
  o->head_b_dir_opt = sub->add_option("--head-b-dir", o->head_b_dir, "Head B axis of rotation")
                          ->delimiter(',')
                          ->type_name("I,J,K")
                          ->capture_default_str();
  o->offsets_opt = sub->add_option("--offsets", o->offsets, "Probe offsets, counts")
                       ->delimiter(',')
                       ->type_name("P,Q,R")
                       ->capture_default_str();
  sub->add_flag("--progress", o->progress, "Show the optimisation's progress on standard error");
  AddDecimalCommaOption(*sub);
  sub->add_flag("--json", o->json, "Print the result as one JSON object");
  return {sub, [o] { return RunCalibrate(*o); }};
}

}  // namespace tavric::cli
